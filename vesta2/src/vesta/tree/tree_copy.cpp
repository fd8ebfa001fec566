#include "vesta2/tree_copy.h"

#include <fcntl.h>

#include <algorithm>

#include "../foundation/log.h"
#include "basekit2/descriptor.h"
#include "basekit2/file_error.h"
#include "basekit2/files.h"
#include "tree_copier.h"
#include "vesta2/names.h"

namespace vesta2 {

namespace fs = boost::filesystem;
using basekit2::descriptor_t;

bool copyDirectoryWithExlusionPattern(fs::path source, fs::path destination,
                                      basekit2::string_span_t patterns,
                                      notify2::IProgress* progress) {
    if (source.empty() || destination.empty()) {
        return setStatus(eParameterError);
    }
    try {
        descriptor_t target(
            ::open(destination.c_str(), O_RDONLY | O_DIRECTORY | O_NONBLOCK | O_CLOEXEC));
        if (!target) {
            basekit2::throw_file_error("cannot open the directory", destination);
        }
        return copyTree({source, destination, patterns, progress}, std::move(target));
    } catch (const boost::system::system_error& e) {
        return !failWith(e);
    }
}

bool copyWithExcludingFlags(fs::path source, fs::path destination) {
    return copyDirectoryWithExlusionPattern(std::move(source), std::move(destination),
                                            flagFilePatterns(), nullptr);
}

bool skipOnExport(const std::string& fileName, basekit2::string_span_t patterns) {
    const basekit2::path_t name(fileName);
    return std::any_of(patterns.begin(), patterns.end(),
                       [&](const std::string& pattern) { return name.match(pattern); });
}

bool removeFiles(const basekit2::path_t& directory, const std::string& suffix) {
    try {
        for (const basekit2::path_t& file : basekit2::find_files(directory, "*" + suffix, true)) {
            if (!basekit2::remove_file(file)) {
                basekit2::throw_file_error("cannot delete", file.text());
            }
        }
        return true;
    } catch (const boost::system::system_error& e) {
        return failWith(e);
    }
}

}  // namespace vesta2

#include "collector/surroundings.h"

#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <map>
#include <utility>

#include "base/digest.h"
#include "base/failure.h"
#include "base/text.h"
#include "basekit2/path.h"
#include "collector/program_file.h"
#include "nodes/properties.h"

namespace cli {
namespace {

/// In the order of their names; of several of one name programs see the first.
std::map<std::string, std::string> environment() {
    std::map<std::string, std::string> variables;
    for (char** setting = ::environ; setting && *setting; ++setting) {
        if (auto parts = splitAssignment(*setting)) {
            variables.insert(std::move(*parts));
        }
    }
    return variables;
}

}  // namespace

void putProgram(vesta2::INode& node, const std::string& program, const Report& report) {
    const std::string path = findProgram(program);
    if (path.empty()) {
        return;  // its start tells
    }
    putProperty(node, key::programPath, path);
    try {
        putProperty(node, key::programDigest, digestOf(path));
    } catch (const Failure& failure) {
        report(std::string(key::programDigest) + " is left out: " + path + ": " +
               failure.problem());
    }
}

void putEnvironment(vesta2::INode& node, const std::vector<std::string>& masks,
                    const Report& report) {
    std::vector<std::string> wanted{"OMP_*", "LD_*", "PATH"};
    wanted.insert(wanted.end(), masks.begin(), masks.end());
    for (const auto& [name, value] : environment()) {
        const basekit2::path_t text(name);
        if (std::none_of(wanted.begin(), wanted.end(),
                         [&](const std::string& mask) { return text.match(mask); })) {
            continue;
        }
        // A name with a slash would be the path of another key.
        if (name.find('/') != std::string::npos ||
            !putProperty(node, key::environment + name, value)) {
            report("the variable " + name + " is left out: its name cannot be a key");
        }
    }
}

void putLimits(vesta2::INode& node) {
    static constexpr std::array limits{
        std::pair{RLIMIT_AS, key::limitAddressSpace}, std::pair{RLIMIT_CPU, key::limitCpu},
        std::pair{RLIMIT_DATA, key::limitData},       std::pair{RLIMIT_FSIZE, key::limitFileSize},
        std::pair{RLIMIT_NOFILE, key::limitFiles},    std::pair{RLIMIT_NPROC, key::limitProcesses},
        std::pair{RLIMIT_STACK, key::limitStack},     std::pair{RLIMIT_MEMLOCK, key::limitLocked},
        std::pair{RLIMIT_CORE, key::limitCore}};
    for (const auto& [resource, name] : limits) {
        rlimit limit{};
        if (::getrlimit(resource, &limit) == 0 && limit.rlim_cur != RLIM_INFINITY) {
            putProperty(node, name, std::uint64_t{limit.rlim_cur});
        }
    }
}

}  // namespace cli

#include "vesta2/tree_size.h"

#include <fcntl.h>
#include <sys/stat.h>

#include "basekit2/file_error.h"
#include "directory_chain.h"
#include "level_listing.h"
#include "tree_walk.h"

namespace vesta2 {

namespace fs = boost::filesystem;
using basekit2::descriptor_t;

namespace {

/// Adds up `measure`, which gets a directory's descriptor and a name in it, over the regular files
/// of a tree. What fails in a directory ends the look at that directory.
template <class Measure>
class Sum {
public:
    Sum(DirectoryChain chain, const Measure& measure)
        : m_chain(std::move(chain)), m_measure(measure) {}

    std::uint64_t run() {
        try {
            walkTree(*this);
        } catch (const fs::filesystem_error&) {
            // The way back up is lost.
        }
        return m_sum;
    }

    std::vector<std::string> list() {
        std::vector<std::string> subdirectories;
        try {
            forEachEntry(m_chain, [&](const basekit2::directory_listing_t& entry) {
                const unsigned char kind = entry.kind();
                if (kind == DT_DIR) {
                    subdirectories.emplace_back(entry.name());
                } else if (kind == DT_REG) {
                    // A view of an entry's name ends with a NUL, as the kernel gave it.
                    m_sum += m_measure(m_chain.descriptor(), entry.name().data());
                }
            });
        } catch (const fs::filesystem_error&) {
            // The rest of the directory does not count.
        }
        return subdirectories;
    }

    Next enter(const std::string& name) {
        return m_chain.enter(name.c_str()) ? Next::into : Next::past;
    }

    bool leave(const std::string& /*name*/) {
        m_chain.leave();
        return true;
    }

private:
    DirectoryChain m_chain;
    const Measure& m_measure;
    std::uint64_t m_sum = 0;
};

template <class Measure>
std::uint64_t sumOverFiles(const fs::path& directory, const Measure& measure) {
    descriptor_t top(::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_NONBLOCK | O_CLOEXEC));
    return top ? Sum(DirectoryChain(std::move(top), directory.native()), measure).run() : 0;
}

std::uint64_t sizeOf(int directory, const char* name) {
    struct stat info {};
    if (::fstatat(directory, name, &info, AT_SYMLINK_NOFOLLOW) != 0) {
        basekit2::throw_file_error("cannot look at", name);
    }
    return static_cast<std::uint64_t>(info.st_size);
}

std::uint64_t countOne(int /*directory*/, const char* /*name*/) { return 1; }

}  // namespace

std::uint64_t calcDirectoryFilesSize(const fs::path& directory) {
    return sumOverFiles(directory, sizeOf);
}

std::uint64_t calcDirectoryFilesCount(const fs::path& directory) {
    return sumOverFiles(directory, countOne);
}

}  // namespace vesta2

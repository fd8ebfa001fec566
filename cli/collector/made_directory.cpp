#include "collector/made_directory.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <filesystem>
#include <utility>

#include "base/failure.h"
#include "vesta2/node.h"

namespace cli {
namespace {

/// What is known of an open directory that has lost its path.
std::string fateOf(int directory) {
    struct stat status {};
    if (::fstat(directory, &status) == 0 && status.st_nlink == 0) {
        return "; the one that was made was removed";
    }
    std::error_code failed;
    const auto now =
        std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(directory), failed);
    return failed ? "" : "; the one that was made is now " + now.native();
}

}  // namespace

MadeDirectory::MadeDirectory(basekit2::sptr_t<vesta2::IResultDirectory> result)
    : m_result(std::move(result)),
      m_path(m_result->getPath()),
      m_directory(::open(m_path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
    if (m_directory && !vesta2::Node::isHome(m_result, m_directory.get())) {
        m_directory.close();
    }
    require();
}

void MadeDirectory::require() const {
    const basekit2::descriptor_t present(::open(m_path.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    std::string found = "is another directory than the one that was made";
    if (!present) {
        found = errno == ENOENT ? "is gone"
                : errno == ENOTDIR
                    ? "is no directory any more"
                    : "cannot be looked at: " + Failure::fromErrno(errno, m_path).problem();
    } else if (m_directory && vesta2::Node::isHome(m_result, present.get())) {
        return;
    }
    throw Failure(exitFailure, m_path, found + (m_directory ? fateOf(m_directory.get()) : ""),
                  "leave the directory where it is while it is collected");
}

std::string MadeDirectory::makeDataDirectory() const {
    require();
    std::string name = vesta2::IResultDirectory::generateCollectorDataDirName(m_path);
    if (::mkdirat(m_directory.get(), name.c_str(), 0777) != 0) {
        throw Failure::fromErrno(errno, m_path + "/" + name);
    }
    return name;
}

}  // namespace cli

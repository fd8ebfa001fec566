#include "directory_chain.h"

#include <fcntl.h>
#include <sys/stat.h>

#include "basekit2/file_error.h"

namespace vesta2 {

using basekit2::descriptor_t;

namespace {

/// Trees of results are hardly ever deeper, so that the way up costs them nothing.
constexpr std::size_t mostOpen = 8;
constexpr int openFlags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC;

FileId idOf(const descriptor_t& directory, const std::string& path) {
    struct stat info {};
    if (::fstat(directory.get(), &info) != 0) {
        basekit2::throw_file_error("cannot look at", path);
    }
    return FileId(info);
}

}  // namespace

DirectoryChain::DirectoryChain(descriptor_t top, std::string path) : m_path(std::move(path)) {
    m_steps.push_back({std::move(top), {}, m_path.size()});
}

descriptor_t DirectoryChain::duplicate() const {
    return descriptor_t(::fcntl(descriptor(), F_DUPFD_CLOEXEC, 0));
}

bool DirectoryChain::enter(const char* name) {
    descriptor_t directory(::openat(descriptor(), name, openFlags));
    if (!directory) {
        return false;
    }
    m_path = pathOf(name);
    m_steps.push_back({std::move(directory), {}, m_path.size()});
    closeFarStep();
    return true;
}

void DirectoryChain::closeFarStep() {
    // The top stays open: there may be no way up to it.
    if (m_steps.size() <= mostOpen + 1) {
        return;
    }
    Step& far = m_steps[m_steps.size() - 1 - mostOpen];
    if (far.directory) {
        far.id = idOf(far.directory, m_path);
        far.directory.close();
    }
}

void DirectoryChain::leave() {
    const descriptor_t left = std::move(m_steps.back().directory);
    m_steps.pop_back();
    Step& step = m_steps.back();
    m_path.resize(step.pathLength);
    // The top may be AT_FDCWD, which is no descriptor but serves as one.
    if (step.directory || isAtTop()) {
        return;
    }
    descriptor_t above(::openat(left.get(), "..", openFlags));
    if (!above) {
        basekit2::throw_file_error("cannot go back to", m_path);
    }
    if (idOf(above, m_path) != step.id) {
        errno = ESTALE;
        basekit2::throw_file_error("moved away from", m_path);
    }
    step.directory = std::move(above);
}

}  // namespace vesta2

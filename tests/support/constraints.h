#pragma once
/// What a process may be short of, and what a file system may lack.

#include <grp.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <boost/filesystem/path.hpp>
#include <functional>

#include "support/child_process.h"

namespace support {

/// Runs `check` in a process that permissions apply to, even when the tests run as root; it may
/// write in `directory`.
inline void asOrdinaryUser(const boost::filesystem::path& directory,
                           const std::function<void()>& check) {
    constexpr unsigned nobody = 65534;
    const bool isRoot = ::geteuid() == 0;
    if (isRoot) {
        ASSERT_EQ(::chown(directory.c_str(), nobody, nobody), 0);
    }
    checkInChild([&] {
        ASSERT_TRUE(!isRoot || (::setgroups(0, nullptr) == 0 && ::setgid(nobody) == 0 &&
                                ::setuid(nobody) == 0));
        check();
    });
}

/// While it lives, the process can open nothing.
class NoDescriptors {
public:
    NoDescriptors() {
        ::getrlimit(RLIMIT_NOFILE, &m_before);
        const rlimit none{0, m_before.rlim_max};
        ::setrlimit(RLIMIT_NOFILE, &none);
    }
    ~NoDescriptors() { ::setrlimit(RLIMIT_NOFILE, &m_before); }
    NoDescriptors(const NoDescriptors&) = delete;
    NoDescriptors& operator=(const NoDescriptors&) = delete;

private:
    rlimit m_before{};
};

/// Whether changes of a directory that are looked at each get a time stamp of their own, however
/// soon they follow: Linux gives it since 6.13, on most file systems.
inline bool givesEachChangeAStamp(const std::string& directory) {
    const std::string made = directory + "/stamped";
    struct stat before {};
    struct stat after {};
    for (int i = 0; i < 20; ++i) {
        if (::mkdir(made.c_str(), 0777) != 0 || ::stat(directory.c_str(), &before) != 0 ||
            ::rmdir(made.c_str()) != 0 || ::stat(directory.c_str(), &after) != 0 ||
            (before.st_ctim.tv_sec == after.st_ctim.tv_sec &&
             before.st_ctim.tv_nsec == after.st_ctim.tv_nsec)) {
            return false;
        }
    }
    return true;
}

}  // namespace support

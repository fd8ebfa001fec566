#include "vesta2/flag_look.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <boost/filesystem/operations.hpp>
#include <cstring>
#include <string_view>

#include "../vesta/foundation/locked_files.h"
#include "basekit2/descriptor.h"
#include "basekit2/path.h"
#include "flag_record.h"
#include "vesta2/names.h"

namespace vesta2::util {

namespace fs = boost::filesystem;
using basekit2::descriptor_t;

namespace {

/// A file of a flag, opened to be looked at. As long as it lives no lock of this process is taken
/// or given up, so that none can be lost when it is closed.
class Glance {
public:
    explicit Glance(const std::string& path) : m_guard(LockedFiles::get().mutex()) {
        struct stat info {};
        m_isThere = ::lstat(path.c_str(), &info) == 0 && S_ISREG(info.st_mode);
        if (!m_isThere) {
            return;
        }
        m_descriptor = LockedFiles::get().find(info);
        m_isOurs = m_descriptor >= 0;
        if (!m_isOurs) {
            m_opened =
                descriptor_t(::open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
            m_descriptor = m_opened.get();
        }
    }

    [[nodiscard]] bool isThere() const { return m_isThere; }

    [[nodiscard]] bool isLocked() const {
        struct flock request {};
        request.l_type = F_WRLCK;
        request.l_whence = SEEK_SET;
        return m_isOurs || (m_descriptor >= 0 && ::fcntl(m_descriptor, F_GETLK, &request) == 0 &&
                            request.l_type != F_UNLCK);
    }

    bool read(basekit2::variant_bag_t& record) const {
        return m_descriptor >= 0 && readRecord(m_descriptor, record) == eOK;
    }

private:
    const std::lock_guard<std::mutex> m_guard;
    bool m_isThere = false;
    bool m_isOurs = false;
    int m_descriptor = -1;
    descriptor_t m_opened;
};

}  // namespace

FlagLook lookAtFlag(const std::string& directory, const std::string& name) {
    FlagLook look;
    look.name = name;
    const std::string path = basekit2::path_t(directory).join(name).text();
    bool isLocked = false;
    {
        const Glance lockFile(path + getFlagLockExtension());
        if (!lockFile.isThere()) {
            return look;
        }
        isLocked = lockFile.isLocked();
    }
    const bool isRecorded = Glance(path + getFlagInfoExtension()).read(look.record);
    if (isLocked || (isRecorded && !isReclaimable(look.record))) {
        look.state = flag_state_t::held;
    } else if (isRecorded) {
        look.state = flag_state_t::stale;
    }
    return look;
}

std::vector<FlagLook> lookAtFlags(const std::string& directory) {
    const std::string_view extension = getFlagLockExtension();
    std::vector<FlagLook> looks;
    for (const fs::directory_entry& entry : fs::directory_iterator(directory)) {
        const std::string file = entry.path().filename().native();
        if (file.size() > extension.size() &&
            std::string_view(file).substr(file.size() - extension.size()) == extension) {
            looks.push_back(lookAtFlag(directory, file.substr(0, file.size() - extension.size())));
        }
    }
    std::sort(looks.begin(), looks.end(),
              [](const FlagLook& a, const FlagLook& b) { return a.name < b.name; });
    return looks;
}

}  // namespace vesta2::util

#include "flag_record.h"

#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <string>
#include <vector>

#include "basekit2/host.h"
#include "process_status.h"
#include "vesta2/process_ids.h"
#include "vesta2/property_names.h"

namespace vesta2::util {

namespace {

/// No record that this library writes comes near it.
constexpr std::size_t greatestRecord = std::size_t{64} * 1024;

std::string askUserName() {
    std::array<char, 256> login{};
    if (::getlogin_r(login.data(), login.size()) == 0) {
        return login.data();
    }
    std::vector<char> buffer(std::size_t{16} * 1024);
    struct passwd entry {};
    struct passwd* found = nullptr;
    const int error = ::getpwuid_r(::geteuid(), &entry, buffer.data(), buffer.size(), &found);
    return error == 0 && found && found->pw_name ? found->pw_name : "";
}

/// Asked once a user: the answer may come from a name service.
std::string userName() {
    static const uid_t user = ::geteuid();
    static const std::string name = askUserName();
    return ::geteuid() == user ? name : askUserName();
}

int number(const basekit2::variant_bag_t& record, const char* key) {
    return static_cast<int>(record.get_variant(key).to_int64());
}

/// Fills `text` from the beginning of the file, as far as that goes; false when nothing can be
/// read.
bool readAll(int descriptor, std::string& text) {
    std::size_t size = 0;
    while (size < text.size()) {
        const ssize_t got =
            ::pread(descriptor, text.data() + size, text.size() - size, static_cast<off_t>(size));
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (got < 1) {
            return got == 0 && size > 0;
        }
        size += static_cast<std::size_t>(got);
    }
    return true;
}

}  // namespace

void fillRecord(basekit2::variant_bag_t& record) {
    record.put(record_key::timestamp, std::int64_t{std::time(nullptr)});
    record.put(record_key::pid, static_cast<std::uint32_t>(getPid()));
    record.put(record_key::ppid, static_cast<std::uint32_t>(getPPid()));
    record.put(record_key::host, basekit2::get_fq_host_name());
    record.put(record_key::user, userName());
    record.put(record_key::os, os_name::ofLinux);
}

bool isReclaimable(const basekit2::variant_bag_t& record) {
    const int pid = number(record, record_key::pid);
    const int ppid = number(record, record_key::ppid);
    return (pid == getPid() && ppid == getPPid()) || hasEnded(pid, ppid);
}

error_t readRecord(int descriptor, basekit2::variant_bag_t& out) {
    struct stat info {};
    if (::fstat(descriptor, &info) != 0) {
        return eFileError;
    }
    if (info.st_size == 0) {
        return eNotFound;
    }
    // What follows the greatest record can only be the rest of something else, behind a NUL.
    std::string text(std::min(static_cast<std::size_t>(info.st_size), greatestRecord + 1), '\0');
    if (!readAll(descriptor, text)) {
        return eFileError;
    }
    text.resize(std::strlen(text.c_str()));
    const bool isTooLarge = text.size() > greatestRecord;
    return isTooLarge || basekit2::bag_failed(basekit2::load_variant_bag_from_string(out, text))
               ? eSerializationError
               : eOK;
}

}  // namespace vesta2::util

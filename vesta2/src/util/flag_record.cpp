#include "flag_record.h"

#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cstring>
#include <ctime>
#include <string>
#include <vector>

#include "basekit2/host.h"
#include "vesta2/process_ids.h"

namespace vesta2::util {

namespace {

/// No record that this library writes comes near it.
constexpr off_t greatestRecord = 64 * 1024;

std::string askUserName() {
    std::array<char, 256> login{};
    if (::getlogin_r(login.data(), login.size()) == 0) {
        return login.data();
    }
    std::vector<char> buffer(16 * 1024);
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

unsigned number(const basekit2::variant_bag_t& record, const char* key) {
    return static_cast<unsigned>(record.get_variant(key).to_int64());
}

}  // namespace

void fillRecord(basekit2::variant_bag_t& record) {
    record.put(timestampKey, std::int64_t{std::time(nullptr)});
    record.put(pidKey, static_cast<std::uint32_t>(getPid()));
    record.put(ppidKey, static_cast<std::uint32_t>(getPPid()));
    record.put(hostKey, basekit2::get_fq_host_name());
    record.put(userKey, userName());
    record.put("os", "linux");
}

unsigned recordedPid(const basekit2::variant_bag_t& record) { return number(record, pidKey); }

unsigned recordedPpid(const basekit2::variant_bag_t& record) { return number(record, ppidKey); }

bool isReclaimable(const basekit2::variant_bag_t& record) {
    const int pid = static_cast<int>(recordedPid(record));
    const int ppid = static_cast<int>(recordedPpid(record));
    return (pid == getPid() && ppid == getPPid()) || getPpidFromProc(pid) != ppid;
}

error_t readRecord(int descriptor, basekit2::variant_bag_t& out) {
    struct stat info {};
    if (::fstat(descriptor, &info) != 0) {
        return eFileError;
    }
    if (info.st_size == 0) {
        return eNotFound;
    }
    if (info.st_size > greatestRecord) {
        return eSerializationError;
    }
    std::string text(static_cast<std::size_t>(info.st_size), '\0');
    const ssize_t got = ::pread(descriptor, text.data(), text.size(), 0);
    if (got < 1) {
        return eFileError;
    }
    // Behind the NUL may be the rest of a longer record.
    text.resize(std::strlen(text.c_str()));
    return basekit2::bag_failed(basekit2::load_variant_bag_from_string(out, text))
               ? eSerializationError
               : eOK;
}

}  // namespace vesta2::util

#include "directory_memory.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <mutex>
#include <set>
#include <unordered_map>
#include <utility>

#include "../foundation/local_disk.h"
#include "basekit2/file_error.h"
#include "extensions.h"

namespace vesta2 {
namespace {

constexpr long long second = 1'000'000'000;
/// Time stamps of a local file system follow the kernel's tick, 10 ms at the most.
constexpr long long localResolution = second / 50;
/// Elsewhere another host's clock sets them.
constexpr long long remoteResolution = 10 * second;
/// Of stamps that have no fraction of a second: FAT counts in twos, others in ones.
constexpr long long coarseResolution = 2 * second;
constexpr std::size_t mostDirectories = 4096;
/// How many times as long as it took to list a directory that is believed which a change of our own
/// went through: listing it again then costs a twentieth of the work.
constexpr int trust = 20;

long long toNanoseconds(const timespec& time) { return time.tv_sec * second + time.tv_nsec; }

long long now(clockid_t clock = CLOCK_REALTIME) {
    timespec time{};
    ::clock_gettime(clock, &time);
    return toNanoseconds(time);
}

/// Whether a time stamp that was set since the coarse clock read `before` is none of that clock's,
/// nor cut to whole seconds. After several ticks that cannot be told: it may be of one in between.
bool isFine(long long stamp, long long before) {
    const long long after = now(CLOCK_REALTIME_COARSE);
    timespec tick{};
    ::clock_getres(CLOCK_REALTIME_COARSE, &tick);
    return stamp % second != 0 && stamp != before && stamp != after &&
           after - before <= toNanoseconds(tick) + 1000;
}

bool isOnLocalDisk(const std::string& directory) {
    struct statfs info {};
    return ::statfs(directory.c_str(), &info) == 0 && isLocalDisk(info);
}

/// Nothing, with `errno`, when there is no directory or it cannot be told.
std::optional<DirectoryStamp> stampOf(const std::string& directory) {
    struct stat info {};
    if (::stat(directory.c_str(), &info) != 0) {
        return std::nullopt;
    }
    errno = ENOTDIR;
    return S_ISDIR(info.st_mode) ? std::optional(DirectoryStamp(info)) : std::nullopt;
}

}  // namespace

DirectoryStamp::DirectoryStamp(const struct stat& info)
    : device(info.st_dev),
      inode(info.st_ino),
      links(info.st_nlink),
      modified(toNanoseconds(info.st_mtim)),
      changed(toNanoseconds(info.st_ctim)) {}

class DirectoryLook::Memory {
public:
    std::optional<Known> recall(const std::string& directory, const DirectoryStamp& stamp) {
        const std::lock_guard lock(m_mutex);
        const auto found = m_known.find(directory);
        const bool isOfNow = found != m_known.end() && found->second.stamp == stamp &&
                             found->second.end > Clock::now();
        return isOfNow ? std::optional(found->second) : std::nullopt;
    }

    void remember(const std::string& directory, Known known) {
        const std::lock_guard lock(m_mutex);
        if (m_known.size() >= mostDirectories) {
            m_known.clear();
        }
        m_known.insert_or_assign(directory, std::move(known));
    }

    /// A kernel that gives finer stamps than its clock's does so for each change that would not
    /// show otherwise.
    void noteFineStamps(unsigned long long device) {
        const std::lock_guard lock(m_mutex);
        m_fine.insert(device);
    }
    bool hasFineStamps(unsigned long long device) {
        const std::lock_guard lock(m_mutex);
        return m_fine.count(device) != 0;
    }

private:
    std::mutex m_mutex;
    std::unordered_map<std::string, Known> m_known;
    std::set<unsigned long long> m_fine;  ///< devices
};

DirectoryLook::Memory& DirectoryLook::memory() {
    static auto& memory = *new Memory;
    return memory;
}

DirectoryLook::DirectoryLook(std::string directory)
    : m_directory(std::move(directory)),
      m_stamp(stampOf(m_directory)),
      m_tick(now(CLOCK_REALTIME_COARSE)) {
    if (m_stamp) {
        m_known = memory().recall(m_directory, *m_stamp);
    } else if (!basekit2::means_absent(errno)) {
        basekit2::throw_file_error("cannot look at", m_directory);
    }
}

const DirectoryContents* DirectoryLook::contents() const {
    // A client of a network file system tells late of what others do there anyway.
    return m_known && (m_known->isSure || !m_known->isLocal) ? &m_known->contents : nullptr;
}

bool DirectoryLook::isOver(long long stamp, long long now, long long resolution) {
    return stamp <
           now - (stamp % second == 0 ? std::max(resolution, coarseResolution) : resolution);
}

void DirectoryLook::beginListing() {
    m_begun = now();
    m_clockBegun = Clock::now();
}

void DirectoryLook::listed(DirectoryContents contents, bool isLasting) {
    m_known.reset();
    if (!m_stamp || !isLasting) {
        return;
    }
    const bool isLocal = isOnLocalDisk(m_directory);
    const long long resolution = isLocal ? localResolution : remoteResolution;
    const Clock::duration cost = Clock::now() - m_clockBegun;
    const bool isSure = isOver(m_stamp->modified, m_begun, resolution) &&
                        isOver(m_stamp->changed, m_begun, resolution) &&
                        stampOf(m_directory) == m_stamp;
    m_known = Known{*m_stamp, std::move(contents),
                    cost,     isSure ? Clock::time_point::max() : m_clockBegun + trust * cost,
                    isSure,   isLocal};
    memory().remember(m_directory, *m_known);
    m_tick = now(CLOCK_REALTIME_COARSE);
}

void DirectoryLook::keepThroughOwnChange(int subdirectories, std::map<std::string, int> greatest) {
    if (!m_known || m_known->end < Clock::now()) {
        return;
    }
    // What cannot be looked at now is only not remembered.
    const std::optional<DirectoryStamp> after = stampOf(m_directory);
    // Some file systems do not count: each of their directories has one link.
    if (after && isFine(after->changed, m_tick)) {
        memory().noteFineStamps(after->device);
    }
    const bool isOwn =
        after && after->device == m_stamp->device && after->inode == m_stamp->inode &&
        std::min(after->links, m_stamp->links) > 1 &&
        after->links == m_stamp->links + static_cast<unsigned long long>(subdirectories) &&
        (!m_known->isLocal || memory().hasFineStamps(after->device));
    if (isOwn) {
        m_known->stamp = *after;
        m_known->contents.greatest = std::move(greatest);
        m_known->isSure = true;
        m_known->end = std::min(m_known->end, Clock::now() + trust * m_known->cost);
        memory().remember(m_directory, *m_known);
    }
}

namespace {

thread_local GroupMarkerScope* t_scope = nullptr;

std::string list(const std::string& directory, DirectoryLook& look) {
    look.beginListing();
    std::string marker;
    bool isLasting = true;
    basekit2::directory_listing_t listing(directory);
    while (marker.empty() && listing.next()) {
        marker = isGroupMarker(listing, isLasting) ? listing.path() : std::string();
    }
    look.listed({marker, {}}, isLasting);
    return marker;
}

}  // namespace

GroupMarkerScope::GroupMarkerScope() : m_outer(std::exchange(t_scope, this)) {}

GroupMarkerScope::~GroupMarkerScope() { t_scope = m_outer; }

void GroupMarkerScope::note(const std::string& directory, const std::string& marker) {
    if (t_scope) {
        t_scope->m_known.insert_or_assign(directory, marker);
    }
}

std::optional<std::string> findGroupMarkerInDir(const std::string& directory, Knowledge knowledge) {
    const auto isEnough = [knowledge](const std::string& marker) {
        return knowledge == Knowledge::remembered || !marker.empty();
    };
    if (t_scope) {
        const auto known = t_scope->m_known.find(directory);
        if (known != t_scope->m_known.end() && isEnough(known->second)) {
            return known->second;
        }
    }
    DirectoryLook look(directory);
    if (!look.isDirectory()) {
        return std::nullopt;
    }
    const DirectoryContents* const known = look.contents();
    std::string marker =
        known && isEnough(known->groupMarker) ? known->groupMarker : list(directory, look);
    GroupMarkerScope::note(directory, marker);
    return marker;
}

bool isGroupMarker(const basekit2::directory_listing_t& listing, bool& isLasting) {
    if (!isOneOf(extensionOf(listing.name()), groupMarkerExtensions())) {
        return false;
    }
    isLasting = isLasting && listing.is_plain_file();
    return listing.is_regular_file();
}

}  // namespace vesta2

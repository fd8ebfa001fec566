#include "group_markers.h"

#include <linux/magic.h>
#include <sys/stat.h>
#include <sys/vfs.h>

#include <algorithm>
#include <ctime>
#include <optional>
#include <utility>

#include "basekit2/directory_listing.h"
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
constexpr long xfsMagic = 0x58465342;

long long toNanoseconds(const timespec& time) { return time.tv_sec * second + time.tv_nsec; }

long long now() {
    timespec time{};
    ::clock_gettime(CLOCK_REALTIME, &time);
    return toNanoseconds(time);
}

long long resolutionOf(const std::string& directory) {
    struct statfs info {};
    if (::statfs(directory.c_str(), &info) != 0) {
        return remoteResolution;
    }
    switch (info.f_type) {
    case EXT4_SUPER_MAGIC:
    case BTRFS_SUPER_MAGIC:
    case TMPFS_MAGIC:
    case xfsMagic:
        return localResolution;
    default:
        return remoteResolution;
    }
}

thread_local GroupMarkerScope* t_scope = nullptr;

}  // namespace

GroupMarkerScope::GroupMarkerScope() : m_outer(std::exchange(t_scope, this)) {}

GroupMarkerScope::~GroupMarkerScope() { t_scope = m_outer; }

void GroupMarkerScope::note(const std::string& directory, const std::string& marker) {
    if (t_scope) {
        t_scope->m_known.insert_or_assign(directory, marker);
    }
}

std::string findGroupMarkerInDir(const std::string& directory) {
    static auto& memory = *new MarkerMemory(groupMarkerExtensions());
    if (t_scope) {
        const auto known = t_scope->m_known.find(directory);
        if (known != t_scope->m_known.end()) {
            return known->second;
        }
    }
    std::string marker = memory.find(directory);
    GroupMarkerScope::note(directory, marker);
    return marker;
}

bool isGroupMarkerName(std::string_view name) {
    return isOneOf(extensionOf(name), groupMarkerExtensions());
}

MarkerMemory::Identity::Identity(const struct stat& info)
    : device(info.st_dev),
      inode(info.st_ino),
      links(info.st_nlink),
      modified(toNanoseconds(info.st_mtim)),
      changed(toNanoseconds(info.st_ctim)) {}

bool MarkerMemory::Identity::operator==(const Identity& other) const {
    return device == other.device && inode == other.inode && links == other.links &&
           modified == other.modified && changed == other.changed;
}

bool MarkerMemory::isOver(long long stamp, long long now, long long resolution) {
    return stamp <
           now - (stamp % second == 0 ? std::max(resolution, coarseResolution) : resolution);
}

bool MarkerMemory::haveSettled(const Identity& stamps, long long now, long long resolution) {
    return isOver(stamps.modified, now, resolution) && isOver(stamps.changed, now, resolution);
}

std::string MarkerMemory::find(const std::string& directory) {
    struct stat info {};
    std::optional<Identity> before;
    std::string marker;
    if (::stat(directory.c_str(), &info) == 0) {
        before.emplace(info);
        if (recall(directory, *before, marker)) {
            return marker;
        }
    }
    const long long begun = now();
    // Where a symbolic link leads can change without the directory changing.
    bool lasting = true;
    basekit2::directory_listing_t listing(directory);
    while (marker.empty() && listing.next()) {
        if (isOneOf(extensionOf(listing.name()), m_extensions)) {
            lasting = lasting && listing.is_plain_file();
            marker = listing.is_regular_file() ? listing.path() : std::string();
        }
    }
    if (before && lasting && haveSettled(*before, begun, resolutionOf(directory)) &&
        ::stat(directory.c_str(), &info) == 0 && Identity(info) == *before) {
        remember(directory, {*before, marker});
    }
    return marker;
}

bool MarkerMemory::recall(const std::string& directory, const Identity& identity,
                          std::string& marker) {
    const std::lock_guard lock(m_mutex);
    const auto found = m_listed.find(directory);
    if (found == m_listed.end() || !(found->second.identity == identity)) {
        return false;
    }
    marker = found->second.marker;
    return true;
}

void MarkerMemory::remember(const std::string& directory, Listed listed) {
    const std::lock_guard lock(m_mutex);
    if (m_listed.size() >= mostDirectories) {
        m_listed.clear();
    }
    m_listed.insert_or_assign(directory, std::move(listed));
}

}  // namespace vesta2

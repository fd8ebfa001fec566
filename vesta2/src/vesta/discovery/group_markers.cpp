#include "group_markers.h"

#include <utility>

#include "directory_memory.h"
#include "extensions.h"

namespace vesta2 {
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

std::optional<std::string> findGroupMarkerInDir(const std::string& directory) {
    if (t_scope) {
        const auto known = t_scope->m_known.find(directory);
        if (known != t_scope->m_known.end()) {
            return known->second;
        }
    }
    DirectoryLook look(directory);
    if (!look.isDirectory()) {
        return std::nullopt;
    }
    const DirectoryContents* const known = look.contents();
    std::string marker = known ? known->groupMarker : list(directory, look);
    GroupMarkerScope::note(directory, marker);
    return marker;
}

std::optional<std::string> listForGroupMarker(const std::string& directory) {
    DirectoryLook look(directory);
    return look.isDirectory() ? std::optional(list(directory, look)) : std::nullopt;
}

bool isGroupMarker(const basekit2::directory_listing_t& listing, bool& isLasting) {
    if (!isOneOf(extensionOf(listing.name()), groupMarkerExtensions())) {
        return false;
    }
    isLasting = isLasting && listing.is_plain_file();
    return listing.is_regular_file();
}

}  // namespace vesta2

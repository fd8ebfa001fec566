#include "group_markers.h"

#include <utility>

#include "extensions.h"
#include "marker_memory.h"
#include "vesta2/file_set.h"
#include "vesta2/names.h"

namespace vesta2 {
namespace {

const FileSet& groupExtensions() {
    static const auto& extensions = *new FileSet(projectMarkerFileExt(), experimentMarkerFileExt());
    return extensions;
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
    static auto& memory = *new MarkerMemory(groupExtensions());
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
    return isOneOf(extensionOf(name), groupExtensions());
}

}  // namespace vesta2

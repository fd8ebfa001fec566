#pragma once
/// Tests of extensions on bare names, which need no path object, and the sets of extensions that
/// searches want.

#include <algorithm>
#include <string>
#include <string_view>

#include "vesta2/file_set.h"
#include "vesta2/names.h"

namespace vesta2 {

/// Of projects and experiments: what makes a directory a group.
inline const FileSet& groupMarkerExtensions() {
    static const auto& extensions = *new FileSet(projectMarkerFileExt(), experimentMarkerFileExt());
    return extensions;
}

/// Of nodes of any kind.
inline const FileSet& nodeMarkerExtensions() {
    static const auto& extensions =
        *new FileSet(resultMarkerFileExt(), experimentMarkerFileExt(), projectMarkerFileExt());
    return extensions;
}

/// From the last "." of `name` on; empty without one.
inline std::string_view extensionOf(std::string_view name) {
    const std::size_t dot = name.rfind('.');
    return dot == std::string_view::npos || name == "." || name == ".." ? std::string_view()
                                                                        : name.substr(dot);
}

/// What precedes the extension of `name`.
inline std::string_view stemOf(std::string_view name) {
    return name.substr(0, name.size() - extensionOf(name).size());
}

inline bool isOneOf(std::string_view extension, const FileSet& extensions) {
    return std::find(extensions.begin(), extensions.end(), extension) != extensions.end();
}

/// Whether `extension` is one of `extensions` followed by the link suffix.
inline bool isLinkOfOneOf(std::string_view extension, const FileSet& extensions) {
    const std::string suffix = linkSuffix();
    return extension.ends_with(suffix) &&
           isOneOf(extension.substr(0, extension.size() - suffix.size()), extensions);
}

/// Whether `extension` is a link's, of whatever kind of node.
inline bool isAnyLink(std::string_view extension) {
    const std::string suffix = linkSuffix();
    return extension.size() > suffix.size() && extension.ends_with(suffix);
}

}  // namespace vesta2

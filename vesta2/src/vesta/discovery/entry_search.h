#pragma once
/// The search within one entry of a listing.

#include <string>

#include "basekit2/directory_listing.h"
#include "extensions.h"
#include "vesta2/discovery.h"

namespace vesta2 {

/// The next file of the directory that has one of the extensions; empty when there is none left.
inline std::string findMarkerFile(basekit2::directory_listing_t& listing,
                                  const FileSet& extensions) {
    while (listing.next()) {
        if (isOneOf(extensionOf(listing.name()), extensions) && listing.is_regular_file()) {
            return listing.path();
        }
    }
    return {};
}

/// A name without extension needs no probe for the link file beside it: that is an entry too, and
/// whatever matches the name matches the link's.
inline std::string lookIntoEntry(const basekit2::directory_listing_t& listing,
                                 const FileSet& extensions, bool acceptMarkerFile) {
    if (listing.is_directory()) {
        basekit2::directory_listing_t inner = listing.of_entry();
        return findMarkerFile(inner, extensions);
    }
    const std::string_view extension = extensionOf(listing.name());
    const bool isNamedLikeOne = isLinkOfOneOf(extension, extensions) ||
                                (acceptMarkerFile && isOneOf(extension, extensions));
    return isNamedLikeOne && listing.is_regular_file() ? listing.path() : std::string();
}

/// What identifies the node at the current entry of `listing`, marker files themselves only with
/// `acceptMarkerFile`; empty when that is no node, when it has just gone, and when this process may
/// not look at it: a directory that others keep to themselves must not hide the rest. Throws
/// `boost::filesystem::filesystem_error` for any other error.
inline std::string findInEntry(const basekit2::directory_listing_t& listing,
                               const FileSet& extensions, bool acceptMarkerFile) {
    try {
        return lookIntoEntry(listing, extensions, acceptMarkerFile);
    } catch (const boost::filesystem::filesystem_error& e) {
        if (!listing.concerns_entry_alone(e)) {
            throw;
        }
        return {};
    }
}

}  // namespace vesta2

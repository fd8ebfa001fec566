#pragma once

#include <boost/filesystem/path.hpp>
#include <string>

#include "basekit2/descriptor.h"
#include "basekit2/string_span.h"
#include "notify2/progress.h"

namespace vesta2 {

struct TreeCopyRequest {
    const boost::filesystem::path& source;
    const boost::filesystem::path& destination;  ///< how it is named in messages
    basekit2::string_span_t exclusions;
    notify2::IProgress* progress = nullptr;
    /// The name that the file `marker`, directly in the source, gets in the copy; its own when this
    /// is empty.
    std::string marker{};
    std::string copiedMarker{};
};

/// Throws `boost::filesystem::filesystem_error` (EEXIST) when something else in the source has the
/// name that the marker file is to get, or when that cannot be told.
void requireFreeMarkerName(const TreeCopyRequest& request);

/// `copyDirectoryWithExlusionPattern` into a directory that is open.
bool copyTree(const TreeCopyRequest& request, basekit2::descriptor_t destination);

}  // namespace vesta2

#pragma once

#include <boost/filesystem/path.hpp>
#include <string>

#include "basekit2/descriptor.h"
#include "basekit2/string_span.h"
#include "file_id.h"
#include "notify2/progress.h"
#include "tree_record.h"

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
    /// Which directory the source must be; see `isAnother`.
    FileId home{};
    /// Gets what was copied. Then nothing may be left out that is somebody's own: a file that is
    /// named like one of a flag, but lies in no node's directory, is a failed step.
    TreeRecord* record = nullptr;
};

/// Throws `boost::filesystem::filesystem_error` (EEXIST) when something else in the source has the
/// name that the marker file is to get, or when that cannot be told.
void requireFreeMarkerName(const TreeCopyRequest& request);

/// `copyDirectoryWithExlusionPattern` into a directory that is open. Throws
/// `boost::filesystem::filesystem_error` when the source cannot be opened, is another directory, or
/// is being deleted when all has been copied (ENOENT).
bool copyTree(const TreeCopyRequest& request, basekit2::descriptor_t destination);

}  // namespace vesta2

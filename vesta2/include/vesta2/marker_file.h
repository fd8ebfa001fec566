#pragma once
/// Marker files: what makes a directory a node, and holds the node's properties.
///
/// Any thread may call any function. Two that change one file at once both leave a whole file; the
/// later one wins.

#include <string>

#include "basekit2/variant.h"
#include "vesta2/boost_fwd.h"
#include "vesta2/error.h"
#include "vesta2/export.h"

namespace vesta2 {

/// What became of the last look at a node's marker file.
enum class marker_state_t {
    read,       ///< its properties are the node's
    absent,     ///< there was none
    malformed,  ///< it is no bag's text, or too large
    /// It is there but could not be read: the disk, the network or the permissions were in the way.
    /// What it holds is unknown, so `INode::save` refuses to replace it.
    unreadable,
};

/// Writes the marker file of the node in `directory`. A `name` that is only an extension is
/// prefixed with the directory's own name.
/// Returns: `eOK`, or `eUnknown` when it cannot be written.
/// Status: stays as it is.
/// Disk: replaces a marker file of that name in one step, without waiting for the disk.
VESTA2_API error_t createDefaultMarkerFile(boost::filesystem::path directory, std::string name,
                                           const basekit2::variant_bag_t& bag);

/// Removes the property `name` from the section "vesta" of a marker file on disk.
/// Status: `eOK`; `eParameterError` for a null pointer; `eUnknown` when the file cannot be read or
/// written.
/// Disk: nothing is written when there is no such property.
VESTA2_API void removeVestaVariableFromMarkerFile(const char* markerFilePath, const char* name);

}  // namespace vesta2

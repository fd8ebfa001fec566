#pragma once
/// Link files: a bag with the marker file that a link leads to, and the checksum that the marker
/// had when the link was written. Safe from any thread; who writes holds the registry's lock.

#include <string>

#include "vesta2/error.h"
#include "vesta2/node.h"

namespace vesta2 {

/// What reading a bag file came to, from the result of the load.
marker_state_t stateOfLoad(int result);

struct LinkFile {
    marker_state_t state = marker_state_t::absent;
    std::string target;  ///< normal and absolute; a relative one is relative to the link
    std::string checksum;
};

/// A link file that can be parsed but lacks a key is malformed.
LinkFile readLinkFile(const std::string& path);

/// Writes it, atomically and flushed. A link file that is not there is created exclusively:
/// `eAlreadyExists` when another process has been faster.
error_t saveLinkFile(const std::string& path, const std::string& target,
                     const std::string& checksum, bool isNew);

/// Whether `path` is absolute and has the extension of a result's, experiment's or project's link.
bool isNodeLink(const std::string& path);

}  // namespace vesta2

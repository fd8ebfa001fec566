#pragma once
/// Link files: a bag with the marker file that a link leads to, and the checksum that the marker
/// had when the link was written. Safe from any thread; who writes holds the registry's lock.

#include <string>

#include "../tree/file_id.h"
#include "vesta2/error.h"
#include "vesta2/marker_file.h"

namespace vesta2 {

struct LinkFile {
    marker_state_t state = marker_state_t::absent;
    std::string target;  ///< normal and absolute; a relative one is relative to the link
    std::string checksum;
};

/// A link file that can be parsed but lacks a key is malformed.
LinkFile readLinkFile(const std::string& path);
/// The same through another path to it. `name` is its own.
LinkFile readLinkFile(const std::string& path, const std::string& name);

/// Where a link file leads, as seen from one node.
enum class Leads {
    here,       ///< to the node's marker file, or to the one that it had before
    nowhere,    ///< certainly to no node: the link, or what it names, is absent or no link
    elsewhere,  ///< to another node
    unknown,    ///< it could not be read
};

/// The marker files by which links know a node.
struct NamedMarkers {
    const std::string& present;
    const std::string& former;  ///< before a re-binding; empty for none
};

Leads whereLeads(const LinkFile& link, const NamedMarkers& markers);

struct LinkPlace {
    const std::string& path;
    FileId group;  ///< the directory that the link is for
};

/// Writes a link to the present marker in the place of `found`, if that leads here or nowhere; what
/// says the same already is left alone, so that looking at a linked node writes nothing. Returns
/// `eNotFound` when another directory is in the place of the group's, `eAlreadyExists` for a link
/// to another node, `eUnknown` for one that could not be read, or why it could not be written.
error_t rewriteLinkFile(const LinkPlace& place, const LinkFile& found, const NamedMarkers& markers,
                        const std::string& checksum);

/// Deletes a link that leads here or nowhere. That it cannot be deleted is no failure.
void deleteLinkFile(const std::string& path, const NamedMarkers& markers);

/// Whether `path` is absolute and has the extension of a result's, experiment's or project's link.
bool isNodeLink(const std::string& path);

}  // namespace vesta2

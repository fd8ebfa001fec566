#include <boost/thread/lock_guard.hpp>

#include "../foundation/failure.h"
#include "../foundation/file_checks.h"
#include "../foundation/normal_path.h"
#include "link_file.h"
#include "removal.h"
#include "vesta2/discovery.h"
#include "vesta2/experiment.h"
#include "vesta2/names.h"
#include "vesta2/node.h"
#include "vesta2/node_group.h"
#include "vesta2/path_completion.h"
#include "vesta2/project.h"
#include "vesta2/result_directory.h"

namespace vesta2 {

namespace fs = boost::filesystem;
using basekit2::sptr_t;

// Never destroyed: a handle that is still held somewhere when the process ends comes back here.
std::map<std::string, Node*>& Node::s_nodeMap = *new std::map<std::string, Node*>();
boost::recursive_mutex& Node::s_recursiveMutex = *new boost::recursive_mutex();
unsigned Node::s_lastUid = 0;

namespace {

using Lock = boost::lock_guard<boost::recursive_mutex>;

bool isOfKind(const fs::path& path, const std::string& markerExt, const std::string& linkExt) {
    return hasExtension(path, markerExt) || hasExtension(path, linkExt);
}

std::unique_ptr<Node> makeNode(const fs::path& path, const char* groupPath) {
    if (isOfKind(path, projectMarkerFileExt(), projectLinkExt())) {
        return std::make_unique<Project>(path.native(), groupPath);
    }
    if (isOfKind(path, experimentMarkerFileExt(), experimentLinkExt())) {
        return std::make_unique<Experiment>(path.native(), groupPath);
    }
    return std::make_unique<ResultDirectory>(path.native(), groupPath);
}

}  // namespace

sptr_t<INode> Node::lookup(std::string path, const char* groupPath) {
    if (path.empty()) {
        return {};
    }
    try {
        sptr_t<INode> node = find(path, groupPath);
        if (!node) {
            setStatus(eNotFound);
        }
        return node;
    } catch (const boost::system::system_error& e) {
        VESTA_FAIL_WITH(e);
        return {};
    }
}

/// As `lookup`, but throws when it cannot be known whether there is such a file.
sptr_t<INode> Node::find(const std::string& path, const char* groupPath) {
    const fs::path place = normalPath(completePath(path, groupPath));
    const std::string& key = place.native();
    // From the first look at the disk on: a marker that is deleted meanwhile must not give an empty
    // node.
    const Lock lock(s_recursiveMutex);
    // Twice: a save replaces the file, and some network file systems show a gap.
    if ((!isThere(place) && !fs::exists(lookAt(place))) || NodeBeingRemoved::contains(key)) {
        return {};
    }
    Node* node = registered(key);
    if (!node && isLink(key)) {
        // A node that is open already need not know the link: it may be read-only.
        const LinkFile link = readLinkFile(key);
        node = link.state == marker_state_t::read ? registered(link.target) : nullptr;
        if (node && node->m_open && node->m_linkFilePath.empty() && !node->m_parent) {
            node->adoptLink(key);
            node->adoptOwnParent();
        }
    }
    if (node) {
        // One that is still being made has been reached again from a group or link below it.
        return node->m_open ? node->asINode() : sptr_t<INode>();
    }
    std::unique_ptr<Node> made = makeNode(place, groupPath);
    if (made->m_markerState == marker_state_t::absent && made->m_linkFilePath.empty()) {
        return {};
    }
    made->m_open = true;
    return made.release()->asINode();
}

Node* Node::registered(const std::string& key) {
    const auto found = s_nodeMap.find(key);
    return found == s_nodeMap.end() ? nullptr : found->second;
}

unsigned Node::add_ref() const {
    const Lock lock(s_recursiveMutex);
    return ++m_references;
}

unsigned Node::release() const {
    const Lock lock(s_recursiveMutex);
    if (--m_references != 0) {
        return m_references;
    }
    delete this;
    return 0;
}

void Node::unregister() const {
    unregister(m_markerFilePath);
    unregister(m_linkFilePath);
}

void Node::unregister(const std::string& key) const {
    const Lock lock(s_recursiveMutex);
    const auto found = s_nodeMap.find(key);
    if (found != s_nodeMap.end() && found->second == this) {
        s_nodeMap.erase(found);
    }
}

unsigned Node::openOn(const std::string& markerFilePath) {
    const Lock lock(s_recursiveMutex);
    const Node* const node = registered(normalPath(markerFilePath).native());
    return node && node->m_open ? node->m_uid : 0;
}

void Node::retire(const std::string& markerFilePath, unsigned number) {
    const Lock lock(s_recursiveMutex);
    Node* const node = registered(normalPath(markerFilePath).native());
    if (node && node->m_open && node->m_uid == number) {
        node->m_removed = true;
        node->unregister();
    }
}

unsigned Node::uid(const sptr_t<INode>& node) {
    const Node* object = dynamic_cast<const Node*>(node.get());
    return object ? object->m_uid : 0;
}

marker_state_t Node::markerState(const sptr_t<INode>& node) {
    const Node* object = dynamic_cast<const Node*>(node.get());
    return object ? object->m_markerState : marker_state_t::absent;
}

bool Node::isParentKnown(const sptr_t<INode>& node) {
    const Node* object = dynamic_cast<const Node*>(node.get());
    return !object || object->m_isParentKnown;
}

unsigned Node::nodeCount() {
    const Lock lock(s_recursiveMutex);
    return s_lastUid;
}

unsigned Node::handleCount() {
    const Lock lock(s_recursiveMutex);
    return static_cast<unsigned>(s_nodeMap.size());
}

void Node::reset() {
    const Lock lock(s_recursiveMutex);
    s_nodeMap.clear();
    s_lastUid = 0;
}

bool Node::eraseFromMap(std::string& key) {
    const Lock lock(s_recursiveMutex);
    return s_nodeMap.erase(key) != 0;
}

}  // namespace vesta2

#include <boost/thread/lock_guard.hpp>

#include "../foundation/failure.h"
#include "../foundation/file_checks.h"
#include "../foundation/normal_path.h"
#include "registry.h"
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

thread_local const NodeBeingRemoved* innermostRemoval = nullptr;

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

NodeBeingRemoved::NodeBeingRemoved(const std::string& markerFilePath)
    : m_markerFilePath(markerFilePath), m_outer(innermostRemoval) {
    innermostRemoval = this;
}

NodeBeingRemoved::~NodeBeingRemoved() { innermostRemoval = m_outer; }

bool NodeBeingRemoved::contains(const std::string& markerFilePath) {
    const NodeBeingRemoved* removal = innermostRemoval;
    while (removal && removal->m_markerFilePath != markerFilePath) {
        removal = removal->m_outer;
    }
    return removal != nullptr;
}

fs::path NodeBeingRemoved::outermostAround(const fs::path& place) {
    fs::path outermost;
    for (const NodeBeingRemoved* removal = innermostRemoval; removal; removal = removal->m_outer) {
        const fs::path directory = fs::path(removal->m_markerFilePath).parent_path();
        if (place.native().rfind(directory.native() + '/', 0) == 0) {
            outermost = directory;
        }
    }
    return outermost;
}

sptr_t<INode> Node::lookup(std::string path, const char* groupPath) {
    if (path.empty()) {
        return {};
    }
    try {
        const fs::path key = normalPath(completePath(path, groupPath));
        bool found = isThere(key);
        if (!found) {
            // Once more: a save replaces the file, and some network file systems show a gap.
            found = isThere(key);
        }
        if (!found) {
            return {};
        }
        const Lock lock(s_recursiveMutex);
        if (NodeBeingRemoved::contains(key.native())) {
            return {};
        }
        const auto registered = s_nodeMap.find(key.native());
        if (registered != s_nodeMap.end()) {
            // A node that is still being made has come back to itself, over a group or a link that
            // lies below it: there is nothing to give out yet.
            return registered->second->m_open ? registered->second->asINode() : sptr_t<INode>();
        }
        Node* const node = makeNode(key, groupPath).release();
        node->m_open = true;
        return node->asINode();
    } catch (const boost::system::system_error& e) {
        VESTA_FAIL_WITH(e);
        return {};
    }
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
    for (const std::string& key : {m_markerFilePath, m_linkFilePath}) {
        const auto found = s_nodeMap.find(key);
        if (found != s_nodeMap.end() && found->second == this) {
            s_nodeMap.erase(found);
        }
    }
}

void Node::rebind(const std::string& markerFilePath) {
    const Lock lock(s_recursiveMutex);
    const auto found = s_nodeMap.find(normalPath(markerFilePath).native());
    if (found != s_nodeMap.end() && found->second->m_open) {
        found->second->readMarkerFile();
        found->second->m_changeMonitor.modified = false;
        found->second->m_removeOnClose = false;
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

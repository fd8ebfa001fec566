// Which node objects there are: one for each marker file that is open, from its first handle to its
// last, and until its directory is removed. See node_state.h for the states.

#include "node_registry.h"

#include <sys/stat.h>

#include <optional>

#include "../discovery/extensions.h"
#include "../foundation/file_checks.h"
#include "../foundation/log.h"
#include "basekit2/file_error.h"
#include "link_file.h"
#include "marker_io.h"
#include "node_removal.h"
#include "node_state.h"
#include "vesta2/discovery.h"
#include "vesta2/experiment.h"
#include "vesta2/names.h"
#include "vesta2/path_completion.h"
#include "vesta2/project.h"
#include "vesta2/result_directory.h"

namespace vesta2 {

namespace fs = boost::filesystem;
using basekit2::sptr_t;
using optstore2::IBagPropertyStorage;
using Lock = NodeState::Lock;

// Never destroyed: a handle that is still held somewhere when the process ends comes back here.
std::map<std::string, Node*>& Node::s_nodeMap = *new std::map<std::string, Node*>();
boost::recursive_mutex& Node::s_recursiveMutex = *new boost::recursive_mutex();
unsigned Node::s_lastUid = 0;

namespace {

bool isOfKind(const fs::path& path, const std::string& markerExt, const std::string& linkExt) {
    return hasExtension(path, markerExt) || hasExtension(path, linkExt);
}

std::unique_ptr<Node> makeObject(const fs::path& path, const char* groupPath) {
    if (isOfKind(path, projectMarkerFileExt(), projectLinkExt())) {
        return std::make_unique<Project>(path.native(), groupPath);
    }
    if (isOfKind(path, experimentMarkerFileExt(), experimentLinkExt())) {
        return std::make_unique<Experiment>(path.native(), groupPath);
    }
    return std::make_unique<ResultDirectory>(path.native(), groupPath);
}

}  // namespace

NodeState::NodeState(Node& object)
    : self(object),
      uid(++Node::s_lastUid),
      propertyStorage(IBagPropertyStorage::create(&properties, {})),
      transientStorage(IBagPropertyStorage::create(&transient, {})) {}

NodeState* NodeState::of(const sptr_t<INode>& node) {
    const auto* object = dynamic_cast<Node*>(node.get());
    return object ? object->m_state.get() : nullptr;
}

// --- finding and counting

sptr_t<INode> Node::lookup(std::string path, const char* groupPath) {
    if (path.empty()) {
        return {};
    }
    try {
        sptr_t<INode> node = NodeState::find(path, groupPath);
        if (!node) {
            setStatus(eNotFound);
        }
        return node;
    } catch (const boost::system::system_error& e) {
        failWith(e);
        return {};
    }
}

namespace {

bool isRegistered(const std::string& key) {
    const Lock lock(NodeState::mutex());
    return NodeState::registered(key) != nullptr;
}

/// Whether there is anything at `place`, and what. Throws when that cannot be told.
bool findFile(const fs::path& place, struct stat& file) {
    // Twice: a save replaces the file, and some network file systems show a gap.
    if (::stat(place.c_str(), &file) == 0 || ::stat(place.c_str(), &file) == 0) {
        return true;
    }
    if (!basekit2::means_absent(errno)) {
        basekit2::throw_file_error("cannot look at", place);
    }
    return false;
}

}  // namespace

sptr_t<INode> NodeState::find(const std::string& path, const char* groupPath) {
    const fs::path place = normalPath(completePath(path, groupPath));
    const std::string& key = place.native();
    // Reading takes longest, and needs no lock: it is believed if the file is the same afterwards.
    std::optional<MarkerInHand> read;
    if (!MarkerInHand::of(key) && !isLink(key) && !isRegistered(key)) {
        read.emplace(key);
    }
    // From the look on that counts: a marker that is deleted meanwhile must not give an empty node.
    const Lock lock(mutex());
    struct stat file {};
    const MarkerInHand* const inHand = MarkerInHand::of(key);
    if (!(inHand && inHand->isNew()) && !findFile(place, file)) {
        return {};
    }
    if (inHand && !inHand->isOf(file)) {
        read.reset();
    }
    if (isBeingRemoved(key)) {
        return {};
    }
    NodeState* node = registered(key);
    if (!node && isLink(key)) {
        // A node that is open already need not know the link: it may be read-only.
        const LinkFile link = readLinkFile(key);
        node = link.state == marker_state_t::read ? registered(link.target) : nullptr;
        if (node && node->isOpen && node->linkFilePath.empty() && !node->parent) {
            node->adoptLinkAndGroup(key);
        }
    }
    if (node) {
        // A re-entrant look-up finds no node that is still being made.
        return node->isOpen ? node->self.asINode() : sptr_t<INode>();
    }
    std::unique_ptr<Node> made = makeObject(place, groupPath);
    if (made->m_state->markerState == marker_state_t::absent &&
        made->m_state->linkFilePath.empty()) {
        return {};
    }
    made->m_state->isOpen = true;
    return made.release()->asINode();
}

GroupLook lookAtGroup(const std::string& path, Knowledge knowledge) {
    GroupLook look;
    fs::path directory = path;
    removeEndingSlash(directory);
    std::optional<std::string> marker =
        findGroupMarkerInDir(directory.empty() ? path : directory.native(), knowledge);
    look.isDirectory = marker.has_value();
    if (marker) {
        look.marker = std::move(*marker);
    } else {
        // Results have no group.
        look.marker = findMarkerFileOrLink(path, groupMarkerExtensions(), true);
    }
    if (!look.marker.empty()) {
        look.node = NodeState::find(look.marker, nullptr);
    }
    return look;
}

unsigned Node::add_ref() const {
    const Lock lock(s_recursiveMutex);
    return ++m_state->references;
}

unsigned Node::release() const {
    const Lock lock(s_recursiveMutex);
    if (--m_state->references != 0) {
        return m_state->references;
    }
    delete this;
    return 0;
}

NodeState* NodeState::registered(const std::string& key) {
    const auto found = Node::s_nodeMap.find(key);
    return found == Node::s_nodeMap.end() ? nullptr : found->second->m_state.get();
}

void NodeState::enroll(const std::string& key) { Node::s_nodeMap[key] = &self; }

void NodeState::unregister(const std::string& key) const {
    const Lock lock(mutex());
    const auto found = Node::s_nodeMap.find(key);
    if (found != Node::s_nodeMap.end() && found->second == &self) {
        Node::s_nodeMap.erase(found);
    }
}

void NodeState::unregister() const {
    unregister(markerFilePath);
    unregister(linkFilePath);
}

unsigned Node::openOn(const std::string& markerFilePath) {
    const Lock lock(s_recursiveMutex);
    const NodeState* const node = NodeState::registered(normalPath(markerFilePath).native());
    return node && node->isOpen ? node->uid : 0;
}

void Node::retire(const std::string& markerFilePath, unsigned number) {
    const Lock lock(s_recursiveMutex);
    NodeState* const node = NodeState::registered(normalPath(markerFilePath).native());
    if (node && node->isOpen && node->uid == number) {
        node->isRemoved = true;
        node->unregister();
    }
}

unsigned Node::uid(const sptr_t<INode>& node) {
    const NodeState* state = NodeState::of(node);
    return state ? state->uid : 0;
}

marker_state_t Node::markerState(const sptr_t<INode>& node) {
    const NodeState* state = NodeState::of(node);
    return state ? state->markerState : marker_state_t::absent;
}

bool Node::isParentKnown(const sptr_t<INode>& node) {
    const NodeState* state = NodeState::of(node);
    return !state || state->isParentKnown;
}

bool Node::areMarksKnown(const sptr_t<INode>& node) {
    const NodeState* state = NodeState::of(node);
    return !state || state->areMarksKnown;
}

bool Node::isHome(const sptr_t<INode>& node, int directory) {
    const NodeState* state = NodeState::of(node);
    return !state || !isAnother(directory, state->home);
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

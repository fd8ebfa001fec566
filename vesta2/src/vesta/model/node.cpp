// What a node holds: its properties, its flags, and how they are saved.

#include "vesta2/node.h"

#include "../../util/flag_data.h"
#include "../foundation/file_checks.h"
#include "../foundation/log.h"
#include "../foundation/path_parts.h"
#include "marker_io.h"
#include "node_state.h"
#include "platkit/assertion.h"
#include "vesta2/discovery.h"
#include "vesta2/i_project.h"
#include "vesta2/names.h"
#include "vesta2/property_names.h"
#include "vesta2/tree_size.h"

namespace vesta2 {

namespace fs = boost::filesystem;
using basekit2::sptr_t;
using basekit2::variant_t;
using optstore2::IBagPropertyStorage;
using Lock = NodeState::Lock;

namespace {

/// Runs a flag operation; what it throws becomes the thread's status.
template <class Operation>
error_t runFlagOperation(const char* name, const Operation& operation) {
    setStatus(eOK);
    if (!name || !*name) {
        setStatus(eParameterError);
        return eParameterError;
    }
    try {
        return operation();
    } catch (const boost::system::system_error& e) {
        failWith(e);
        return eUnknown;
    }
}

}  // namespace

Node::Node(std::string markerFilePath, const char* parentGroupPath)
    : m_state(std::make_unique<NodeState>(*this)) {
    try {
        if (isLink(markerFilePath)) {
            m_state->setLinkPath(std::string(markerFilePath), markerFilePath);
        }
        m_state->bind(std::move(markerFilePath), parentGroupPath);
        if (!m_state->linkFilePath.empty() && m_state->linkFilePath == m_state->markerFilePath) {
            // The link does not tell where the marker file is; its own text is none.
            m_state->properties.clear();
            m_state->markerState = m_state->markerState == marker_state_t::malformed
                                       ? marker_state_t::malformed
                                       : marker_state_t::unreadable;
        }
        m_state->propertyStorage->addChangeListener(&m_state->changeMonitor);
    } catch (...) {
        // The destructor will not run: nothing may find the node any more.
        m_state->unregister();
        throw;
    }
}

Node::~Node() noexcept {
    m_state->unregister();
    // Twice: what there was no memory for may pass.
    for (int attempt = 0; attempt < 2; ++attempt) {
        try {
            if (m_state->removeOnClose) {
                Node::remove();
            }
            m_state->flags.eraseAll();
            break;
        } catch (const boost::system::system_error& e) {
            // The files stay behind; the next to claim the flag finds that its owner has ended.
            failWith(e);
            break;
        } catch (const std::bad_alloc&) {
            setStatus(eUnknown);
        }
    }
    m_state->propertyStorage->removeChangeListener(&m_state->changeMonitor);
    // A caller may still hold the storages; the bags that they show end here.
    m_state->propertyStorage->detach();
    m_state->transientStorage->detach();
}

const char* Node::getPath() { return m_state->path.c_str(); }

std::string Node::currentPath() const {
    const Lock lock(s_recursiveMutex);
    return m_state->path;
}

const fs::path& Node::directory() const { return m_state->directory; }

void Node::noteUnknownMarks() { m_state->areMarksKnown = false; }

std::string Node::markerFileName() const { return std::string(nameIn(m_state->markerFilePath)); }

marker_state_t Node::markerState() const { return m_state->markerState; }

bool Node::setMarkerFilePath(std::string markerFilePath, const char* parentGroupPath) {
    return m_state->bind(std::move(markerFilePath), parentGroupPath);
}

const char* Node::getMarkerFilePath() {
    m_state->followRenamedMarker();
    return m_state->markerFilePath.c_str();
}

bool Node::isMissing() {
    if (isThere(m_state->markerFilePath)) {
        return false;
    }
    m_state->followRenamedMarker();
    return !isThere(m_state->markerFilePath);
}

bool Node::isLinked() { return !m_state->linkFilePath.empty(); }

bool Node::isLinkStale() { return m_state->isLinkStale; }

const char* Node::getLinkFilePath() { return m_state->linkFilePath.c_str(); }

sptr_t<INode> Node::getParent() {
    const Lock lock(s_recursiveMutex);
    return m_state->parent;
}

bool Node::setParent(const char* parentDir) {
    const Lock lock(s_recursiveMutex);
    return m_state->bind(m_state->markerFilePath, parentDir);
}

std::uint64_t Node::getSize() { return calcDirectoryFilesSize(m_state->directory); }

std::uint64_t Node::getFilesCount() { return calcDirectoryFilesCount(m_state->directory); }

const char* Node::getUserVisibleName() {
    return isMissing() ? nullptr : m_state->userVisibleName.c_str();
}

// --- the nodes in it, and the project that it is in

sptr_t<IProject> Node::getProject() {
    for (sptr_t<INode> node = getParent(); node; node = node->getParent()) {
        if (sptr_t<IProject> project = IProject::cast(node)) {
            return project;
        }
    }
    return {};
}

sptr_t<INodeGroup> Node::getNodeGroup() { return {}; }

void Node::setOwnGroup(std::unique_ptr<NodeGroup> group) { m_state->ownGroup = std::move(group); }

sptr_t<INodeGroup> Node::ownGroup() const {
    // A link that does not tell where its node is has no directory to hold others.
    return isLink(m_state->markerFilePath) ? sptr_t<INodeGroup>()
                                           : sptr_t<INodeGroup>(m_state->ownGroup.get());
}

std::string Node::getOutputDirectory() {
    const Lock lock(s_recursiveMutex);
    return m_state->outputDirectory.empty() ? m_state->path : m_state->outputDirectory;
}

void Node::setOutputDirectory(const char* directory) {
    const Lock lock(s_recursiveMutex);
    m_state->outputDirectory = directory ? directory : "";
    if (basekit2::variant_bag_t* vesta = m_state->properties.get_bag(section::vesta)) {
        vesta->put(property::outputDirectory, m_state->outputDirectory);
        setStatus(m_state->saveProperties());
    }
}

// --- properties

sptr_t<IBagPropertyStorage> Node::getPropertyStorage() { return m_state->propertyStorage; }

sptr_t<IBagPropertyStorage> Node::getTransientStorage() { return m_state->transientStorage; }

const basekit2::variant_bag_t& Node::properties() const { return m_state->properties; }

basekit2::variant_bag_t* Node::getVestaBag() {
    return &m_state->properties.put_bag(section::vesta);
}

const variant_t* NodeState::findProperty(const char* name) const {
    const basekit2::variant_bag_t* vesta = properties.get_bag(section::vesta);
    return vesta ? vesta->find(name) : nullptr;
}

void Node::setRdPropInt(const char* name, int value) {
    getVestaBag()->put(name, std::int32_t{value});
}

void Node::setRdPropLong(const char* name, long long value) {
    getVestaBag()->put(name, std::int64_t{value});
}

void Node::setRdPropStr(const char* name, const char* value) { getVestaBag()->put(name, value); }

void Node::setRdPropTime(const char* name, long value) {
    getVestaBag()->put(name, static_cast<std::uint64_t>(value));
}

int Node::getRdPropInt(const char* name, int def) const {
    return static_cast<int>(getRdPropLong(name, def));
}

long long Node::getRdPropLong(const char* name, long long def) const {
    const variant_t* value = m_state->findProperty(name);
    return value ? value->to_int64() : def;
}

const char* Node::getRdPropStr(const char* name, const char* def) const {
    const variant_t* value = m_state->findProperty(name);
    return value && value->as_string() ? value->as_string()->c_str() : def;
}

long Node::getRdPropTime(const char* name, long def) const { return getRdPropLong(name, def); }

long Node::getCreationTime() { return getRdPropTime(property::timestamp, 0); }

// --- saving

bool Node::save() {
    const error_t owner = ownFlag(flag_name::projectReadOnly);
    if (owner == eNotOwner) {
        // Deliberate: file, line and condition are fixed; readers of the assertion know this place
        // by them.
        platkit::assertion_failed({"ownFlag(VESTA_PROJECT_READONLY_FLAG) != eNotOwner",
                                   "vcs/vesta2/src/vesta", 1553, "bool vesta2::Node::save()"});
        setStatus(eNotOwner);
        return false;
    }
    if (owner != eOK && owner != eNotFound) {
        // Another process may have it.
        return !setStatus(owner);
    }
    const bool isChanged = m_state->changeMonitor.modified;
    if (!m_state->isRemoved && m_state->markerState != marker_state_t::unreadable) {
        m_state->removeOnClose = false;
        m_state->changeMonitor.modified = false;
    }
    const error_t code = m_state->saveProperties(isChanged);
    // What could not be written is still to be saved.
    m_state->changeMonitor.modified = m_state->changeMonitor.modified || code != eOK;
    // Deliberate: true also when nothing was written.
    return !setStatus(code);
}

error_t NodeState::saveProperties(bool isChanged) const {
    if (isRemoved) {
        return eNotFound;
    }
    // What a marker holds that could not be read is unknown; replacing it would lose that.
    const error_t code = markerState == marker_state_t::unreadable
                             ? eUnknown
                             : saveMarkerFile(properties, markerFilePath, home, isChanged);
    if (code != eOK) {
        logError(code, markerFilePath.c_str());
    }
    return code;
}

bool Node::isModified() { return m_state->changeMonitor.modified; }

void Node::markModified() { m_state->changeMonitor.modified = true; }

bool Node::isReadOnly() { return m_state->isReadOnly; }

void Node::setReadOnly(bool readOnly) { m_state->isReadOnly = readOnly; }

void Node::setRemoveOnClose(bool removeOnClose) { m_state->removeOnClose = removeOnClose; }

// --- flags

error_t Node::addFlag(const char* name, sptr_t<IFlagData>& out, bool force) {
    basekit2::variant_bag_t record;
    const error_t code = runFlagOperation(name, [&] {
        return m_state->isGone() ? eNotFound : m_state->flags.writeFlag(name, force, &record);
    });
    out = sptr_t<IFlagData>(new util::FlagData(std::move(record)));
    return code;
}

error_t Node::addFlag(const char* name, bool force) {
    return runFlagOperation(name, [&] {
        return m_state->isGone() ? eNotFound : m_state->flags.writeFlag(name, force, nullptr);
    });
}

error_t Node::removeFlag(const char* name, bool forceErase) {
    return runFlagOperation(name,
                            [&] { return m_state->flags.removeFlag(name, true, forceErase); });
}

error_t Node::ownFlag(const char* name) {
    return runFlagOperation(name, [&] { return m_state->flags.isFlagOwner(name); });
}

bool Node::setFlag(const char* name) {
    sptr_t<IFlagData> out;
    return addFlag(name, out, false) == eOK;
}

bool Node::clearFlag(const char* name, bool forceErase) {
    return removeFlag(name, forceErase) == eOK;
}

}  // namespace vesta2

#include "vesta2/node_group.h"

#include <cstring>

#include "../discovery/extensions.h"
#include "../foundation/file_checks.h"
#include "../foundation/log.h"
#include "group_being_emptied.h"
#include "node_registry.h"
#include "node_state.h"
#include "vesta2/discovery.h"
#include "vesta2/names.h"
#include "vesta2/node.h"
#include "vesta2/node_iterator.h"
#include "vesta2/path_completion.h"
#include "vesta2/path_iterators.h"

namespace vesta2 {

namespace fs = boost::filesystem;
using basekit2::sptr_t;

namespace {

std::string normalized(const std::string& path) {
    fs::path normal = path;
    removeEndingSlash(normal);
    return normal.empty() ? path : normal.native();
}

}  // namespace

sptr_t<INodeGroup> INodeGroup::open(const char* path) {
    const bool isGiven = path && *path;
    setStatus(isGiven ? eOK : eParameterError);
    if (!isGiven) {
        return {};
    }
    // Who asks for a group by its name may know that it has just become one.
    const GroupLook look = lookAtGroup(path, Knowledge::listed);
    if (look.node) {
        return look.node->getNodeGroup();
    }
    if (!look.isDirectory) {
        setStatus(eNotFound);
        return {};
    }
    return sptr_t<INodeGroup>(new NodeGroup(path, nullptr));
}

sptr_t<IPathIterator> INodeGroup::findProjects(const char* directory) {
    return sptr_t<IPathIterator>(new ProjectPathIterator(directory));
}

NodeGroup::NodeGroup(std::string path, Node* owner)
    : m_path(normalized(path)), m_owner(owner), m_outputDirectory(std::move(path)) {}

unsigned NodeGroup::add_ref() const { return m_owner ? m_owner->add_ref() : ++m_references; }

unsigned NodeGroup::release() const {
    if (m_owner) {
        return m_owner->release();
    }
    const unsigned left = --m_references;
    if (left == 0) {
        delete this;
    }
    return left;
}

void NodeGroup::setPath(const std::string& path) { m_path = normalized(path); }

const char* NodeGroup::getPath() { return m_path.c_str(); }

sptr_t<IPathIterator> NodeGroup::getNodePaths() {
    return sptr_t<IPathIterator>(new NodePathIterator(m_path));
}

basekit2::generic_iterator_t<sptr_t<INode>> NodeGroup::getNodes(const char* mask, int maxCount) {
    return basekit2::generic_iterator_t<sptr_t<INode>>(
        new NodeIterator(mask ? mask : "", m_path, maxCount));
}

bool NodeGroup::isEmpty() { return getNodePaths()->getSize() == 0; }

sptr_t<INode> NodeGroup::getNode() { return m_owner ? m_owner->asINode() : sptr_t<INode>(); }

sptr_t<INode> NodeGroup::addNode(const char* path) {
    if (!m_owner || !path || !*path) {
        setStatus(path && *path ? eOK : eParameterError);
        return {};
    }
    const std::string marker = findMarkerFileOrLink(path, nodeMarkerExtensions(), true);
    if (marker.empty()) {
        return {};
    }
    const std::string experimentExt = experimentMarkerFileExt();
    const bool isExperiment = hasExtension(marker, experimentExt);
    if (hasExtension(marker, projectMarkerFileExt()) ||
        (isExperiment && hasExtension(m_owner->getMarkerFilePath(), experimentExt))) {
        return {};
    }
    const std::string found =
        findLastMatching(path, "", isExperiment ? experimentExt : resultMarkerFileExt(), true);
    sptr_t<INode> node = Node::lookup(found, m_path.c_str());
    const error_t joined = getStatus();
    if (!node || !node->setParent(m_path.c_str())) {
        return {};
    }
    // That a node which has just joined could not name its link is not forgotten.
    if (getStatus() == eOK && node->isLinked()) {
        setStatus(joined);
    }
    return node;
}

void NodeGroup::purge(const char* mask, int keep) {
    setStatus(eOK);
    // What a path leads to is no node of this group.
    if (mask && std::strchr(mask, '/')) {
        setStatus(eInvalidPath);
        return;
    }
    try {
        const GroupBeingEmptied mark({m_path, m_owner ? NodeState::homeOf(*m_owner) : FileId()});
        NodeIterator nodes(mask ? mask : "", m_path, 0);
        error_t outcome = getStatus();
        const std::size_t kept = keep > 0 ? static_cast<std::size_t>(keep) : 0;
        for (std::size_t left = nodes.size(); left > kept; --left, nodes.next()) {
            const sptr_t<INode> node = nodes.current();
            if (node ? !node->remove() : !isAbsent(nodes.path())) {
                outcome = getStatus();
            }
        }
        setStatus(outcome);
    } catch (const boost::system::system_error& e) {
        failWith(e);
    }
}

void NodeGroup::setOutputDirectory(const char* directory) {
    if (m_owner) {
        m_owner->setOutputDirectory(directory);
    }
    m_outputDirectory = directory ? directory : "";
}

const char* NodeGroup::getOutputDirectory() {
    if (m_owner) {
        m_outputDirectory = m_owner->getOutputDirectory();
    }
    return m_outputDirectory.c_str();
}

}  // namespace vesta2

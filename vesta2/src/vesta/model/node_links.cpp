#include <boost/filesystem/operations.hpp>
#include <boost/thread/lock_guard.hpp>

#include "basekit2/bag_io.h"
#include "property_names.h"
#include "vesta2/names.h"
#include "vesta2/node.h"

namespace vesta2 {

namespace fs = boost::filesystem;

namespace {

constexpr const char* linkRoot = "bag";
constexpr const char* linkKey = "link";
constexpr const char* checksumKey = "md5sum";

using Lock = boost::lock_guard<boost::recursive_mutex>;

int loadLink(basekit2::variant_bag_t& bag, const std::string& path) {
    return basekit2::load_variant_bag2(bag, path, linkRoot, 0);
}

}  // namespace

bool Node::setLinkPath(std::string linkPath, std::string& target) {
    setStatus(eOK);
    if (linkPath.empty()) {
        return false;
    }
    if (linkPath == m_linkFilePath) {
        return true;
    }
    const Lock lock(s_recursiveMutex);
    eraseFromMap(m_linkFilePath);
    m_linkFilePath = std::move(linkPath);
    s_nodeMap[m_linkFilePath] = this;
    basekit2::variant_bag_t bag;
    if (!setStatus(errorFromObxError(loadLink(bag, m_linkFilePath)))) {
        return true;
    }
    const basekit2::variant_t link = bag.get_variant(linkKey);
    const basekit2::variant_t checksum = bag.get_variant(checksumKey);
    if (link.as_string() && checksum.as_string()) {
        target = *link.as_string();
        m_linkStale =
            m_linkStale || target != m_markerFilePath || *checksum.as_string() != m_checksum;
        m_checksum = *checksum.as_string();
    }
    return true;
}

void Node::updateLinkFile() {
    setStatus(eOK);
    const Lock lock(s_recursiveMutex);
    const std::string wanted = wantedLinkPath();
    if (wanted == m_linkFilePath && !m_linkStale) {
        return;
    }
    const std::string old = m_linkFilePath;
    eraseFromMap(m_linkFilePath);
    m_linkFilePath = wanted;
    if (!wanted.empty()) {
        s_nodeMap[wanted] = this;
        writeLinkFile();
    }
    // Only now, and only when the new link stands: at no moment is the node without one.
    if (!old.empty() && old != wanted && getStatus() == eOK) {
        boost::system::error_code ignored;
        fs::remove(old, ignored);
    }
}

/// Where the node's link file should be; empty for a node that needs none, because it lies in its
/// parent's directory or has no parent.
std::string Node::wantedLinkPath() {
    if (!m_parent) {
        return {};
    }
    const fs::path group = m_parent->getPath();
    boost::system::error_code failed;
    const bool liesInGroup = fs::equivalent(m_directory.parent_path(), group, failed);
    if (failed || liesInGroup) {
        return {};
    }
    return (group / (fs::path(m_markerFilePath).filename().native() + linkSuffix())).native();
}

void Node::writeLinkFile() {
    basekit2::variant_bag_t bag;
    bag.put(linkKey, m_markerFilePath);
    bag.put(checksumKey, m_checksum);
    // What says the same already is left alone: looking at a linked node writes nothing.
    basekit2::variant_bag_t present;
    if (loadLink(present, m_linkFilePath) != basekit2::bag_ok || present != bag) {
        if (!setStatus(
                errorFromObxError(basekit2::save_variant_bag2(bag, m_linkFilePath, linkRoot)))) {
            return;
        }
    }
    m_linkStale = false;
    basekit2::variant_bag_t* vesta = m_properties.get_bag(vestaSection);
    if (vesta && m_linkFilePath != getRdPropStr(backlinkKey, "")) {
        vesta->put(backlinkKey, m_linkFilePath);
        setStatus(errorFromObxError(basekit2::save_variant_bag(m_properties, m_markerFilePath)));
    }
}

bool Node::isLinked() { return !m_linkFilePath.empty(); }

bool Node::isLinkStale() { return m_linkStale; }

const char* Node::getLinkFilePath() { return m_linkFilePath.c_str(); }

}  // namespace vesta2

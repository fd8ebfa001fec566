#pragma once
/// Forwards the operations of a node interface to `Node`, once for all node classes.
///
/// Adds nothing: each operation does what `INode` tells, and its threading rule is that of `Node`.

#include <string>
#include <utility>

#include "vesta2/i_node_group.h"
#include "vesta2/node.h"

namespace vesta2 {

/// `Interface` is `IResultDirectory`, `IExperiment` or `IProject`.
template <class Interface>
class NodeFacade : public Node, public Interface {
public:
    basekit2::sptr_t<INode> asINode() override {
        return basekit2::sptr_t<INode>(static_cast<Interface*>(this));
    }

    unsigned add_ref() const override { return Node::add_ref(); }
    unsigned release() const override { return Node::release(); }
    const char* getPath() override { return Node::getPath(); }
    const char* getMarkerFilePath() override { return Node::getMarkerFilePath(); }
    std::uint64_t getSize() override { return Node::getSize(); }
    std::uint64_t getFilesCount() override { return Node::getFilesCount(); }
    bool changeMarkerFilePath(const char* newMarker) override {
        return Node::changeMarkerFilePath(newMarker);
    }
    const char* getUserVisibleName() override { return Node::getUserVisibleName(); }
    bool changeUserVisibleName(const char* name) override {
        return Node::changeUserVisibleName(name);
    }
    basekit2::sptr_t<INode> getParent() override { return Node::getParent(); }
    bool setParent(const char* parentDir) override { return Node::setParent(parentDir); }
    basekit2::sptr_t<IProject> getProject() override { return Node::getProject(); }
    basekit2::sptr_t<INodeGroup> getNodeGroup() override { return Node::getNodeGroup(); }
    basekit2::sptr_t<optstore2::IBagPropertyStorage> getPropertyStorage() override {
        return Node::getPropertyStorage();
    }
    bool save() override { return Node::save(); }
    bool isModified() override { return Node::isModified(); }
    long getCreationTime() override { return Node::getCreationTime(); }
    basekit2::sptr_t<optstore2::IBagPropertyStorage> getTransientStorage() override {
        return Node::getTransientStorage();
    }
    bool isLinked() override { return Node::isLinked(); }
    bool isMissing() override { return Node::isMissing(); }
    bool isLinkStale() override { return Node::isLinkStale(); }
    bool isReadOnly() override { return Node::isReadOnly(); }
    void setReadOnly(bool readOnly) override { Node::setReadOnly(readOnly); }
    void setRemoveOnClose(bool removeOnClose) override { Node::setRemoveOnClose(removeOnClose); }
    bool remove() override { return Node::remove(); }
    bool setFlag(const char* name) override { return Node::setFlag(name); }
    error_t addFlag(const char* name, basekit2::sptr_t<IFlagData>& out, bool force) override {
        return Node::addFlag(name, out, force);
    }
    error_t addFlag(const char* name, bool force) override { return Node::addFlag(name, force); }
    bool clearFlag(const char* name, bool forceErase) override {
        return Node::clearFlag(name, forceErase);
    }
    error_t removeFlag(const char* name, bool forceErase) override {
        return Node::removeFlag(name, forceErase);
    }
    error_t ownFlag(const char* name) override { return Node::ownFlag(name); }
    const char* getLinkFilePath() override { return Node::getLinkFilePath(); }
    bool copy(const char* destination, bool rename, notify2::IProgress* progress) override {
        return Node::copy(destination, rename, progress);
    }
    bool move(const char* destination, bool rename, notify2::IProgress* progress) override {
        return Node::move(destination, rename, progress);
    }

protected:
    NodeFacade(std::string path, const char* parentGroupPath)
        : Node(std::move(path), parentGroupPath) {}
};

}  // namespace vesta2

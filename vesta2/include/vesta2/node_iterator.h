#pragma once
/// The nodes of a directory, one after the other.
///
/// For one thread at a time. Clones share what was found, and may be used on different threads.

#include <cstddef>
#include <memory>
#include <string>

#include "basekit2/iterator.h"
#include "basekit2/object.h"
#include "vesta2/export.h"
#include "vesta2/i_node.h"

namespace vesta2 {

/// The handler behind `INodeGroup::getNodes`. The directory is searched once, when the iterator is
/// made; what comes later is not seen. A node is opened when it is asked for.
class VESTA2_API NodeIterator final : public basekit2::iterator_handler_t<basekit2::sptr_t<INode>> {
public:
    /// Searches `directory` for the nodes that match `mask` (a name, a pattern or "*"; empty for
    /// all), in file-name order; only the `maxCount` greatest, all when it is 0.
    /// Status: that of `findPatternedMarkerFileOrLink`, whose exceptions pass through.
    NodeIterator(const std::string& mask, const std::string& directory, int maxCount);
    ~NodeIterator() override;

    /// Returns: whether the cursor is behind the last node.
    [[nodiscard]] bool at_end() const override;
    /// Opens the node at the cursor, or finds the object that is open on it.
    /// Returns: the node; empty for one that was removed since, and at the end.
    /// Status: that of `Node::lookup`.
    [[nodiscard]] basekit2::sptr_t<INode> current() const override;
    /// On to the next node; at the end, nothing.
    void next() override;
    /// Returns: a second iterator at the same place, which moves on its own. Ends with `destroy`.
    [[nodiscard]] NodeIterator* clone() const override;
    /// Ends the life of the iterator.
    void destroy() override;

    /// Returns: how many nodes were found.
    [[nodiscard]] std::size_t size() const;
    /// Returns: the marker or link file of the node at the cursor; not to be called at the end.
    /// Lifetime: as long as the iterator or one of its clones.
    [[nodiscard]] const std::string& path() const;

private:
    class VESTA2_LOCAL MarkerFileSet;
    struct VESTA2_LOCAL Position;

    NodeIterator(const NodeIterator& other);

    const std::unique_ptr<Position> m_position;
};

}  // namespace vesta2

#pragma once

#include <cstddef>
#include <memory>
#include <string>

#include "basekit2/iterator.h"
#include "basekit2/object.h"
#include "vesta2/export.h"
#include "vesta2/i_node.h"

namespace vesta2 {

/// The nodes of a directory that match a mask, as they are when the iterator is made; each is
/// opened when it is asked for. Clones share what was found. The search leaves the thread's status
/// as `findPatternedMarkerFileOrLink` says.
class VESTA2_API NodeIterator final : public basekit2::iterator_handler_t<basekit2::sptr_t<INode>> {
public:
    NodeIterator(const std::string& mask, const std::string& directory, int maxCount);
    ~NodeIterator() override;

    [[nodiscard]] bool at_end() const override;
    /// Empty for a node that was removed since.
    [[nodiscard]] basekit2::sptr_t<INode> current() const override;
    void next() override;
    [[nodiscard]] NodeIterator* clone() const override;
    void destroy() override;

    [[nodiscard]] std::size_t size() const;
    /// The path of the current node.
    [[nodiscard]] const std::string& path() const;

private:
    class MarkerFileSet;
    struct Position;

    NodeIterator(const NodeIterator& other);

    const std::unique_ptr<Position> m_position;
};

}  // namespace vesta2

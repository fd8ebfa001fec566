#include "vesta2/node_iterator.h"

#include "../discovery/extensions.h"
#include "vesta2/discovery.h"
#include "vesta2/file_set.h"
#include "vesta2/names.h"
#include "vesta2/node.h"

namespace vesta2 {

using basekit2::sptr_t;

class NodeIterator::MarkerFileSet final
    : public basekit2::ref_counted_t<basekit2::object_interface_t, basekit2::mt_ref_count_impl_t>,
      public FileSet {};

struct NodeIterator::Position {
    sptr_t<MarkerFileSet> found{new MarkerFileSet()};
    FileSet::const_iterator cursor;
};

NodeIterator::NodeIterator(const std::string& mask, const std::string& directory, int maxCount)
    : m_position(std::make_unique<Position>()) {
    FileSet& found = *m_position->found;
    findPatternedMarkerFileOrLink(mask, directory.c_str(), nodeMarkerExtensions(), found, maxCount,
                                  false);
    m_position->cursor = found.begin();
}

NodeIterator::NodeIterator(const NodeIterator& other)
    : m_position(std::make_unique<Position>(*other.m_position)) {}

NodeIterator::~NodeIterator() = default;

bool NodeIterator::at_end() const { return m_position->cursor == m_position->found->end(); }

sptr_t<INode> NodeIterator::current() const {
    return at_end() ? sptr_t<INode>() : Node::lookup(path(), nullptr);
}

void NodeIterator::next() {
    if (!at_end()) {
        ++m_position->cursor;
    }
}

NodeIterator* NodeIterator::clone() const { return new NodeIterator(*this); }

void NodeIterator::destroy() { delete this; }

std::size_t NodeIterator::size() const { return m_position->found->size(); }

const std::string& NodeIterator::path() const { return *m_position->cursor; }

}  // namespace vesta2

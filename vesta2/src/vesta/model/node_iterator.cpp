#include "vesta2/node_iterator.h"

#include "../discovery/extensions.h"
#include "vesta2/discovery.h"
#include "vesta2/names.h"
#include "vesta2/node.h"

namespace vesta2 {

using basekit2::sptr_t;

NodeIterator::NodeIterator(const std::string& mask, const std::string& directory, int maxCount)
    : m_found(new MarkerFileSet()) {
    findPatternedMarkerFileOrLink(mask, directory.c_str(), nodeMarkerExtensions(), *m_found,
                                  maxCount, false);
    m_cursor = m_found->begin();
}

NodeIterator::NodeIterator(const NodeIterator& other)
    : m_found(other.m_found), m_cursor(other.m_cursor) {}

bool NodeIterator::at_end() const { return m_cursor == m_found->end(); }

sptr_t<INode> NodeIterator::current() const {
    return at_end() ? sptr_t<INode>() : Node::lookup(*m_cursor, nullptr);
}

void NodeIterator::next() {
    if (!at_end()) {
        ++m_cursor;
    }
}

NodeIterator* NodeIterator::clone() const { return new NodeIterator(*this); }

void NodeIterator::destroy() { delete this; }

}  // namespace vesta2

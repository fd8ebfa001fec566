#pragma once
/// Iterators over the nodes of a directory. Each shows the directory as it was when the iterator was
/// made; the searches leave the thread's status as `findPatternedMarkerFileOrLink` says.

#include <string>
#include <vector>

#include "basekit2/iterator.h"
#include "basekit2/object.h"
#include "basekit2/path.h"
#include "vesta2/export.h"
#include "vesta2/file_set.h"
#include "vesta2/i_node.h"
#include "vesta2/i_path_iterator.h"

namespace vesta2 {

/// The marker and link files of the nodes in a directory, in file-name order.
class VESTA2_API NodePathIterator final
    : public basekit2::ref_counted_t<IPathIterator, basekit2::mt_ref_count_impl_t> {
public:
    explicit NodePathIterator(const std::string& directory);

    std::uint32_t getSize() override;
    const char* next() override;

private:
    FileSet m_found;
    FileSet::const_iterator m_cursor;
};

/// The nodes themselves, each opened when it is asked for. Clones share what was found.
class VESTA2_API NodeIterator final
    : public basekit2::iterator_handler_t<basekit2::sptr_t<INode>> {
public:
    NodeIterator(const std::string& mask, const std::string& directory, int maxCount);

    [[nodiscard]] bool at_end() const override;
    /// Empty for a node that was removed since.
    [[nodiscard]] basekit2::sptr_t<INode> current() const override;
    void next() override;
    [[nodiscard]] NodeIterator* clone() const override;
    void destroy() override;

    [[nodiscard]] std::size_t size() const { return m_found->size(); }
    /// The path of the current node.
    [[nodiscard]] const std::string& path() const { return *m_cursor; }

private:
    class VESTA2_API MarkerFileSet final
        : public basekit2::ref_counted_t<basekit2::object_interface_t,
                                         basekit2::mt_ref_count_impl_t>,
          public FileSet {};

    NodeIterator(const NodeIterator& other);

    basekit2::sptr_t<MarkerFileSet> m_found;
    FileSet::const_iterator m_cursor;
};

/// The projects among the entries of a directory, in the order in which it lists them. A returned
/// text is valid until the next call.
class VESTA2_API ProjectPathIterator final
    : public basekit2::ref_counted_t<IPathIterator, basekit2::mt_ref_count_impl_t> {
public:
    /// A directory that cannot be listed ends the search; the status says why.
    explicit ProjectPathIterator(const char* directory);

    std::uint32_t getSize() override;
    const char* next() override;

private:
    std::vector<basekit2::path_t> m_found;
    std::size_t m_cursor = 0;
    std::string m_current;
};

}  // namespace vesta2

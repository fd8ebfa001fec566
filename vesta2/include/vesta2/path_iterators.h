#pragma once
/// Iterators over what a directory holds. Each shows the directory as it was when the iterator was
/// made; the search leaves the thread's status as `findPatternedMarkerFileOrLink` says.

#include <memory>
#include <string>

#include "basekit2/object.h"
#include "vesta2/export.h"
#include "vesta2/i_path_iterator.h"

namespace vesta2 {

/// The marker and link files of the nodes in a directory, in file-name order.
class VESTA2_API NodePathIterator final
    : public basekit2::ref_counted_t<IPathIterator, basekit2::mt_ref_count_impl_t> {
public:
    explicit NodePathIterator(const std::string& directory);
    ~NodePathIterator() override;

    std::uint32_t getSize() override;
    const char* next() override;

private:
    struct Walk;
    const std::unique_ptr<Walk> m_walk;
};

/// The projects among the entries of a directory, in the order in which it lists them. A returned
/// text is valid until the next call.
class VESTA2_API ProjectPathIterator final
    : public basekit2::ref_counted_t<IPathIterator, basekit2::mt_ref_count_impl_t> {
public:
    /// A directory that cannot be listed, or an entry that cannot be looked at, ends the search;
    /// the status says why. Entries that this process may not look into are passed over.
    explicit ProjectPathIterator(const char* directory);
    ~ProjectPathIterator() override;

    std::uint32_t getSize() override;
    const char* next() override;

private:
    struct Walk;
    const std::unique_ptr<Walk> m_walk;
};

}  // namespace vesta2

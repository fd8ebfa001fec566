#pragma once
/// The paths of what a directory holds.
///
/// For one thread at a time; references may be dropped on any. Each iterator shows the directory as
/// it was when it was made.

#include <memory>
#include <string>

#include "basekit2/object.h"
#include "vesta2/export.h"
#include "vesta2/i_path_iterator.h"

namespace vesta2 {

/// The marker and link files of the nodes in a directory, in file-name order. Lifetime: a text is
/// valid as long as the iterator.
class VESTA2_API NodePathIterator final
    : public basekit2::ref_counted_t<IPathIterator, basekit2::mt_ref_count_impl_t> {
public:
    /// Searches the directory. Status: that of `findPatternedMarkerFileOrLink`, whose exceptions
    /// pass through.
    explicit NodePathIterator(const std::string& directory);
    ~NodePathIterator() override;

    std::uint32_t getSize() override;
    const char* next() override;

private:
    struct VESTA2_LOCAL Walk;
    const std::unique_ptr<Walk> m_walk;
};

/// The marker and link files of the projects among the entries of a directory, in the order in
/// which the file system lists them. Lifetime: a text is valid as long as the iterator.
class VESTA2_API ProjectPathIterator final
    : public basekit2::ref_counted_t<IPathIterator, basekit2::mt_ref_count_impl_t> {
public:
    /// Searches the directory. A directory that cannot be listed, or an entry that cannot be looked
    /// at, ends the search; what was found before stays. Entries that this process may not look
    /// into are passed over.
    /// Status: `eParameterError` for null, else why the search ended early.
    explicit ProjectPathIterator(const char* directory);
    ~ProjectPathIterator() override;

    std::uint32_t getSize() override;
    const char* next() override;

private:
    struct VESTA2_LOCAL Walk;
    const std::unique_ptr<Walk> m_walk;
};

}  // namespace vesta2

#pragma once
/// The list behind the file queries of a result.
///
/// For one thread; references may be dropped on any.

#include <memory>
#include <string>

#include "basekit2/object.h"
#include "vesta2/export.h"
#include "vesta2/i_path_iterator.h"

namespace vesta2 {

/// Paths in byte order, each once. Lifetime: a text is valid as long as the object.
class VESTA2_API ResultFiles final
    : public basekit2::ref_counted_t<IPathIterator, basekit2::mt_ref_count_impl_t> {
public:
    ResultFiles();
    ~ResultFiles() override;

    std::uint32_t getSize() override;
    const char* next() override;

    /// Adds a path; one that is there already is not added again.
    void append(const std::string& path);
    /// Goes back to the first path; needed after the last `append`.
    void rewind();

private:
    struct VESTA2_LOCAL Walk;
    const std::unique_ptr<Walk> m_walk;
};

}  // namespace vesta2

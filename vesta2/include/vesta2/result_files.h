#pragma once

#include <set>
#include <string>

#include "basekit2/object.h"
#include "vesta2/export.h"
#include "vesta2/i_path_iterator.h"

namespace vesta2 {

/// Paths in byte order, each once.
class VESTA2_API ResultFiles final
    : public basekit2::ref_counted_t<IPathIterator, basekit2::mt_ref_count_impl_t> {
public:
    std::uint32_t getSize() override;
    const char* next() override;

    void append(const std::string& path);
    /// Back to the first path; needed after the last `append`.
    void rewind();

private:
    std::set<std::string> m_paths;
    std::set<std::string>::const_iterator m_cursor = m_paths.begin();
};

}  // namespace vesta2

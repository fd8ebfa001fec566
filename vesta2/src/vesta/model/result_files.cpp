#include "vesta2/result_files.h"

namespace vesta2 {

std::uint32_t ResultFiles::getSize() { return static_cast<std::uint32_t>(m_paths.size()); }

const char* ResultFiles::next() {
    return m_cursor == m_paths.end() ? nullptr : (m_cursor++)->c_str();
}

void ResultFiles::append(const std::string& path) { m_paths.insert(path); }

void ResultFiles::rewind() { m_cursor = m_paths.begin(); }

}  // namespace vesta2

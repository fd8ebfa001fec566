#include "vesta2/result_files.h"

#include <set>

namespace vesta2 {

struct ResultFiles::Walk {
    std::set<std::string> paths;
    std::set<std::string>::const_iterator cursor = paths.begin();
};

ResultFiles::ResultFiles() : m_walk(std::make_unique<Walk>()) {}
ResultFiles::~ResultFiles() = default;

std::uint32_t ResultFiles::getSize() { return static_cast<std::uint32_t>(m_walk->paths.size()); }

const char* ResultFiles::next() {
    return m_walk->cursor == m_walk->paths.end() ? nullptr : (m_walk->cursor++)->c_str();
}

void ResultFiles::append(const std::string& path) { m_walk->paths.insert(path); }

void ResultFiles::rewind() { m_walk->cursor = m_walk->paths.begin(); }

}  // namespace vesta2

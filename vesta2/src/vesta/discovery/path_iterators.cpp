#include <boost/filesystem/exception.hpp>

#include "entry_search.h"
#include "vesta2/discovery.h"
#include "vesta2/error.h"
#include "vesta2/names.h"
#include "vesta2/path_iterators.h"

namespace vesta2 {

NodePathIterator::NodePathIterator(const std::string& directory) {
    findPatternedMarkerFileOrLink("", directory.c_str(), nodeMarkerExtensions(), m_found, 0, false);
    m_cursor = m_found.begin();
}

std::uint32_t NodePathIterator::getSize() { return static_cast<std::uint32_t>(m_found.size()); }

const char* NodePathIterator::next() {
    return m_cursor == m_found.end() ? nullptr : (m_cursor++)->c_str();
}

ProjectPathIterator::ProjectPathIterator(const char* directory) {
    if (!setStatus(directory ? eOK : eParameterError)) {
        return;
    }
    const FileSet extensions(projectMarkerFileExt());
    try {
        DirectoryListing listing(directory);
        while (listing.next()) {
            std::string found = findInEntry(listing, extensions, true);
            if (!found.empty()) {
                m_found.emplace_back(std::move(found));
            }
        }
    } catch (const boost::system::system_error& e) {
        setStatus(errorFromBoostError(e));
    }
}

std::uint32_t ProjectPathIterator::getSize() { return static_cast<std::uint32_t>(m_found.size()); }

const char* ProjectPathIterator::next() {
    if (m_cursor == m_found.size()) {
        return nullptr;
    }
    m_current = m_found[m_cursor++].text();
    return m_current.c_str();
}

}  // namespace vesta2

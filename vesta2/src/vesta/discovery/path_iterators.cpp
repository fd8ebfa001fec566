#include <boost/filesystem/exception.hpp>
#include <vector>

#include "entry_search.h"
#include "vesta2/discovery.h"
#include "vesta2/error.h"
#include "vesta2/file_set.h"
#include "vesta2/names.h"
#include "vesta2/path_iterators.h"

namespace vesta2 {

struct NodePathIterator::Walk {
    FileSet found;
    FileSet::const_iterator cursor;
};

NodePathIterator::NodePathIterator(const std::string& directory)
    : m_walk(std::make_unique<Walk>()) {
    findPatternedMarkerFileOrLink("", directory.c_str(), nodeMarkerExtensions(), m_walk->found, 0,
                                  false);
    m_walk->cursor = m_walk->found.begin();
}

NodePathIterator::~NodePathIterator() = default;

std::uint32_t NodePathIterator::getSize() {
    return static_cast<std::uint32_t>(m_walk->found.size());
}

const char* NodePathIterator::next() {
    return m_walk->cursor == m_walk->found.end() ? nullptr : (m_walk->cursor++)->c_str();
}

struct ProjectPathIterator::Walk {
    std::vector<std::string> found;
    std::size_t cursor = 0;
};

ProjectPathIterator::ProjectPathIterator(const char* directory) : m_walk(std::make_unique<Walk>()) {
    if (!setStatus(directory ? eOK : eParameterError)) {
        return;
    }
    const FileSet extensions(projectMarkerFileExt());
    try {
        basekit2::directory_listing_t listing(directory);
        while (listing.next()) {
            std::string found = findInEntry(listing, extensions, true);
            if (!found.empty()) {
                m_walk->found.push_back(std::move(found));
            }
        }
    } catch (const boost::system::system_error& e) {
        setStatus(errorFromBoostError(e));
    }
}

ProjectPathIterator::~ProjectPathIterator() = default;

std::uint32_t ProjectPathIterator::getSize() {
    return static_cast<std::uint32_t>(m_walk->found.size());
}

const char* ProjectPathIterator::next() {
    return m_walk->cursor == m_walk->found.size() ? nullptr
                                                  : m_walk->found[m_walk->cursor++].c_str();
}

}  // namespace vesta2

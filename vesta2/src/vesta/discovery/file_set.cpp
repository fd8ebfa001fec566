#include "vesta2/file_set.h"

#include <bit>
#include <boost/filesystem/path.hpp>
#include <set>

#include "../foundation/path_parts.h"

namespace vesta2 {
namespace {

bool endsWithName(const std::string& path) { return !path.empty() && path.back() != '/'; }

}  // namespace

bool FileSetBaseFilenameCompare::operator()(const std::string& a, const std::string& b) const {
    if (endsWithName(a) && endsWithName(b)) {
        return nameIn(a) < nameIn(b);
    }
    return boost::filesystem::path(a).filename().compare(boost::filesystem::path(b).filename()) < 0;
}

namespace {

using Tree = std::set<std::string, FileSetBaseFilenameCompare>;

/// What a public iterator holds is the tree's own, whose size and kind callers need not know.
Tree::const_iterator inTree(const void* position) {
    return std::bit_cast<Tree::const_iterator>(position);
}

const void* positionOf(Tree::const_iterator at) { return std::bit_cast<const void*>(at); }

}  // namespace

struct FileSet::Contents {
    Tree tree;
};

void FileSet::Deleter::operator()(Contents* contents) const noexcept { delete contents; }

FileSet::const_iterator::reference FileSet::const_iterator::operator*() const noexcept {
    return *inTree(m_position);
}

FileSet::const_iterator& FileSet::const_iterator::operator++() noexcept {
    m_position = positionOf(std::next(inTree(m_position)));
    return *this;
}

FileSet::const_iterator& FileSet::const_iterator::operator--() noexcept {
    m_position = positionOf(std::prev(inTree(m_position)));
    return *this;
}

FileSet::FileSet(std::string a, std::string b, std::string c) {
    for (std::string* member : {&a, &b, &c}) {
        if (!member->empty()) {
            insert(std::move(*member));
        }
    }
}

FileSet::FileSet(const FileSet& other)
    : m_contents(other.m_contents ? new Contents(*other.m_contents) : nullptr) {}

FileSet& FileSet::operator=(const FileSet& other) {
    *this = FileSet(other);
    return *this;
}

std::pair<FileSet::const_iterator, bool> FileSet::insert(std::string element) {
    if (!m_contents) {
        m_contents.reset(new Contents);
    }
    // Most elements come in order.
    const size_type before = size();
    const auto at = m_contents->tree.insert(m_contents->tree.end(), std::move(element));
    return {const_iterator(positionOf(at)), size() != before};
}

FileSet::const_iterator FileSet::erase(const_iterator at) {
    return const_iterator(positionOf(m_contents->tree.erase(inTree(at.m_position))));
}

FileSet::size_type FileSet::erase(const std::string& element) {
    return m_contents ? m_contents->tree.erase(element) : 0;
}

FileSet::const_iterator FileSet::find(const std::string& element) const {
    return m_contents ? const_iterator(positionOf(m_contents->tree.find(element))) : end();
}

FileSet::size_type FileSet::size() const noexcept {
    return m_contents ? m_contents->tree.size() : 0;
}

FileSet::const_iterator FileSet::begin() const noexcept {
    return m_contents ? const_iterator(positionOf(m_contents->tree.begin())) : const_iterator();
}

FileSet::const_iterator FileSet::end() const noexcept {
    return m_contents ? const_iterator(positionOf(m_contents->tree.end())) : const_iterator();
}

}  // namespace vesta2

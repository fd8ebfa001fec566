#pragma once
/// An ordered set of paths or extensions.
///
/// Plain data: one set must not be changed by one thread while another uses it.

#include <cstddef>
#include <iterator>
#include <memory>
#include <string>
#include <utility>

#include "vesta2/export.h"

namespace vesta2 {

/// Orders by the last path component, byte by byte.
struct VESTA2_API FileSetBaseFilenameCompare {
    /// Returns: whether the last component of `a` is less than that of `b`. A path that ends with a
    /// slash has the last component ".".
    bool operator()(const std::string& a, const std::string& b) const;
};

/// Extensions to look for, or the paths that were found. Named and used like `std::set`.
///
/// Lifetime: an iterator, and what it stands at, is valid until its element is erased.
/// Layout: one pointer. An empty set has allocated nothing.
/// Deliberate: of two paths with the same file name only the first is kept, and the order is not
/// numeric: r1000 comes before r999.
class VESTA2_API FileSet {
    struct VESTA2_LOCAL Contents;
    struct Deleter {
        void operator()(Contents* contents) const noexcept;
    };

public:
    /// Walks both ways over the elements, which cannot be changed. Layout: one pointer.
    class VESTA2_API const_iterator {
    public:
        using iterator_category = std::bidirectional_iterator_tag;
        using value_type = std::string;
        using difference_type = std::ptrdiff_t;
        using pointer = const std::string*;
        using reference = const std::string&;

        const_iterator() noexcept = default;

        /// Not to be called at the end of the set.
        reference operator*() const noexcept;
        pointer operator->() const noexcept { return &**this; }
        /// On to the next element, or back to the one before.
        const_iterator& operator++() noexcept;
        const_iterator operator++(int) noexcept {
            const const_iterator before = *this;
            ++*this;
            return before;
        }
        const_iterator& operator--() noexcept;
        const_iterator operator--(int) noexcept {
            const const_iterator before = *this;
            --*this;
            return before;
        }
        friend bool operator==(const_iterator a, const_iterator b) noexcept {
            return a.m_position == b.m_position;
        }
        friend bool operator!=(const_iterator a, const_iterator b) noexcept { return !(a == b); }

    private:
        friend class FileSet;
        explicit const_iterator(const void* position) noexcept : m_position(position) {}

        const void* m_position = nullptr;
    };
    using iterator = const_iterator;
    using const_reverse_iterator = std::reverse_iterator<const_iterator>;
    using reverse_iterator = const_reverse_iterator;
    using key_type = std::string;
    using value_type = std::string;
    using size_type = std::size_t;
    using difference_type = std::ptrdiff_t;
    using key_compare = FileSetBaseFilenameCompare;
    using reference = const std::string&;
    using const_reference = const std::string&;

    /// Holds those of the three that are not empty.
    explicit FileSet(std::string a = std::string(), std::string b = std::string(),
                     std::string c = std::string());
    FileSet(const FileSet& other);
    /// Leaves `other` empty; so does the assignment.
    FileSet(FileSet&& other) noexcept = default;
    FileSet& operator=(const FileSet& other);
    FileSet& operator=(FileSet&& other) noexcept = default;
    ~FileSet() = default;

    /// Returns: where the element is, or the one of the same file name that is there already;
    /// whether it was added.
    std::pair<const_iterator, bool> insert(std::string element);
    /// Inserts each of a range of strings.
    template <class Iterator>
    void insert(Iterator first, Iterator last) {
        for (; first != last; ++first) {
            insert(*first);
        }
    }
    /// Returns: what follows the element.
    const_iterator erase(const_iterator at);
    /// Returns: how many elements of this file name there were, 0 or 1.
    size_type erase(const std::string& element);
    /// Erases all elements.
    void clear() noexcept { m_contents.reset(); }

    /// Returns: the element of this file name, or the end.
    [[nodiscard]] const_iterator find(const std::string& element) const;
    /// Returns: 1 when there is an element of this file name, else 0.
    [[nodiscard]] size_type count(const std::string& element) const {
        return find(element) == end() ? 0 : 1;
    }

    // In file-name order, which is that of the bytes of the last path component.

    [[nodiscard]] bool empty() const noexcept { return size() == 0; }
    [[nodiscard]] size_type size() const noexcept;
    [[nodiscard]] const_iterator begin() const noexcept;
    [[nodiscard]] const_iterator end() const noexcept;
    [[nodiscard]] const_reverse_iterator rbegin() const noexcept {
        return const_reverse_iterator(end());
    }
    [[nodiscard]] const_reverse_iterator rend() const noexcept {
        return const_reverse_iterator(begin());
    }

private:
    std::unique_ptr<Contents, Deleter> m_contents;
};

}  // namespace vesta2

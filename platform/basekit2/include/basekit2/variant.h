#pragma once
/// Typed values and ordered bags of them.
///
/// Plain data: copying copies everything, and one value or bag must not be changed by one thread
/// while another uses it.
///
/// Layout: programs see of a bag one pointer, of an iterator one pointer, of a value one
/// `std::variant` of these alternatives, whose own layout is fixed by the standard library's binary
/// interface and is the same with its debug containers. Nothing of that will change.

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <memory>
#include <string>
#include <string_view>
#include <variant>

#include "basekit2/export.h"

namespace basekit2 {

class variant_bag_t;

/// One value: nothing, a number of 32 or 64 bits, a byte string, or a bag.
class BASEKIT2_API variant_t {
public:
    /// In the order of the alternatives that are stored; new ones come last.
    enum class kind_t { empty, int32, uint32, int64, uint64, str, bag };

    variant_t() noexcept;
    variant_t(std::int32_t value) noexcept;
    variant_t(std::uint32_t value) noexcept;
    variant_t(std::int64_t value) noexcept;
    variant_t(std::uint64_t value) noexcept;
    variant_t(std::string value) noexcept;
    /// A null pointer gives an empty string.
    variant_t(const char* value);
    variant_t(const variant_bag_t& value);
    variant_t(const variant_t& other);
    variant_t(variant_t&& other) noexcept;
    variant_t& operator=(const variant_t& other);
    variant_t& operator=(variant_t&& other) noexcept;
    ~variant_t();

    /// Returns: which alternative is stored.
    [[nodiscard]] kind_t kind() const noexcept { return static_cast<kind_t>(m_value.index()); }
    /// Returns: whether there is no value.
    [[nodiscard]] bool empty() const noexcept { return kind() == kind_t::empty; }
    [[nodiscard]] bool is_number() const noexcept {
        return kind() >= kind_t::int32 && kind() <= kind_t::uint64;
    }

    /// Returns: the number as a signed 64-bit integer (an unsigned one keeps its bits); 0 for
    /// another kind.
    [[nodiscard]] std::int64_t to_int64() const noexcept;
    /// Returns: the string; null for another kind. Lifetime: until this value changes.
    [[nodiscard]] const std::string* as_string() const noexcept;
    /// Returns: the bag; null for another kind. Lifetime: until this value changes.
    [[nodiscard]] const variant_bag_t* as_bag() const noexcept;
    [[nodiscard]] variant_bag_t* as_bag() noexcept;

    /// Returns: whether kind and content are the same.
    BASEKIT2_API friend bool operator==(const variant_t& a, const variant_t& b);
    friend bool operator!=(const variant_t& a, const variant_t& b) { return !(a == b); }

private:
    std::variant<std::monostate, std::int32_t, std::uint32_t, std::int64_t, std::uint64_t,
                 std::string, std::unique_ptr<variant_bag_t>>
        m_value;
};

/// Name-to-value bag that keeps the order of putting and finds a name in constant time.
///
/// Lifetime: a pointer to a value stays valid until that value is replaced or removed, whatever
/// else is put, and also when the bag is moved. An iterator is valid as long as its entry.
/// An empty bag has allocated nothing.
class BASEKIT2_API variant_bag_t {
    struct contents_t;
    struct deleter_t {
        BASEKIT2_API void operator()(contents_t* contents) const noexcept;
    };

public:
    /// A value and its name; it will have no other member.
    struct entry_t {
        std::string name;
        variant_t value;
    };

    /// Walks forward over the entries, in the order of putting.
    class BASEKIT2_API const_iterator {
    public:
        using iterator_category = std::forward_iterator_tag;
        using value_type = entry_t;
        using difference_type = std::ptrdiff_t;
        using pointer = const entry_t*;
        using reference = const entry_t&;

        const_iterator() noexcept = default;

        reference operator*() const noexcept { return *m_entry; }
        pointer operator->() const noexcept { return m_entry; }
        const_iterator& operator++() noexcept;
        const_iterator operator++(int) noexcept {
            const const_iterator before = *this;
            ++*this;
            return before;
        }
        friend bool operator==(const_iterator a, const_iterator b) noexcept {
            return a.m_entry == b.m_entry;
        }
        friend bool operator!=(const_iterator a, const_iterator b) noexcept { return !(a == b); }

    private:
        friend class variant_bag_t;
        explicit const_iterator(pointer entry) noexcept : m_entry(entry) {}

        pointer m_entry = nullptr;
    };
    using iterator = const_iterator;

    variant_bag_t() noexcept = default;
    variant_bag_t(const variant_bag_t& other);
    /// Leaves `other` empty; so does the assignment.
    variant_bag_t(variant_bag_t&& other) noexcept = default;
    variant_bag_t& operator=(const variant_bag_t& other);
    variant_bag_t& operator=(variant_bag_t&& other) noexcept = default;
    ~variant_bag_t() = default;

    /// Stores `value` under `name`; an existing value is replaced in its place. An empty value is
    /// no value: it removes the name, so that every value of a bag can be saved.
    void put(std::string_view name, variant_t value);
    /// Stores `value`, unless there is one under `name` or it is empty; it is left alone then.
    /// Returns: whether it was stored.
    bool add(std::string_view name, variant_t&& value);
    /// Returns: whether there is a value under `name`.
    [[nodiscard]] bool has(std::string_view name) const;
    /// Returns: the value under `name`, or null.
    [[nodiscard]] const variant_t* find(std::string_view name) const;
    /// Returns: a copy of the value under `name`, or of `fallback`.
    [[nodiscard]] variant_t get_variant(std::string_view name,
                                        const variant_t& fallback = variant_t()) const;
    /// Returns: the bag under `name`; null when there is no value or one of another kind.
    [[nodiscard]] const variant_bag_t* get_bag(std::string_view name) const;
    [[nodiscard]] variant_bag_t* get_bag(std::string_view name);
    /// Puts an empty bag under `name`, unless there is a bag; a value of another kind is replaced.
    /// Returns: the bag under `name`.
    variant_bag_t& put_bag(std::string_view name);
    /// Removes the value under `name`.
    /// Returns: whether there was one.
    bool remove(std::string_view name);
    void clear() noexcept;

    [[nodiscard]] bool empty() const noexcept { return size() == 0; }
    [[nodiscard]] std::size_t size() const noexcept;
    [[nodiscard]] const_iterator begin() const noexcept;
    [[nodiscard]] const_iterator end() const noexcept { return const_iterator(); }

    /// Returns: whether the names are the same, with equal values, in the same order.
    BASEKIT2_API friend bool operator==(const variant_bag_t& a, const variant_bag_t& b);
    friend bool operator!=(const variant_bag_t& a, const variant_bag_t& b) { return !(a == b); }

private:
    [[nodiscard]] variant_t* find_value(std::string_view name) const;
    void append(std::string_view name, variant_t&& value);

    std::unique_ptr<contents_t, deleter_t> m_contents;
};

}  // namespace basekit2

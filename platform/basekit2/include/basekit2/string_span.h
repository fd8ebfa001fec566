#pragma once
/// A look at strings that lie one behind the other, such as those of a vector.
///
/// Plain data. It holds no string itself: they must outlive it.

#include <cstddef>
#include <initializer_list>
#include <string>
#include <vector>

namespace basekit2 {

/// Stands in signatures where a container would tie a program to one build of the standard library.
/// Layout: a pointer and a number.
class string_span_t {
public:
    using value_type = std::string;
    using const_iterator = const std::string*;
    using iterator = const_iterator;

    string_span_t() noexcept = default;
    string_span_t(const std::string* first, std::size_t count) noexcept
        : m_first(first), m_count(count) {}
    string_span_t(const std::vector<std::string>& strings) noexcept
        : m_first(strings.data()), m_count(strings.size()) {}
    /// For an argument that is written out. Lifetime: until the whole expression ends.
    string_span_t(std::initializer_list<std::string> strings) noexcept : m_count(strings.size()) {
        m_first = strings.begin();
    }

    /// Returns: copies of the strings.
    operator std::vector<std::string>() const { return {begin(), end()}; }

    // As of a constant vector. Lifetime: of the strings.

    [[nodiscard]] bool empty() const noexcept { return m_count == 0; }
    [[nodiscard]] std::size_t size() const noexcept { return m_count; }
    [[nodiscard]] const_iterator begin() const noexcept { return m_first; }
    [[nodiscard]] const_iterator end() const noexcept { return m_first + m_count; }
    const std::string& operator[](std::size_t index) const noexcept { return m_first[index]; }

private:
    const std::string* m_first = nullptr;
    std::size_t m_count = 0;
};

}  // namespace basekit2

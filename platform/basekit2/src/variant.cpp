#include "basekit2/variant.h"

#include <algorithm>
#include <type_traits>

namespace basekit2 {

variant_t::variant_t() noexcept = default;
variant_t::variant_t(std::int32_t value) noexcept : m_value(value) {}
variant_t::variant_t(std::uint32_t value) noexcept : m_value(value) {}
variant_t::variant_t(std::int64_t value) noexcept : m_value(value) {}
variant_t::variant_t(std::uint64_t value) noexcept : m_value(value) {}
variant_t::variant_t(std::string value) noexcept : m_value(std::move(value)) {}
variant_t::variant_t(const char* value) : m_value(std::string(value ? value : "")) {}
variant_t::variant_t(const variant_bag_t& value)
    : m_value(std::make_unique<variant_bag_t>(value)) {}
variant_t::variant_t(variant_t&& other) noexcept = default;
variant_t& variant_t::operator=(variant_t&& other) noexcept = default;
variant_t::~variant_t() = default;

variant_t::variant_t(const variant_t& other) {
    std::visit(
        [this](const auto& value) {
            if constexpr (std::is_same_v<std::decay_t<decltype(value)>,
                                         std::unique_ptr<variant_bag_t>>) {
                m_value = std::make_unique<variant_bag_t>(*value);
            } else {
                m_value = value;
            }
        },
        other.m_value);
}

variant_t& variant_t::operator=(const variant_t& other) {
    *this = variant_t(other);
    return *this;
}

std::int64_t variant_t::to_int64() const noexcept {
    switch (kind()) {
    case kind_t::int32:
        return *std::get_if<std::int32_t>(&m_value);
    case kind_t::uint32:
        return *std::get_if<std::uint32_t>(&m_value);
    case kind_t::int64:
        return *std::get_if<std::int64_t>(&m_value);
    case kind_t::uint64:
        return static_cast<std::int64_t>(*std::get_if<std::uint64_t>(&m_value));
    case kind_t::empty:
    case kind_t::str:
    case kind_t::bag:
        break;
    }
    return 0;
}

const std::string* variant_t::as_string() const noexcept {
    return std::get_if<std::string>(&m_value);
}

const variant_bag_t* variant_t::as_bag() const noexcept {
    const auto* bag = std::get_if<std::unique_ptr<variant_bag_t>>(&m_value);
    return bag ? bag->get() : nullptr;
}

variant_bag_t* variant_t::as_bag() noexcept {
    auto* bag = std::get_if<std::unique_ptr<variant_bag_t>>(&m_value);
    return bag ? bag->get() : nullptr;
}

bool operator==(const variant_t& a, const variant_t& b) {
    const variant_bag_t* bag = a.as_bag();
    const variant_bag_t* other = b.as_bag();
    return bag && other ? *bag == *other : a.m_value == b.m_value;
}

variant_bag_t::variant_bag_t(const variant_bag_t& other) {
    for (const entry_t& entry : other) {
        put(entry.name, entry.value);
    }
}

variant_bag_t::variant_bag_t(variant_bag_t&& other) noexcept
    : m_entries(std::move(other.m_entries)), m_index(std::move(other.m_index)) {
    other.clear();
}

variant_bag_t& variant_bag_t::operator=(const variant_bag_t& other) {
    *this = variant_bag_t(other);
    return *this;
}

variant_bag_t& variant_bag_t::operator=(variant_bag_t&& other) noexcept {
    m_entries.swap(other.m_entries);
    m_index.swap(other.m_index);
    return *this;
}

void variant_bag_t::put(std::string_view name, variant_t value) {
    if (value.empty()) {
        remove(name);
        return;
    }
    const auto found = m_index.find(name);
    if (found != m_index.end()) {
        found->second->value = std::move(value);
        return;
    }
    m_entries.push_back({std::string(name), std::move(value)});
    const auto last = std::prev(m_entries.end());
    try {
        m_index.emplace(last->name, last);
    } catch (...) {
        m_entries.pop_back();
        throw;
    }
}

bool variant_bag_t::has(std::string_view name) const { return m_index.count(name) != 0; }

const variant_t* variant_bag_t::find(std::string_view name) const {
    const auto found = m_index.find(name);
    return found == m_index.end() ? nullptr : &found->second->value;
}

variant_t variant_bag_t::get_variant(std::string_view name, const variant_t& fallback) const {
    const variant_t* value = find(name);
    return value ? *value : fallback;
}

const variant_bag_t* variant_bag_t::get_bag(std::string_view name) const {
    const variant_t* value = find(name);
    return value ? value->as_bag() : nullptr;
}

variant_bag_t* variant_bag_t::get_bag(std::string_view name) {
    const auto found = m_index.find(name);
    return found == m_index.end() ? nullptr : found->second->value.as_bag();
}

variant_bag_t& variant_bag_t::put_bag(std::string_view name) {
    if (!get_bag(name)) {
        put(name, variant_bag_t());
    }
    return *get_bag(name);
}

bool variant_bag_t::remove(std::string_view name) {
    const auto found = m_index.find(name);
    if (found == m_index.end()) {
        return false;
    }
    const auto entry = found->second;
    m_index.erase(found);
    m_entries.erase(entry);
    return true;
}

void variant_bag_t::clear() noexcept {
    m_index.clear();
    m_entries.clear();
}

bool operator==(const variant_bag_t& a, const variant_bag_t& b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [](const variant_bag_t::entry_t& x, const variant_bag_t::entry_t& y) {
                          return x.name == y.name && x.value == y.value;
                      });
}

}  // namespace basekit2

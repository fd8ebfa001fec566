#include "basekit2/variant.h"

#include <algorithm>
#include <functional>
#include <string_view>
#include <type_traits>
#include <unordered_set>
#include <utility>

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

namespace {

/// An entry between its neighbours in the order of putting.
struct node_t : variant_bag_t::entry_t {
    node_t(std::string_view its_name, variant_t&& its_value)
        : entry_t{std::string(its_name), std::move(its_value)} {}

    node_t* previous = nullptr;
    node_t* next = nullptr;
};

std::string_view name_of(const node_t* node) { return node->name; }
std::string_view name_of(std::string_view name) { return name; }

/// Not `noexcept`: the set then remembers what it has hashed.
struct name_hash_t {
    using is_transparent = void;
    std::size_t operator()(const auto& named) const {
        return std::hash<std::string_view>()(name_of(named));
    }
};

struct same_name_t {
    using is_transparent = void;
    bool operator()(const auto& a, const auto& b) const noexcept {
        return name_of(a) == name_of(b);
    }
};

}  // namespace

struct variant_bag_t::contents_t {
    node_t* first = nullptr;
    node_t* last = nullptr;
    std::size_t count = 0;

    contents_t() = default;
    ~contents_t() {
        while (first) {
            delete std::exchange(first, first->next);
        }
    }
    contents_t(const contents_t&) = delete;
    contents_t& operator=(const contents_t&) = delete;

    [[nodiscard]] node_t* find(std::string_view name) const {
        if (is_indexed()) {
            const auto found = m_index.find(name);
            return found == m_index.end() ? nullptr : *found;
        }
        node_t* node = first;
        while (node && node->name != name) {
            node = node->next;
        }
        return node;
    }

    void add(std::string_view name, variant_t&& value) {
        auto added = std::make_unique<node_t>(name, std::move(value));
        if (count >= few) {
            for (node_t* node = first; node && m_index.size() < count; node = node->next) {
                m_index.insert(node);
            }
            m_index.insert(added.get());
        }
        added->previous = last;
        (last ? last->next : first) = added.get();
        last = added.release();
        ++count;
    }

    bool remove(std::string_view name) {
        const std::unique_ptr<node_t> found(find(name));
        if (!found) {
            return false;
        }
        m_index.erase(found.get());
        (found->previous ? found->previous->next : first) = found->next;
        (found->next ? found->next->previous : last) = found->previous;
        --count;
        return true;
    }

private:
    /// A few names are compared in less time than one is hashed.
    static constexpr std::size_t few = 16;

    /// Not while there were few, nor when memory ended in the middle.
    [[nodiscard]] bool is_indexed() const { return count > few && m_index.size() == count; }

    std::unordered_set<node_t*, name_hash_t, same_name_t> m_index;
};

void variant_bag_t::deleter_t::operator()(contents_t* contents) const noexcept { delete contents; }

variant_bag_t::const_iterator& variant_bag_t::const_iterator::operator++() noexcept {
    m_entry = static_cast<const node_t*>(m_entry)->next;
    return *this;
}

variant_bag_t::variant_bag_t(const variant_bag_t& other) {
    for (const entry_t& entry : other) {
        put(entry.name, entry.value);
    }
}

variant_bag_t& variant_bag_t::operator=(const variant_bag_t& other) {
    *this = variant_bag_t(other);
    return *this;
}

void variant_bag_t::put(std::string_view name, variant_t value) {
    if (value.empty()) {
        remove(name);
    } else if (variant_t* found = find_value(name)) {
        *found = std::move(value);
    } else {
        append(name, std::move(value));
    }
}

bool variant_bag_t::add(std::string_view name, variant_t&& value) {
    const bool is_new = !value.empty() && !has(name);
    if (is_new) {
        append(name, std::move(value));
    }
    return is_new;
}

void variant_bag_t::append(std::string_view name, variant_t&& value) {
    if (!m_contents) {
        m_contents.reset(new contents_t);
    }
    m_contents->add(name, std::move(value));
}

variant_t* variant_bag_t::find_value(std::string_view name) const {
    node_t* node = m_contents ? m_contents->find(name) : nullptr;
    return node ? &node->value : nullptr;
}

bool variant_bag_t::has(std::string_view name) const { return find_value(name) != nullptr; }

const variant_t* variant_bag_t::find(std::string_view name) const { return find_value(name); }

variant_t variant_bag_t::get_variant(std::string_view name, const variant_t& fallback) const {
    const variant_t* value = find_value(name);
    return value ? *value : fallback;
}

const variant_bag_t* variant_bag_t::get_bag(std::string_view name) const {
    const variant_t* value = find_value(name);
    return value ? value->as_bag() : nullptr;
}

variant_bag_t* variant_bag_t::get_bag(std::string_view name) {
    variant_t* value = find_value(name);
    return value ? value->as_bag() : nullptr;
}

variant_bag_t& variant_bag_t::put_bag(std::string_view name) {
    if (variant_bag_t* bag = get_bag(name)) {
        return *bag;
    }
    put(name, variant_bag_t());
    return *get_bag(name);
}

bool variant_bag_t::remove(std::string_view name) { return m_contents && m_contents->remove(name); }

void variant_bag_t::clear() noexcept { m_contents.reset(); }

std::size_t variant_bag_t::size() const noexcept { return m_contents ? m_contents->count : 0; }

variant_bag_t::const_iterator variant_bag_t::begin() const noexcept {
    return const_iterator(m_contents ? m_contents->first : nullptr);
}

bool operator==(const variant_bag_t& a, const variant_bag_t& b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [](const variant_bag_t::entry_t& x, const variant_bag_t::entry_t& y) {
                          return x.name == y.name && x.value == y.value;
                      });
}

}  // namespace basekit2

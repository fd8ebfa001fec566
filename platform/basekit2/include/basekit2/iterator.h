#pragma once
/// An iterator whose implementation is chosen at run time.
///
/// One iterator is for one thread at a time; clones may be used by different threads when the
/// handler says so.

#include "basekit2/export.h"

namespace basekit2 {

/// What an implementation of `generic_iterator_t` provides.
template <class T>
class iterator_handler_t {
public:
    /// What a handler can do beside walking forward.
    enum caps_t : unsigned { cap_forward_only = 0, cap_reset = 1, cap_backward = 2 };

    iterator_handler_t() = default;
    iterator_handler_t(const iterator_handler_t&) = delete;
    iterator_handler_t& operator=(const iterator_handler_t&) = delete;
    virtual ~iterator_handler_t() = default;

    /// Returns: whether there is no current element.
    [[nodiscard]] virtual bool at_end() const = 0;
    /// Returns: the element at the cursor; a default value at the end.
    [[nodiscard]] virtual T current() const = 0;
    /// Moves on to the next element; does nothing at the end.
    virtual void next() = 0;
    /// Makes a second iterator at the same place, which moves on its own.
    /// Returns: a new handler. Lifetime: until its `destroy`.
    [[nodiscard]] virtual iterator_handler_t* clone() const = 0;
    /// Ends the life of this handler.
    virtual void destroy() = 0;

    /// Moves back to the first element.
    /// Returns: false when that is not supported.
    virtual bool reset() { return false; }
    /// Returns: a sum of `caps_t`.
    [[nodiscard]] virtual unsigned supported_caps() const { return cap_forward_only; }
    /// Moves one element back.
    /// Returns: false when that is not supported.
    virtual bool prev() { return false; }
};

/// Owns a handler; copying clones it. Layout: one pointer.
template <class T>
class generic_iterator_t {
public:
    /// Takes `handler` over; null is an iterator without elements.
    explicit generic_iterator_t(iterator_handler_t<T>* handler = nullptr) : m_handler(handler) {}
    generic_iterator_t(const generic_iterator_t& other)
        : m_handler(other.m_handler ? other.m_handler->clone() : nullptr) {}
    generic_iterator_t(generic_iterator_t&& other) noexcept : m_handler(other.m_handler) {
        other.m_handler = nullptr;
    }
    generic_iterator_t& operator=(generic_iterator_t other) noexcept {
        iterator_handler_t<T>* const mine = m_handler;
        m_handler = other.m_handler;
        other.m_handler = mine;
        return *this;
    }
    ~generic_iterator_t() {
        if (m_handler) {
            m_handler->destroy();
        }
    }

    // As of the handler; without one, at the end.

    [[nodiscard]] bool at_end() const { return !m_handler || m_handler->at_end(); }
    [[nodiscard]] T current() const { return m_handler ? m_handler->current() : T(); }
    void next() {
        if (m_handler) {
            m_handler->next();
        }
    }

private:
    iterator_handler_t<T>* m_handler;
};

}  // namespace basekit2

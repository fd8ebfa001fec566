#pragma once
/// Reference-counted objects and the handle that counts them.
///
/// An object begins with a count of 0; the first handle makes it 1. The release that brings the
/// count back to 0 destroys the object.
///
/// One handle is for one thread at a time. Two handles on one object may be used by two threads
/// when the object's counter allows that.

#include <atomic>
#include <cstddef>
#include <type_traits>
#include <typeinfo>
#include <utility>

#include "basekit2/export.h"

namespace basekit2 {

/// Base of every reference-counted interface.
class BASEKIT2_API object_interface_t {
public:
    /// Adds a reference.
    /// Returns: the new count.
    virtual unsigned add_ref() const = 0;
    /// Drops a reference.
    /// Returns: the new count; 0 when the object is gone.
    virtual unsigned release() const = 0;
    /// Returns: the concrete class of the object. Lifetime: the process.
    [[nodiscard]] virtual const std::type_info& get_type() const;
    virtual ~object_interface_t();

    object_interface_t(const object_interface_t&) = delete;
    object_interface_t& operator=(const object_interface_t&) = delete;

protected:
    object_interface_t() = default;
};

/// A counter that several threads may use at once. Layout: one number.
class mt_ref_count_impl_t {
public:
    /// Returns: the new count; so does `decrement`.
    unsigned increment() const noexcept {
        return m_count.fetch_add(1, std::memory_order_relaxed) + 1;
    }
    unsigned decrement() const noexcept {
        return m_count.fetch_sub(1, std::memory_order_acq_rel) - 1;
    }

private:
    mutable std::atomic<unsigned> m_count{0};
};

/// Implements `add_ref` and `release` of `Interface` with a counter of type `Count`.
template <class Interface, class Count>
class ref_counted_t : public Interface {
public:
    unsigned add_ref() const override { return m_references.increment(); }
    unsigned release() const override {
        const unsigned left = m_references.decrement();
        if (left == 0) {
            delete this;
        }
        return left;
    }

private:
    Count m_references;
};

/// Intrusive handle: copying it calls `add_ref`, destroying it `release`. Layout: one pointer.
template <class T>
class sptr_t {
public:
    constexpr sptr_t() noexcept = default;
    constexpr sptr_t(std::nullptr_t) noexcept {}
    /// Takes a reference of its own on `object`, which may be null.
    explicit sptr_t(T* object) : m_object(object) { acquire(); }
    sptr_t(const sptr_t& other) : m_object(other.m_object) { acquire(); }
    sptr_t(sptr_t&& other) noexcept : m_object(std::exchange(other.m_object, nullptr)) {}
    /// Takes a reference of its own through a handle on a derived class.
    template <class U, class = std::enable_if_t<std::is_convertible_v<U*, T*>>>
    sptr_t(const sptr_t<U>& other) : m_object(other.get()) {
        acquire();
    }
    ~sptr_t() {
        if (m_object) {
            m_object->release();
        }
    }

    sptr_t& operator=(sptr_t other) noexcept {
        swap(other);
        return *this;
    }

    /// Drops the reference; the handle is empty afterwards.
    void reset() { sptr_t().swap(*this); }
    /// Exchanges the objects; no count changes.
    void swap(sptr_t& other) noexcept { std::swap(m_object, other.m_object); }

    /// Returns: the object, or null. Lifetime: at least as long as this handle holds it.
    [[nodiscard]] T* get() const noexcept { return m_object; }
    T* operator->() const noexcept { return m_object; }
    T& operator*() const noexcept { return *m_object; }
    explicit operator bool() const noexcept { return m_object != nullptr; }

    friend bool operator==(const sptr_t& a, const sptr_t& b) noexcept {
        return a.m_object == b.m_object;
    }
    friend bool operator!=(const sptr_t& a, const sptr_t& b) noexcept { return !(a == b); }

private:
    void acquire() {
        if (m_object) {
            m_object->add_ref();
        }
    }

    T* m_object = nullptr;
};

}  // namespace basekit2

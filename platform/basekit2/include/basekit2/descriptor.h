#pragma once
/// An open file descriptor, owned.
///
/// For one thread at a time.

#include <unistd.h>

#include <utility>

namespace basekit2 {

/// Closes what it owns at its end; -1 is none. Layout: one number.
class descriptor_t {
public:
    /// Takes `fd` over.
    explicit descriptor_t(int fd = -1) noexcept : m_fd(fd) {}
    descriptor_t(descriptor_t&& other) noexcept : m_fd(std::exchange(other.m_fd, -1)) {}
    descriptor_t& operator=(descriptor_t&& other) noexcept {
        std::swap(m_fd, other.m_fd);
        return *this;
    }
    ~descriptor_t() { close(); }

    /// Returns: the descriptor, which stays owned; -1 for none.
    [[nodiscard]] int get() const noexcept { return m_fd; }
    explicit operator bool() const noexcept { return m_fd >= 0; }
    /// Gives the descriptor up to the caller.
    /// Returns: the descriptor; -1 for none.
    [[nodiscard]] int release() noexcept { return std::exchange(m_fd, -1); }
    /// Closes what is owned, if anything.
    /// Returns: false, with `errno`, when the kernel reports that something written was lost.
    bool close() noexcept {
        const int fd = release();
        return fd < 0 || ::close(fd) == 0;
    }

private:
    int m_fd;
};

}  // namespace basekit2

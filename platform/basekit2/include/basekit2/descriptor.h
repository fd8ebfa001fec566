#pragma once

#include <unistd.h>

#include <utility>

namespace basekit2 {

/// Owns a file descriptor and closes it; -1 is none.
class descriptor_t {
public:
    explicit descriptor_t(int fd = -1) noexcept : m_fd(fd) {}
    descriptor_t(descriptor_t&& other) noexcept : m_fd(std::exchange(other.m_fd, -1)) {}
    descriptor_t& operator=(descriptor_t&& other) noexcept {
        std::swap(m_fd, other.m_fd);
        return *this;
    }
    ~descriptor_t() { close(); }

    [[nodiscard]] int get() const noexcept { return m_fd; }
    explicit operator bool() const noexcept { return m_fd >= 0; }
    /// Gives the descriptor up to the caller.
    [[nodiscard]] int release() noexcept { return std::exchange(m_fd, -1); }
    /// False when the kernel reports that something written before was lost.
    bool close() noexcept {
        const int fd = release();
        return fd < 0 || ::close(fd) == 0;
    }

private:
    int m_fd;
};

}  // namespace basekit2

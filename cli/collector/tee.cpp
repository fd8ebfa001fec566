#include "collector/tee.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "base/failure.h"

namespace cli {

Tee::Tee(int target, RecordFile& copy) : m_target(target), m_copy(copy) {
    std::array<int, 2> ends{};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0) {
        throw Failure::fromErrno(errno, "pipe");
    }
    m_readEnd = basekit2::descriptor_t(ends[0]);
    m_writeEnd = basekit2::descriptor_t(ends[1]);
}

pollfd Tee::interest() const {
    if (!m_pending.empty()) {
        return {m_target, POLLOUT, 0};
    }
    return {m_readEnd.get(), POLLIN, 0};
}

void Tee::advance() {
    if (m_pending.empty()) {
        readSome(pieceSize);
    } else if (!writeSome()) {
        // The program then gets SIGPIPE, as it would without a collector.
        m_readEnd.close();
    }
}

void Tee::finish() {
    int left = 0;
    if (m_readEnd) {
        ::ioctl(m_readEnd.get(), FIONREAD, &left);
    }
    bool hasReader = writeSome();
    while (left > 0 && m_readEnd) {
        readSome(std::min(static_cast<std::size_t>(left), pieceSize));
        left -= static_cast<int>(m_pending.size());
        while (hasReader && !m_pending.empty()) {
            hasReader = writeSome();
        }
        m_pending = {};
    }
    m_readEnd.close();
}

void Tee::readSome(std::size_t most) {
    const ssize_t got = ::read(m_readEnd.get(), m_piece.data(), most);
    if (got > 0) {
        m_pending = {m_piece.data(), static_cast<std::size_t>(got)};
        m_copy.append(m_pending);
    } else if (got == 0 || errno != EINTR) {
        m_readEnd.close();
    }
}

bool Tee::writeSome() {
    if (m_pending.empty()) {
        return true;
    }
    const ssize_t written = ::write(m_target, m_pending.data(), m_pending.size());
    if (written >= 0) {
        m_pending.remove_prefix(static_cast<std::size_t>(written));
    } else if (errno == EAGAIN) {
        // Another process made the stream non-blocking.
        pollfd room{m_target, POLLOUT, 0};
        ::poll(&room, 1, -1);
    } else if (errno != EINTR) {
        m_error = errno == EPIPE ? 0 : errno;
        m_pending = {};
        return false;
    }
    return true;
}

}  // namespace cli

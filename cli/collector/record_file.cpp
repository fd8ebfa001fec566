#include "collector/record_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

#include "failure.h"

namespace cli {

RecordFile::RecordFile(std::string path)
    : m_path(std::move(path)),
      m_file(::open(m_path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_APPEND | O_CLOEXEC, 0666)) {
    if (!m_file) {
        throw Failure::fromErrno(errno, m_path);
    }
}

void RecordFile::append(std::string_view text) {
    while (!text.empty() && m_error == 0) {
        const ssize_t written = ::write(m_file.get(), text.data(), text.size());
        if (written >= 0) {
            text.remove_prefix(static_cast<std::size_t>(written));
        } else if (errno != EINTR) {
            m_error = errno;
        }
    }
}

void RecordFile::check() const {
    if (m_error != 0) {
        throw Failure::fromErrno(m_error, m_path);
    }
}

}  // namespace cli

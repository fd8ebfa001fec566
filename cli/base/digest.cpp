#include "base/digest.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <nettle/sha2.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>

#include "base/failure.h"
#include "base/text.h"
#include "basekit2/descriptor.h"
#include "basekit2/uninterrupted.h"

namespace cli {

std::string digestOf(const std::string& path) {
    const basekit2::descriptor_t file(basekit2::uninterrupted(
        [&] { return ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK); }));
    struct stat status {};
    if (!file || ::fstat(file.get(), &status) != 0) {
        throw Failure::fromErrno(errno, path);
    }
    if (!S_ISREG(status.st_mode)) {
        throw Failure(exitFailure, path, "no regular file");
    }
    if (status.st_size > greatestDigested) {
        throw Failure(exitFailure, path, "larger than " + shortSize(greatestDigested));
    }
    sha256_ctx state{};
    ::sha256_init(&state);
    std::array<std::uint8_t, 65536> piece{};
    // What grows meanwhile is not followed.
    for (off_t left = status.st_size; left > 0;) {
        const ssize_t got =
            basekit2::uninterrupted([&] { return ::read(file.get(), piece.data(), piece.size()); });
        if (got <= 0) {
            throw got < 0 ? Failure::fromErrno(errno, path)
                          : Failure(exitFailure, path, "became shorter while it was read");
        }
        const auto size = static_cast<std::size_t>(std::min<off_t>(got, left));
        ::sha256_update(&state, size, piece.data());
        left -= static_cast<off_t>(size);
    }
    std::array<std::uint8_t, SHA256_DIGEST_SIZE> digest{};
    ::sha256_digest(&state, digest.size(), digest.data());
    return fmt::format("sha256:{:02x}", fmt::join(digest, ""));
}

}  // namespace cli

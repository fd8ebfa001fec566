#pragma once
/// Digests of files.

#include <string>

namespace cli {

/// Of greater files no digest is taken: who asks would wait for it.
inline constexpr long long greatestDigested = 128LL * 1024 * 1024;

/// "sha256:" and the digest of a file in hexadecimal digits. Raises `Failure` for what cannot be
/// read, and for what is no file or too great.
std::string digestOf(const std::string& path);

}  // namespace cli

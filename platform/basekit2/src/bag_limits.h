#pragma once

#include <cstddef>

namespace basekit2 {

inline constexpr std::size_t max_levels = 64;
inline constexpr std::size_t max_bytes = std::size_t{64} << 20;

}  // namespace basekit2

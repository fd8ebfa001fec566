#pragma once
/// The files in a result's directory whose presence tells its state.

namespace vesta2 {

inline constexpr const char* finalizedMark = ".norun";
inline constexpr const char* invalidMark = ".bad";

}  // namespace vesta2

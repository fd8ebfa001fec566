#pragma once
/// System calls of the library that do what a test wants. The linker sends them here: a test
/// program names each call in its build file and in a line VESTA2_FAILING_CALL.

#include <cerrno>
#include <functional>
#include <string_view>

namespace support {

constexpr int always = 1 << 30;

/// The calls of that name fail, `times` times, after the first `after`.
struct Fault {
    std::string_view call = "";
    int error = 0;  ///< 0 for a call that does nothing and returns 0
    int after = 0;
    int times = 1;
    /// What another process does just before, instead of a failure.
    std::function<void()> act = nullptr;
};
inline Fault fault;

inline bool fails(std::string_view call) {
    if (call != fault.call || fault.after-- > 0 || fault.times <= 0) {
        return false;
    }
    --fault.times;
    if (const auto act = fault.act) {
        act();
        return false;
    }
    errno = fault.error;
    return true;
}

inline int failure() { return fault.error == 0 ? 0 : -1; }

}  // namespace support

#define VESTA2_FAILING_CALL(result, call, parameters, ...)                                         \
    extern "C" result __real_##call parameters;                                                    \
    extern "C" result __wrap_##call parameters {                                                   \
        return support::fails(#call) ? support::failure() : __real_##call(__VA_ARGS__);            \
    }

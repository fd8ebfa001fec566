#pragma once
/// System calls that a signal may interrupt.
///
/// Safe from any thread.

#include <cerrno>

namespace basekit2 {

/// Makes the system call that is in `call`, again while a signal interrupts it. Not for `close`:
/// that has closed its descriptor even when it was interrupted.
/// Returns: the result of the call, with its `errno`.
template <class Call>
auto uninterrupted(Call call) {
    auto result = call();
    while (result < 0 && errno == EINTR) {
        result = call();
    }
    return result;
}

}  // namespace basekit2

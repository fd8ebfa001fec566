#pragma once

#include <cerrno>

namespace basekit2 {

/// The result of the system call that `call` makes; it is made again while a signal interrupts it.
/// Not for `close`, which has let go of its descriptor all the same.
template <class Call>
auto uninterrupted(Call call) {
    auto result = call();
    while (result < 0 && errno == EINTR) {
        result = call();
    }
    return result;
}

}  // namespace basekit2

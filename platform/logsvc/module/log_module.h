#pragma once
/// The border between the library and its log module: one function, which is looked up by name.

#include "logsvc/logsvc.h"

namespace logsvc {

struct message_t {
    const char* component;
    const char*
        setting;  ///< "LEVEL" or "LEVEL:FILE", or empty; heeded at the component's first message
    severity_t severity;
    const char* text;
    const char* source;
    int line;
};

using log_function_t = void (*)(const message_t&) noexcept;

inline constexpr const char* log_function_name = "vesta2_log_1";

}  // namespace logsvc

extern "C" __attribute__((visibility("default"))) void
vesta2_log_1(const logsvc::message_t& message) noexcept;

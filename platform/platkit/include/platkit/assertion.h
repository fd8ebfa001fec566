#pragma once
/// Debug assertions: they tell a developer that an operation was asked for what it must not do. The
/// operation goes on and reports its failure in its own way.

namespace platkit {

struct assertion_t {
    const char* condition;
    const char* source;
    int line;
    const char* function;
};

using assertion_handler_t = void (*)(const assertion_t&);

/// Who is told of failed assertions, on the thread that they fail on; null is nobody. Unless it is
/// set, builds with assertions write a line to the standard error stream and other builds tell
/// nobody. Safe from any thread. Returns the handler that was.
assertion_handler_t set_assertion_handler(assertion_handler_t handler);

void assertion_failed(const assertion_t& assertion);

}  // namespace platkit

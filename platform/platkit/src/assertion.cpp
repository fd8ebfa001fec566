#include "platkit/assertion.h"

#include <atomic>
#include <cstdio>

namespace platkit {
namespace {

#ifdef NDEBUG
constexpr assertion_handler_t usual_handler = nullptr;
#else
void print(const assertion_t& assertion) {
    std::fprintf(stderr, "%s:%d: %s: assertion \"%s\" failed\n", assertion.source, assertion.line,
                 assertion.function, assertion.condition);
}

constexpr assertion_handler_t usual_handler = print;
#endif

std::atomic<assertion_handler_t> current_handler{usual_handler};

}  // namespace

assertion_handler_t set_assertion_handler(assertion_handler_t handler) {
    return current_handler.exchange(handler);
}

void assertion_failed(const assertion_t& assertion) {
    if (const assertion_handler_t handler = current_handler) {
        handler(assertion);
    }
}

}  // namespace platkit

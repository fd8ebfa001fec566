#include "logsvc/logsvc.h"

#include <dlfcn.h>
#include <link.h>

#include <array>
#include <atomic>
#include <cstdlib>
#include <future>
#include <string_view>
#include <system_error>
#include <thread>
#include <utility>

#include "../module/log_module.h"
#include "basekit2/library.h"
#include "platkit/strings.h"

namespace logsvc {
namespace {

/// Asked for every failure that is logged nowhere: without a system call, and whoever loaded it.
bool process_has_logging_library() {
    const auto is_it = [](dl_phdr_info* object, std::size_t, void*) {
        const std::string_view path = object->dlpi_name;
        return path.substr(path.rfind('/') + 1) == VESTA2_LOG4CPLUS ? 1 : 0;
    };
    return ::dl_iterate_phdr(is_it, nullptr) != 0;
}

/// The logging library starts four threads as it is loaded, and ends the process where it cannot.
bool can_start_threads() {
    std::promise<void> end;
    const std::shared_future<void> ended = end.get_future().share();
    std::array<std::jthread, 4> threads;
    bool started = true;
    try {
        for (std::jthread& thread : threads) {
            thread = std::jthread([ended] { ended.wait(); });
        }
    } catch (const std::system_error&) {
        started = false;
    }
    end.set_value();
    return started;
}

void say_nothing(const message_t& /*message*/) noexcept {}

log_function_t load(bool present) {
    if (!present && !can_start_threads()) {
        return say_nothing;
    }
    const std::string& directory = basekit2::library_directory();
    void* module = directory.empty() ? nullptr
                                     : ::dlopen((directory + "/" VESTA2_LOG_MODULE).c_str(),
                                                RTLD_NOW | RTLD_LOCAL);
    void* function = module ? ::dlsym(module, log_function_name) : nullptr;
    return function ? reinterpret_cast<log_function_t>(function) : say_nothing;
}

/// Null as long as nobody wants messages. No lock is held while the module is loaded: the loader
/// has its own, under which other threads may log as well. Two that load at once get the same.
log_function_t log_function(bool wanted) {
    static std::atomic<log_function_t> loaded{nullptr};
    log_function_t function = loaded;
    if (function) {
        return function;
    }
    const bool present = process_has_logging_library();
    if (!present && !wanted) {
        return nullptr;
    }
    function = load(present);
    loaded = function;
    return function;
}

}  // namespace

component_logger_t::component_logger_t(std::string component)
    : m_component(std::move(component)),
      m_variable(platkit::strings::to_upper(m_component) + "_LOG") {}

const char* component_logger_t::setting() const {
    const char* text = std::getenv(m_variable.c_str());
    return text ? text : "";
}

bool component_logger_t::has_output() const {
    const log_function_t function = log_function(*setting() != '\0');
    return function && function != say_nothing;
}

void component_logger_t::log(severity_t severity, const std::string& text, const char* source,
                             int line) const {
    if (const log_function_t function = log_function(*setting() != '\0')) {
        function({m_component.c_str(), setting(), severity, text.c_str(), source, line});
    }
}

}  // namespace logsvc

#pragma once
/// Where the messages of a component go.
///
/// The environment variable "<COMPONENT>_LOG" (upper case) names a level ("error", "warn", "info",
/// "debug", "trace"), and messages go to standard error from that level on; "LEVEL:FILE" appends
/// them to a file instead. Where the process has loaded log4cplus, they also go to its logger of
/// the component's name, as the application has configured it.
///
/// The logging library starts threads as soon as it is loaded, so it is in a module of its own,
/// beside this library, that is loaded by the first message that has somewhere to go. Without the
/// module, or where the threads cannot be made, there is silence. The threads belong to the
/// process: they are never stopped here. Safe from any thread, also while the process ends.

#include <string>

namespace logsvc {

enum class severity_t { warning, error };

class component_logger_t {
public:
    explicit component_logger_t(std::string component);

    /// Whether a message could go anywhere; loads the module when it could.
    [[nodiscard]] bool has_output() const;
    /// Logs `text` for the place in the source, when the logger is set to log this severity.
    void log(severity_t severity, const std::string& text, const char* source, int line) const;

private:
    [[nodiscard]] const char* setting() const;

    std::string m_component;
    std::string m_variable;
};

}  // namespace logsvc

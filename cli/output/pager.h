#pragma once
/// The program through which people read what does not fit on their screen.

#include <sys/types.h>

#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "basekit2/descriptor.h"

namespace cli {

/// Started once there is more than a screen of output, so that every pager suits. At its end it
/// waits for the pager: until then the terminal is not the shell's.
class Pager {
public:
    /// None where none is wanted, or nobody can turn its pages.
    static std::unique_ptr<Pager> wanted();
    ~Pager();
    Pager(const Pager&) = delete;
    Pager& operator=(const Pager&) = delete;

    [[nodiscard]] bool isOpen() const { return m_isOpen; }
    /// Whether that is more than a screen. `output` is that of the last call, and what came since.
    bool isNeededFor(std::string_view output);
    /// From now on it reads, Ctrl-C is its alone, and messages are kept back from the screen.
    void open();
    /// Where the output goes when it is open: to the terminal if it could not be started.
    [[nodiscard]] int descriptor() const;

private:
    explicit Pager(std::string command) : m_command(std::move(command)) {}

    const std::string m_command;  ///< for a shell
    std::size_t m_counted = 0;    ///< bytes of the output
    int m_rows = 0;               ///< that they take on the screen
    bool m_isOpen = false;
    pid_t m_process = -1;
    basekit2::descriptor_t m_input;
    basekit2::descriptor_t m_messages;  ///< that came meanwhile
    basekit2::descriptor_t m_terminal;  ///< where they go then
};

}  // namespace cli

#pragma once

#include <string>
#include <vector>

#include "support/child_process.h"

namespace support {

struct CommandResult {
    /// As a shell tells it: 128 and the signal for a command that was killed.
    int code = -1;
    std::string out;
    std::string err;
};

/// The command as a child process. Every wait is bounded: a command that hangs fails its test.
class Command {
public:
    struct Setting {
        std::string directory;
        /// Beside what every command needs.
        std::vector<std::string> environment{};
        /// On a terminal of its own, this many columns wide; what it prints is then `out` alone.
        int terminalWidth = 0;
        /// Run instead of the command; looked for as a shell does.
        std::string program{};
    };

    Command(const std::vector<std::string>& arguments, const Setting& setting);
    ~Command();
    Command(const Command&) = delete;
    Command& operator=(const Command&) = delete;

    /// What has come so far.
    [[nodiscard]] const std::string& output() const { return m_result.out; }
    /// Waits until the standard output stream has brought `text`.
    bool awaitOutput(const std::string& text);
    /// As if typed at the terminal.
    void type(const std::string& keys) const;
    void send(int signal) const { m_process.send(signal); }
    /// Nobody reads the standard output stream any more.
    void closeOutput();
    /// Waits for the end of the standard output stream and of the command.
    CommandResult finish();

private:
    bool readSome();

    ChildProcess m_process{-1};
    int m_out = -1;
    int m_err = -1;
    CommandResult m_result;
};

/// Runs the command in `directory` to its end.
CommandResult run(const std::string& directory, const std::vector<std::string>& arguments);

}  // namespace support

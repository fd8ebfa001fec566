#include "output/pager.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/sendfile.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <limits>

#include "base/text.h"
#include "output/output.h"

namespace cli {
namespace {

constexpr int usualRows = 24;

/// The first is for less, or no pager where it is not installed. The shell outlives Ctrl-C, as a
/// pager does; what one that cannot be started, or is no command, has not read, it prints.
constexpr const char* usualPager =
    "if command -v less >/dev/null; then less; else command -p cat; fi";
constexpr const char* script = "trap : INT QUIT; /bin/sh -nc \"$1\" || set -- 'command -p cat'; "
                               "(trap : INT QUIT; eval \"$1\")\n"
                               "case $? in 126 | 127) command -p cat ;; esac";

int terminalRows() {
    winsize size{};
    const bool isKnown = ::ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_row > 0;
    return isKnown ? size.ws_row : usualRows;
}

/// Of a line in which all escape sequences are styles.
int widthOf(std::string_view line) {
    int width = 0;
    for (std::size_t style = line.find('\x1b'); style != line.npos; style = line.find('\x1b')) {
        width += displayWidth(line.substr(0, style));
        line.remove_prefix(std::min(line.size(), line.find('m', style) + 1));
    }
    return width + displayWidth(line);
}

/// Neither in the background nor where keys cannot be typed a pager would ever end.
bool canBeRead() {
    const char* const kind = std::getenv("TERM");
    return kind && *kind && std::string_view(kind) != "dumb" && ::isatty(STDIN_FILENO) == 1 &&
           ::isatty(STDOUT_FILENO) == 1 && ::tcgetpgrp(STDOUT_FILENO) == ::getpgrp();
}

/// With the signals as a program expects them, and `input` as its standard input stream.
pid_t startShell(const std::string& command, int input) {
    posix_spawn_file_actions_t files{};
    posix_spawnattr_t attributes{};
    sigset_t defaults;
    ::sigemptyset(&defaults);
    for (const int number : {SIGINT, SIGQUIT, SIGPIPE}) {
        ::sigaddset(&defaults, number);
    }
    ::posix_spawn_file_actions_init(&files);
    ::posix_spawn_file_actions_adddup2(&files, input, STDIN_FILENO);
    ::posix_spawnattr_init(&attributes);
    ::posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF);
    ::posix_spawnattr_setsigdefault(&attributes, &defaults);
    std::array<std::string, 5> words{"sh", "-c", script, "vesta2", command};
    std::array<char*, 6> arguments{};
    std::ranges::transform(words, arguments.begin(), [](std::string& word) { return word.data(); });
    pid_t process = -1;
    const int error =
        ::posix_spawn(&process, "/bin/sh", &files, &attributes, arguments.data(), environ);
    ::posix_spawnattr_destroy(&attributes);
    ::posix_spawn_file_actions_destroy(&files);
    return error == 0 ? process : -1;
}

}  // namespace

std::unique_ptr<Pager> Pager::wanted() {
    const char* command = std::getenv("VESTA2_PAGER");
    command = command ? command : std::getenv("PAGER");
    const std::string_view word = command ? command : usualPager;
    const bool isNone = word.find_first_not_of(' ') == word.npos || word == "cat";
    return isNone || !canBeRead() ? nullptr : std::unique_ptr<Pager>(new Pager(std::string(word)));
}

bool Pager::isNeededFor(std::string_view output) {
    const int columns = terminalWidth(STDOUT_FILENO);
    for (std::size_t end = output.find('\n', m_counted); end != output.npos;
         end = output.find('\n', m_counted)) {
        const int width = widthOf(output.substr(m_counted, end - m_counted));
        m_rows += std::max(1, (width + columns - 1) / columns);
        m_counted = end + 1;
    }
    return m_rows >= terminalRows();  // the last one is the shell's
}

void Pager::open() {
    m_isOpen = true;
    std::array<int, 2> ends{-1, -1};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0) {
        return;
    }
    const basekit2::descriptor_t input(ends[0]);
    m_input = basekit2::descriptor_t(ends[1]);
    // Rows have been cut and coloured for the terminal, and are UTF-8 whatever the locale.
    ::setenv("LESS", "FRX", 0);
    ::setenv("LESSCHARSET", "utf-8", 0);
    for (const int number : {SIGINT, SIGQUIT, SIGPIPE}) {
        ::signal(number, SIG_IGN);
    }
    m_process = startShell(m_command, input.get());
    if (m_process < 0 || ::isatty(STDERR_FILENO) == 0) {
        return;
    }
    m_terminal = basekit2::descriptor_t(::fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 0));
    m_messages = basekit2::descriptor_t(::memfd_create("messages", MFD_CLOEXEC));
    if (m_terminal && m_messages) {
        ::dup2(m_messages.get(), STDERR_FILENO);
    }
}

int Pager::descriptor() const { return m_process < 0 ? STDOUT_FILENO : m_input.get(); }

Pager::~Pager() {
    m_input.close();
    while (m_process > 0 && ::waitpid(m_process, nullptr, 0) < 0 && errno == EINTR) {
    }
    if (m_terminal && m_messages) {
        ::dup2(m_terminal.get(), STDERR_FILENO);
        off_t from = 0;
        while (::sendfile(STDERR_FILENO, m_messages.get(), &from,
                          std::numeric_limits<std::int32_t>::max()) > 0) {
        }
    }
}

}  // namespace cli

#include "output/output.h"

#include <nlohmann/json.hpp>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <utility>

#include "base/failure.h"
#include "base/text.h"

namespace cli {
namespace {

constexpr std::size_t flushSize = 65536;
/// So long something waits for more at the most, when there is more.
constexpr std::chrono::milliseconds flushTime(50);
constexpr int usualWidth = 80;
constexpr std::size_t indent = 2;

std::string environment(const char* name) {
    const char* value = std::getenv(name);
    return value ? value : "";
}

bool isForced() {
    const std::string force = environment("CLICOLOR_FORCE");
    return !force.empty() && force != "0";
}

}  // namespace

Output::Output() : m_isTerminal(::isatty(STDOUT_FILENO) == 1) {}

void Output::setColor(std::string_view when) {
    if (when != "auto") {
        m_color = when == "always";
    } else if (!environment("NO_COLOR").empty()) {
        m_color = false;
    } else {
        m_color = isForced() || (m_isTerminal && environment("TERM") != "dumb");
    }
}

std::string Output::styled(std::string_view text, const char* style) const {
    if (!m_color || !*style) {
        return std::string(text);
    }
    return std::string("\x1b[").append(style).append("m").append(text).append("\x1b[0m");
}

void Output::writeAll(std::string_view rest) const {
    const int stream = m_pager && m_pager->isOpen() ? m_pager->descriptor() : STDOUT_FILENO;
    while (!rest.empty()) {
        const ssize_t written = ::write(stream, rest.data(), rest.size());
        if (written >= 0) {
            rest.remove_prefix(static_cast<std::size_t>(written));
        } else if (errno == EPIPE) {
            throw BrokenPipe();
        } else if (errno != EINTR) {
            throw lostOutput(errno);
        }
    }
}

void Output::write(std::string_view text) {
    if (m_pager && !m_pager->isOpen()) {
        m_pending += text;
        if (m_pager->isNeededFor(m_pending)) {
            m_pager->open();
            flush();
        }
        return;
    }
    if (text.size() >= flushSize) {  // nothing that is large is copied
        flush();
        writeAll(text);
        return;
    }
    m_pending += text;
    if (m_pending.size() >= flushSize || Clock::now() - m_flushed > flushTime) {
        flush();
    }
}

void Output::writeJson(const Json& members) { write(jsonText(withSchema(members)) + "\n"); }

std::string Output::jsonText(const Json& value) const {
    // Controls beyond ASCII drive a terminal, too.
    return value.dump(m_isTerminal ? static_cast<int>(indent) : -1, ' ', m_isTerminal);
}

std::string JsonArrayOutput::newLine(std::size_t level) const {
    return m_out.isTerminal() ? "\n" + std::string(level * indent, ' ') : std::string();
}

JsonArrayOutput::JsonArrayOutput(Output& out, const char* member, const Json& others)
    : m_out(out), m_head(out.jsonText(withSchema(others))) {
    m_head.resize(m_head.size() - (newLine(0) + "}").size());
    m_head += "," + newLine(1) + "\"" + member + (out.isTerminal() ? "\": [" : "\":[");
}

void JsonArrayOutput::begin() {
    m_out.write(m_head);
    m_hasBegun = true;
}

void JsonArrayOutput::addText(std::string text) {
    const bool isFirst = !m_hasBegun;
    if (isFirst) {
        begin();
    }
    for (std::size_t end = text.find('\n'); end != std::string::npos;
         end = text.find('\n', end + 1)) {
        text.replace(end, 1, newLine(2));  // one within a text is escaped
    }
    m_out.write((isFirst ? "" : ",") + newLine(2) + text);
}

void JsonArrayOutput::finish() {
    const bool isEmpty = !m_hasBegun;
    if (isEmpty) {
        begin();
    }
    m_hasBegun = false;
    m_out.write((isEmpty ? "" : newLine(1)) + "]" + newLine(0) + "}\n");
}

void Output::writeText(std::string_view text) {
    write((m_isTerminal ? escapeText(text) : std::string(text)) + "\n");
}

void Output::flush() {
    if (m_pager && !m_pager->isOpen()) {
        m_pager.reset();  // what is on the screen already, it could not show
    }
    writeAll(std::exchange(m_pending, std::string()));
    m_flushed = Clock::now();
}

Failure lostOutput(int error) {
    const Failure cause = Failure::fromErrno(error, "standard output");
    return {exitFailure, cause.path(), cause.problem(), "check where the output goes"};
}

int terminalWidth(int stream) {
    winsize size{};
    if (::ioctl(stream, TIOCGWINSZ, &size) == 0 && size.ws_col > 0) {
        return size.ws_col;
    }
    return usualWidth;
}

Json withSchema(const Json& members) {
    Json object = {{"schema", 1}};
    object.update(members);
    return object;
}

void writeRawMessage(std::string line) {
    line += '\n';
    // One call a line, so that the lines of several ranks do not mix.
    [[maybe_unused]] const ssize_t written = ::write(STDERR_FILENO, line.data(), line.size());
}

void writeMessage(std::string_view line) { writeRawMessage("vesta2: " + std::string(line)); }

}  // namespace cli

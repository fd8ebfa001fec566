#pragma once
/// The standard output stream, and what is known of the terminal behind it.

#include <chrono>
#include <memory>
#include <string>
#include <string_view>

#include "base/failure.h"
#include "output/json.h"
#include "output/pager.h"

namespace cli {

/// Buffers what goes to the standard output stream, for a moment: the first of many rows comes at
/// once. A write that fails raises `Failure`, or
/// `BrokenPipe` when the reader has gone: output that is lost must not look like success.
class Output {
public:
    Output();

    /// "auto", "always" or "never"; "auto" asks NO_COLOR, CLICOLOR_FORCE and the terminal.
    void setColor(std::string_view when);

    /// From now on people read it with a pager, once it is more than a screen.
    void page() { m_pager = Pager::wanted(); }

    [[nodiscard]] bool isTerminal() const { return m_isTerminal; }
    /// `text` between the escape sequences of `style` (such as "1;31"), when colors are wanted.
    [[nodiscard]] std::string styled(std::string_view text, const char* style) const;

    void write(std::string_view text);
    /// One object on its own, with the schema number in front; indented on a terminal.
    void writeJson(const Json& members);
    /// As it stands in the output.
    [[nodiscard]] std::string jsonText(const Json& value) const;
    /// One line of text; escaped when it goes to a terminal.
    void writeText(std::string_view text);
    void flush();

private:
    using Clock = std::chrono::steady_clock;

    void writeAll(std::string_view rest) const;

    std::string m_pending;
    Clock::time_point m_flushed = Clock::now();
    std::unique_ptr<Pager> m_pager;
    bool m_isTerminal;
    bool m_color = false;
};

/// What `Output::writeJson` prints of an object whose last member is an array, with the elements
/// printed as they come: a hundred thousand need the memory of one.
class JsonArrayOutput {
public:
    /// The array is `member`; the members of `others` are in front of it.
    JsonArrayOutput(Output& out, const char* member, const Json& others);

    void add(const Json& element) { addText(m_out.jsonText(element)); }
    /// As `add`, of what `Output::jsonText` returned.
    void addText(std::string text);
    void finish();
    /// Whether it waits for its end.
    [[nodiscard]] bool hasBegun() const { return m_hasBegun; }

private:
    /// The end of a line, and the beginning of the next one at that level.
    [[nodiscard]] std::string newLine(std::size_t level) const;
    void begin();

    Output& m_out;
    std::string m_head;  ///< the object up to the first element
    bool m_hasBegun = false;
};

/// The error for a failed write to an output stream; `error` is an `errno` value.
Failure lostOutput(int error);

/// Columns of the terminal behind `stream`; 80 without one.
int terminalWidth(int stream);

/// Members with the schema number in front.
Json withSchema(const Json& members);

/// One line on the standard error stream, as it is. Nothing can be done when that fails.
void writeRawMessage(std::string line);
/// As `writeRawMessage`, with the command's name in front.
void writeMessage(std::string_view line);

}  // namespace cli

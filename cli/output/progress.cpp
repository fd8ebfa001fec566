#include "output/progress.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <utility>

#include "base/text.h"

namespace cli {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr milliseconds moment(500);
constexpr milliseconds redrawInterval(100);
constexpr seconds lineInterval(5);

void draw(const std::string& text) {
    const std::string sequence = "\r" + text + "\x1b[K";
    [[maybe_unused]] const ssize_t written =
        ::write(STDERR_FILENO, sequence.data(), sequence.size());
}

std::string duration(double time) {
    const std::int64_t whole = std::llround(time);
    return whole < 3600 ? fmt::format("{}:{:02}", whole / 60, whole % 60)
                        : fmt::format("{}:{:02}:{:02}", whole / 3600, whole / 60 % 60, whole % 60);
}

}  // namespace

Progress::Progress(const Session& session, Signals& signals, std::string base)
    : m_signals(signals), m_base(std::move(base) + "/"), m_style(styleFor(session)) {}

Progress::Style Progress::styleFor(const Session& session) {
    if (session.json || session.quiet) {
        return Style::none;
    }
    if (::isatty(STDERR_FILENO) == 1) {
        return Style::redrawn;
    }
    return session.verbose ? Style::lines : Style::none;
}

void Progress::start(const char* /*message*/, double total) {
    m_isStarted = true;
    m_total = total;
    m_begin = Clock::now();
    m_due = m_begin + (m_style == Style::redrawn ? Clock::duration(moment) : lineInterval);
}

void Progress::advance(double amount) {
    m_done += amount;
    showWhenDue();
}

void Progress::setCurrentItem(const char* path) {
    if (m_style != Style::none) {
        m_item = path;
        showWhenDue();
    }
}

void Progress::finish() {
    if (m_isDrawn) {
        draw("");
    }
}

bool Progress::isCancelled() {
    // A failed step shows in the status alone, which is eOK when the copy starts.
    if (m_isStarted && m_failure == vesta2::eOK) {
        m_failure = vesta2::getStatus();
    }
    return m_signals.wantsEnd() || m_failure != vesta2::eOK;
}

void Progress::showWhenDue() {
    const Clock::time_point now = Clock::now();
    if (m_style == Style::none || now < m_due) {
        return;
    }
    if (m_style == Style::redrawn) {
        draw(fitWidth(line(now), terminalWidth(STDERR_FILENO) - 1));
        m_isDrawn = true;
        m_due = now + redrawInterval;
    } else {
        writeMessage(line(now));
        m_due = now + lineInterval;
    }
}

std::string Progress::line(Clock::time_point now) const {
    const double elapsed = std::chrono::duration<double>(now - m_begin).count();
    const double rate = m_done / elapsed;
    const double total = std::max(m_total, m_done);
    const auto size = [](double bytes) { return shortSize(static_cast<std::uint64_t>(bytes)); };
    const std::string left = rate > 0 ? duration((total - m_done) / rate) : "?";
    const bool isBelow = m_item.rfind(m_base, 0) == 0;
    return fmt::format("{} of {}, {}/s, {} left: {}", size(m_done), size(total), size(rate), left,
                       escapeText(isBelow ? m_item.substr(m_base.size()) : m_item));
}

}  // namespace cli

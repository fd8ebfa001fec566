#pragma once
/// The progress display of copies, which also cancels them.

#include <chrono>
#include <string>

#include "base/signals.h"
#include "notify2/progress.h"
#include "output/session.h"
#include "vesta2/error.h"

namespace cli {

/// Cancels the copy on a signal, and after its first failed step: a cancelled copy is undone, so
/// that none stays incomplete. On a terminal one line is redrawn, and erased at the end. Elsewhere
/// "-v" gives a line every few seconds. A short copy shows nothing.
class Progress : public notify2::IProgress {
public:
    /// `base` is cut off the paths that are shown.
    Progress(const Session& session, Signals& signals, std::string base);

    void start(const char* message, double total) override;
    void advance(double amount) override;
    void setCurrentItem(const char* path) override;
    void finish() override;
    bool isCancelled() override;

    /// The status that the first failed step left; `eOK` when none failed.
    [[nodiscard]] vesta2::error_t failure() const { return m_failure; }

private:
    using Clock = std::chrono::steady_clock;
    enum class Style { none, redrawn, lines };

    static Style styleFor(const Session& session);
    void showWhenDue();
    [[nodiscard]] std::string line(Clock::time_point now) const;

    Signals& m_signals;
    std::string m_base;
    Style m_style;
    double m_total = 0;
    double m_done = 0;
    std::string m_item;
    Clock::time_point m_begin;
    Clock::time_point m_due;
    bool m_isDrawn = false;
    bool m_isStarted = false;
    vesta2::error_t m_failure = vesta2::eOK;
};

}  // namespace cli

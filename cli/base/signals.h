#pragma once
/// Signals, read from a descriptor.

#include <csignal>

#include "basekit2/descriptor.h"

namespace cli {

/// A file that may not grow (RLIMIT_FSIZE) fails a write, and does not end the process. Programs
/// that are run get the signal as it was: see `Signals::originalDefaults`.
void outliveFileLimit();

/// Blocks SIGINT, SIGTERM, SIGHUP, SIGQUIT and SIGCHLD, and makes them readable from a descriptor,
/// until the process ends: a signal cannot leave an unfinished result. SIGPIPE is ignored.
class Signals {
public:
    Signals();

    struct Signal {
        int number = 0;
        /// Sent by a process. A signal that the kernel sends for a terminal goes to the whole
        /// foreground process group, and must not be sent to the program a second time.
        bool wasSent = false;
    };

    /// Readable when a signal is pending.
    [[nodiscard]] int descriptor() const { return m_file.get(); }
    /// Takes the next pending signal; false when there is none.
    bool next(Signal& signal);
    /// Takes all pending signals. True when one but SIGCHLD has been among them, now or before.
    bool wantsEnd();

    /// Signal mask, and signals that had their default action, before this object was made.
    [[nodiscard]] const sigset_t& originalMask() const { return m_originalMask; }
    [[nodiscard]] const sigset_t& originalDefaults() const { return m_originalDefaults; }

private:
    basekit2::descriptor_t m_file;
    sigset_t m_originalMask{};
    sigset_t m_originalDefaults{};
    bool m_wantsEnd = false;
};

}  // namespace cli

#pragma once

#include <csignal>

#include "basekit2/descriptor.h"

namespace cli {

/// Makes signals that would end the collector readable instead, from now until the process ends: a
/// result is finished whatever comes. Also ends of children (SIGCHLD). SIGPIPE is ignored.
class Signals {
public:
    Signals();

    struct Signal {
        int number = 0;
        /// From a process, to this one. What the kernel sends for a terminal has reached every
        /// process of the foreground group already, and must not be passed on.
        bool wasSent = false;
    };

    /// Readable when a signal has come.
    [[nodiscard]] int descriptor() const { return m_file.get(); }
    /// False when none is left.
    bool next(Signal& signal);
    /// Whether one of those that are left, or that this was asked about before, asks for the end.
    bool wantsEnd();

    /// As they were before, for the program that is started.
    [[nodiscard]] const sigset_t& originalMask() const { return m_originalMask; }
    [[nodiscard]] const sigset_t& originalDefaults() const { return m_originalDefaults; }

private:
    basekit2::descriptor_t m_file;
    sigset_t m_originalMask{};
    sigset_t m_originalDefaults{};
    bool m_wantsEnd = false;
};

}  // namespace cli

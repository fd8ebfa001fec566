#include "base/signals.h"

#include <sys/signalfd.h>
#include <unistd.h>

#include <cerrno>

#include "base/failure.h"

namespace cli {

namespace {

bool s_endedAtFileLimit = false;

}  // namespace

void outliveFileLimit() { s_endedAtFileLimit = ::signal(SIGXFSZ, SIG_IGN) == SIG_DFL; }

Signals::Signals() {
    sigset_t watched;
    ::sigemptyset(&watched);
    for (const int number : {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGCHLD}) {
        ::sigaddset(&watched, number);
    }
    // A caller may have left SIGCHLD ignored; then no child could be waited for.
    ::signal(SIGCHLD, SIG_DFL);
    ::sigemptyset(&m_originalDefaults);
    if (::signal(SIGPIPE, SIG_IGN) == SIG_DFL) {
        ::sigaddset(&m_originalDefaults, SIGPIPE);
    }
    if (s_endedAtFileLimit) {
        ::sigaddset(&m_originalDefaults, SIGXFSZ);
    }
    ::sigprocmask(SIG_BLOCK, &watched, &m_originalMask);
    m_file = basekit2::descriptor_t(::signalfd(-1, &watched, SFD_CLOEXEC | SFD_NONBLOCK));
    if (!m_file) {
        throw Failure::fromErrno(errno, "signals");
    }
}

bool Signals::next(Signal& signal) {
    signalfd_siginfo info{};
    if (::read(m_file.get(), &info, sizeof info) != sizeof info) {
        return false;
    }
    signal.number = static_cast<int>(info.ssi_signo);
    signal.wasSent = info.ssi_code <= 0;
    return true;
}

bool Signals::wantsEnd() {
    for (Signal signal; next(signal);) {
        m_wantsEnd = m_wantsEnd || signal.number != SIGCHLD;
    }
    return m_wantsEnd;
}

}  // namespace cli

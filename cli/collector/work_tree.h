#pragma once
/// The revision of the work tree that a program runs in.

#include <poll.h>

#include <chrono>
#include <string>

#include "base/signals.h"
#include "basekit2/descriptor.h"
#include "collector/surroundings.h"
#include "vesta2/i_node.h"

namespace cli {

/// Asks git, which runs beside the program, for as long as `patience` at most. It takes no locks,
/// changes nothing, reads nothing of the standard input stream and asks nobody anything.
class WorkTree {
public:
    using Clock = std::chrono::steady_clock;
    static constexpr std::chrono::milliseconds patience{50};

    /// Starts git in the working directory.
    explicit WorkTree(const Signals& signals);
    /// Ends git.
    ~WorkTree() { end(); }
    WorkTree(const WorkTree&) = delete;
    WorkTree& operator=(const WorkTree&) = delete;

    /// The process group of git; 0 when it could not be started.
    [[nodiscard]] pid_t group() const { return m_group; }
    /// What to wait for next, and until when; a negative descriptor when all has been told.
    [[nodiscard]] pollfd interest() const { return {m_pipe.get(), POLLIN, 0}; }
    [[nodiscard]] Clock::time_point due() const {
        return m_pipe ? m_due : Clock::time_point::max();
    }
    /// Takes what git has told; ends it when it is due.
    void advance();
    /// Waits for the rest of the answer, and puts the properties in memory. What is not known is
    /// left out, and `report` is told why.
    void finish(vesta2::INode& node, const Report& report);

private:
    void end();

    basekit2::descriptor_t m_pipe;
    pid_t m_group = 0;
    Clock::time_point m_due;
    std::string m_answer;
    std::string m_problem;  ///< why there is no whole answer
};

}  // namespace cli

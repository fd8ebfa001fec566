#include "collector/work_tree.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <sstream>

#include "base/failure.h"
#include "collector/spawn.h"
#include "nodes/properties.h"

namespace cli {
namespace {

namespace fs = std::filesystem;

/// Tells the revision and then, in another line, the state. Files that git does not know make no
/// difference: the result itself may be one. No daemon is started, and nothing is fetched.
constexpr const char* question = R"(exec </dev/null 2>&1
export LC_ALL=C GIT_OPTIONAL_LOCKS=0 GIT_TERMINAL_PROMPT=0 GIT_NO_LAZY_FETCH=1
git rev-parse --verify HEAD &&
changes=$(git -c core.fsmonitor=false status --porcelain --untracked-files=no) &&
if [ "$changes" ]; then echo dirty; else echo clean; fi)";

constexpr std::size_t greatestAnswer = 4096;

bool isRevision(const std::string& line) {
    return (line.size() == 40 || line.size() == 64) &&
           line.find_first_not_of("0123456789abcdef") == std::string::npos;
}

/// False when git certainly finds no work tree: it need not be started then.
bool mayBeWorkTree() {
    if (std::getenv("GIT_DIR")) {
        return true;
    }
    struct stat status {};
    for (fs::path directory = fs::current_path();; directory = directory.parent_path()) {
        if (::lstat((directory / ".git").c_str(), &status) == 0 || errno != ENOENT) {
            return true;
        }
        if (!directory.has_relative_path()) {
            return false;
        }
    }
}

}  // namespace

WorkTree::WorkTree(const Signals& signals) : m_due(Clock::now() + patience) {
    if (!mayBeWorkTree()) {
        m_problem = "not in a work tree of git";
        return;
    }
    std::array<int, 2> ends{};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0) {
        m_problem = Failure::fromErrno(errno, {}).problem();
        return;
    }
    m_pipe = basekit2::descriptor_t(ends[0]);
    const basekit2::descriptor_t writeEnd(ends[1]);
    ::fcntl(m_pipe.get(), F_SETFL, O_NONBLOCK);
    const std::vector<std::string> command{"/bin/sh", "-c", question};
    SpawnRequest request{command, signals, writeEnd.get(), writeEnd.get()};
    request.inOwnGroup = true;
    if (const int error = spawnProgram(request, m_group)) {
        m_problem = startFailure(command.front(), error).problem();
        m_pipe.close();
    }
}

void WorkTree::end() {
    if (m_pipe) {
        ::kill(-m_group, SIGKILL);
        m_pipe.close();
    }
}

void WorkTree::advance() {
    std::array<char, greatestAnswer> piece{};
    ssize_t got = 0;
    while (m_pipe && (got = ::read(m_pipe.get(), piece.data(), piece.size())) > 0) {
        const auto room = greatestAnswer - m_answer.size();
        m_answer.append(piece.data(), std::min(static_cast<std::size_t>(got), room));
    }
    if (m_pipe && got == 0) {
        m_pipe.close();
    } else if (m_pipe && Clock::now() >= m_due) {
        end();
        m_problem = "git took longer than " + std::to_string(patience.count()) + " ms";
    }
}

void WorkTree::finish(vesta2::INode& node, const Report& report) {
    while (m_pipe) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(m_due - Clock::now());
        pollfd event = interest();
        ::poll(&event, 1, static_cast<int>(std::max<std::int64_t>(left.count(), 0)));
        advance();
    }
    const bool wasCut = !m_problem.empty();
    std::string revision;
    std::string state;
    std::istringstream lines(m_answer);
    for (std::string line; std::getline(lines, line);) {
        if (isRevision(line)) {
            revision = line;
        } else if (line == "clean" || line == "dirty") {
            state = line;
        } else if (m_problem.empty()) {
            m_problem = line;
        }
    }
    // A revision whose state git cannot tell is not that of a work tree.
    const bool isKnown = !revision.empty() && (!state.empty() || wasCut);
    if (isKnown) {
        putProperty(node, key::revision, revision);
    }
    if (!state.empty()) {
        putProperty(node, key::revisionState, state);
        return;
    }
    report(std::string(isKnown ? key::revisionState : key::revision) +
           " is left out: " + (m_problem.empty() ? "git did not answer" : m_problem));
}

}  // namespace cli

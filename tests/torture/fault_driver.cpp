/// Runs the command again and again on a sample of nodes. Each time one of its file-system calls
/// fails, or it is killed before one, and then everything must be as it was or as it was to become.

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <iterator>
#include <map>
#include <random>
#include <sstream>
#include <system_error>

#include "cases.h"
#include "support/temp_directory.h"

namespace torture {
namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;
using Kind = Fault::Kind;

constexpr int workers = 2;
constexpr int exitSkipped = 77;

struct Options {
    std::vector<std::string> wanted;  ///< beginnings of commands; all when empty
    bool isWholly = false;            ///< every fault, not one a call
    unsigned long seconds = 0;        ///< at most; 0 is no limit
    unsigned seed = std::random_device()();
    Clock::time_point begin = Clock::now();

    [[nodiscard]] bool isOver() const {
        return seconds > 0 && Clock::now() > begin + std::chrono::seconds(seconds);
    }
};

using Job = std::pair<const Case*, Fault>;

std::string describe(const Fault& fault, const TracedRun& run) {
    const char* const kinds[] = {"undisturbed", "once", "from then on", "killed before"};
    const FileCall call = fault.kind == Kind::nothing ? FileCall() : run.calls.at(fault.call);
    std::ostringstream line;
    line << kinds[static_cast<int>(fault.kind)] << ", call " << fault.call + 1 << ", " << call.name
         << " of " << call.path << ": " << ::strerrorname_np(fault.error) << ", code " << run.code
         << ": " << run.err.substr(0, 1000);
    return line.str();
}

/// With the times of everything: what was changed just now is looked at with other eyes.
void copyTree(const std::string& from, const std::string& to) {
    if (std::system(("rm -rf " + to + " && cp -a " + from + " " + to).c_str()) != 0) {
        throw std::runtime_error("cannot copy " + from);
    }
}

/// One process of several, each with its own tree and its part of the faults.
class Worker {
public:
    Worker(const Options& options, std::size_t number) : m_options(options), m_number(number) {
        fs::create_directories(m_root);
        makeSample(m_root);
        fs::rename(m_root, m_template);
        copyTree(m_template, m_root);
        m_before = survey(m_root);
    }

    /// Whether nothing was wrong.
    bool run() {
        std::vector<Job> jobs = plan();
        std::shuffle(jobs.begin(), jobs.end(), std::mt19937(m_options.seed));
        std::size_t done = 0;
        for (std::size_t i = m_number; i < jobs.size() && !m_options.isOver(); i += workers) {
            run(*jobs[i].first, jobs[i].second);
            ++done;
        }
        std::cout << "worker " << m_number << ": " << done << " of " << jobs.size() << " runs, "
                  << m_missed << " not as far as their fault, " << m_wrong << " wrong" << std::endl;
        return m_wrong == 0 && done > 0;
    }

private:
    std::vector<Job> plan() {
        std::vector<Job> jobs;
        unsigned turn = m_options.seed;
        std::ostringstream counts;
        for (const Case& each : cases()) {
            const auto begins = [&](auto& word) { return each.command.starts_with(word); };
            if (!m_options.wanted.empty() && std::ranges::none_of(m_options.wanted, begins)) {
                continue;
            }
            m_undisturbed[&each] = run(each, {});
            const std::vector<FileCall>& calls = m_undisturbed[&each].run.calls;
            counts << calls.size() << " in " << each.command << "\n";
            for (std::size_t i = 0; i < calls.size(); ++i) {
                // Between two changes it does not matter when.
                if (i > 0 && calls[i - 1].is(changes)) {
                    jobs.emplace_back(&each, Fault{Kind::kill, i, 0});
                }
                std::vector<Fault> faults;
                for (const int error : calls[i].errors()) {
                    faults.push_back({Kind::once, i, error});
                    // A call that is interrupted for ever is tried again for ever.
                    if (error != EINTR) {
                        faults.push_back({Kind::lasting, i, error});
                    }
                }
                ++turn;
                for (std::size_t k = 0; k < faults.size(); ++k) {
                    if (m_options.isWholly || k == turn % faults.size()) {
                        jobs.emplace_back(&each, faults[k]);
                    }
                }
            }
        }
        std::cout << (m_number == 0 ? "calls:\n" + counts.str() : "") << std::flush;
        return jobs;
    }

    Outcome run(const Case& each, const Fault& fault) {
        copyTree(m_template, m_root);
        std::istringstream words(each.command);
        const std::vector<std::string> arguments{std::istream_iterator<std::string>(words), {}};
        Outcome now{runTraced(arguments, m_root, fault), {}};
        if (fault.kind != Kind::nothing && !now.run.isHit) {
            ++m_missed;
            return now;
        }
        now.after = survey(m_root);
        const Outcome& undisturbed = fault.kind == Kind::nothing ? now : m_undisturbed.at(&each);
        for (const std::string& what : judge(each, m_before, undisturbed, now, fault)) {
            std::cout << each.command + ": " + what + " (" + describe(fault, now.run) + ")\n"
                      << std::flush;
            ++m_wrong;
        }
        return now;
    }

    const Options& m_options;
    const std::size_t m_number;
    const support::TempDirectory m_directory;
    const std::string m_root = m_directory / "tree";
    const std::string m_template = m_directory / "template";
    Survey m_before;
    std::map<const Case*, Outcome> m_undisturbed;
    std::size_t m_missed = 0;
    std::size_t m_wrong = 0;
};

int work(const Options& options, std::size_t number) {
    try {
        return Worker(options, number).run() ? 0 : 1;
    } catch (const std::exception& error) {
        std::cerr << error.what() << std::endl;
        const auto* failed = dynamic_cast<const std::system_error*>(&error);
        const int reason = failed ? failed->code().value() : 0;
        return reason == EPERM || reason == ENOSYS ? exitSkipped : 1;
    }
}

int torture(const Options& options) {
    std::cout << "seed " << options.seed << std::endl;
    for (std::size_t i = 0; i < workers; ++i) {
        if (::fork() == 0) {
            ::_exit(work(options, i));
        }
    }
    int code = 0;
    for (int status = 0; ::wait(&status) > 0;) {
        code = std::max(code, WIFEXITED(status) ? WEXITSTATUS(status) : 1);
    }
    std::cout << (code == 0             ? "nothing wrong"
                  : code == exitSkipped ? "skipped"
                                        : "WRONG")
              << std::endl;
    return code;
}

Options parse(int argc, char** argv) {
    Options options;
    for (int i = 1; i < argc; ++i) {
        const std::string word = argv[i];
        const auto number = [&] { return i + 1 < argc ? std::stoul(argv[++i]) : 0; };
        if (word == "--seed") {
            options.seed = static_cast<unsigned>(number());
        } else if (word == "--seconds") {
            options.seconds = number();
        } else if (word == "--wholly") {
            options.isWholly = true;
        } else {
            options.wanted.push_back(word);
        }
    }
    return options;
}

}  // namespace
}  // namespace torture

int main(int argc, char** argv) {
    // In memory, where a flush costs nothing.
    ::setenv("TMPDIR", "/dev/shm", 0);
    return torture::torture(torture::parse(argc, argv));
}

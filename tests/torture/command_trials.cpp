/// Runs the command again and again on a sample of nodes. Each time one of its file-system calls
/// fails, or it is killed before one, and then everything must be as it was or as it was to become.

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <iterator>
#include <map>
#include <random>
#include <sstream>
#include <system_error>

#include "broken_calls.h"
#include "cases.h"
#include "support/temp_directory.h"
#include "trial.h"

namespace torture {
namespace {

namespace fs = std::filesystem;
using Kind = Fault::Kind;

constexpr std::size_t workers = 2;

using Job = std::pair<const Case*, Fault>;

std::string describe(const Fault& fault, const TracedRun& run) {
    const char* const kinds[] = {"undisturbed", "once", "from then on", "by halves",
                                 "killed before"};
    const FileCall call = fault.kind == Kind::nothing ? FileCall() : run.calls.at(fault.call);
    return fmt::format("{}, call {}, {} of {}: {}, code {}: {:.1000}",
                       kinds[static_cast<int>(fault.kind)], fault.call + 1, call.name, call.path,
                       ::strerrorname_np(fault.error), run.code, run.err);
}

/// One process of several, each with its own tree and its part of the faults.
class Worker {
public:
    Worker(Run& run, bool areKills, std::size_t number)
        : m_run(run), m_areKills(areKills), m_number(number) {
        fs::create_directories(m_root);
        makeSample(m_root);
        fs::rename(m_root, m_template);
        copyTree(m_template, m_root);
        m_before = survey(m_root);
    }

    void run() {
        std::vector<Job> jobs = plan();
        std::shuffle(jobs.begin(), jobs.end(), std::mt19937(m_run.options.seed));
        for (std::size_t i = m_number; i < jobs.size() && !m_run.isOver(); i += workers) {
            run(*jobs[i].first, jobs[i].second);
            ++m_run.report["runs"];
        }
        m_run.report["planned"] = static_cast<long>(jobs.size());
    }

private:
    std::vector<Job> plan() {
        std::vector<std::string> wanted = m_run.options.words;
        std::erase_if(wanted, [](auto& word) { return word == "kills" || word == "faults"; });
        std::vector<Job> jobs;
        unsigned turn = m_run.options.seed;
        for (const Case& each : cases()) {
            const auto begins = [&](auto& word) { return each.command.starts_with(word); };
            if (!wanted.empty() && std::ranges::none_of(wanted, begins)) {
                continue;
            }
            m_undisturbed[&each] = run(each, {});
            const std::vector<FileCall>& calls = m_undisturbed[&each].run.calls;
            for (std::size_t i = 0; i < calls.size(); ++i) {
                std::vector<Fault> faults;
                if (!m_areKills) {
                    faults = faultsOf(calls[i], i);
                } else if (i > 0 && (m_run.options.isWhole || calls[i - 1].is(changes))) {
                    // Between two changes it hardly matters when.
                    faults.push_back({Kind::kill, i, 0});
                }
                ++turn;
                for (std::size_t k = 0; k < faults.size(); ++k) {
                    if (m_run.options.isWhole || k == turn % faults.size()) {
                        jobs.emplace_back(&each, faults[k]);
                    }
                }
            }
        }
        return jobs;
    }

    static std::vector<Fault> faultsOf(const FileCall& call, std::size_t index) {
        std::vector<Fault> faults;
        for (const int error : call.errors()) {
            faults.push_back({Kind::once, index, error});
            // A call that is interrupted for ever is tried again for ever.
            if (error != EINTR) {
                faults.push_back({Kind::lasting, index, error});
            }
        }
        if (call.is(sized)) {
            faults.push_back({Kind::halves, index, 0});
        }
        return faults;
    }

    Outcome run(const Case& each, const Fault& fault) {
        copyTree(m_template, m_root);
        std::istringstream words(each.command);
        const std::vector<std::string> arguments{std::istream_iterator<std::string>(words), {}};
        Outcome now{runTraced(arguments, m_root, fault), {}};
        if (fault.kind != Kind::nothing && !now.run.isHit) {
            ++m_run.report["not as far as their fault"];
            return now;
        }
        now.after = survey(m_root);
        const Outcome& undisturbed = fault.kind == Kind::nothing ? now : m_undisturbed.at(&each);
        for (const std::string& what : judge(each, m_before, undisturbed, now, fault)) {
            m_run.report.blame("{}: {} ({})", each.command, what, describe(fault, now.run));
        }
        return now;
    }

    Run& m_run;
    const bool m_areKills;
    const std::size_t m_number;
    const support::TempDirectory m_directory;
    const std::string m_root = m_directory / "tree";
    const std::string m_template = m_directory / "template";
    Survey m_before;
    std::map<const Case*, Outcome> m_undisturbed;
};

void work(Run& run, bool areKills) {
    ::setenv("VESTA2_BROKEN", brokenCalls.c_str(), 1);
    inProcesses(workers, [&](std::size_t number) {
        try {
            Worker(run, areKills, number).run();
        } catch (const std::system_error& error) {
            if (error.code().value() == EPERM || error.code().value() == ENOSYS) {
                throw Unavailable(error.what());
            }
            throw;
        }
    });
}

}  // namespace

void runCommandKilled(Run& run) { work(run, true); }
void runCommandWithFaults(Run& run) { work(run, false); }

}  // namespace torture

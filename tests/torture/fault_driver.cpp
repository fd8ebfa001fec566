/// Runs the command again and again on a sample of nodes. Each time one of its file-system calls
/// fails, or it is killed before one, and then everything must be as it was or as it was to become.

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <list>
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
    std::vector<std::string> wanted;  ///< beginnings of the names of cases; all when empty
    bool isWholly = false;            ///< every error, not one a call
    long seconds = 0;                 ///< at most; 0 is no limit
    unsigned seed = std::random_device()();
    Clock::time_point begin = Clock::now();

    [[nodiscard]] bool isOver() const {
        return seconds > 0 && Clock::now() > begin + std::chrono::seconds(seconds);
    }
};

struct Job {
    const Case* what;
    Fault fault;
    const TracedRun* undisturbed;
};

std::string describe(const Fault& fault, const TracedRun& run) {
    const char* const kinds[] = {"undisturbed", "once", "from then on", "killed before"};
    std::ostringstream line;
    line << kinds[static_cast<int>(fault.kind)];
    if (fault.kind != Kind::nothing) {
        const FileCall& call = run.calls.at(fault.call);
        line << ", call " << fault.call + 1 << ", " << call.name << " of " << call.path << ": "
             << (fault.error != 0 ? ::strerrorname_np(fault.error) : "");
    }
    line << ", code " << run.code << ": " << run.err.substr(0, 1000);
    return line.str();
}

/// With the times of everything: what was changed just now is looked at with other eyes.
void copyTree(const fs::path& from, const fs::path& to) {
    fs::remove_all(to);
    fs::copy(from, to, fs::copy_options::recursive);
    for (const auto& entry : fs::recursive_directory_iterator(from)) {
        fs::last_write_time(to / entry.path().lexically_relative(from), entry.last_write_time());
    }
    fs::last_write_time(to, fs::last_write_time(from));
}

/// One process of several, each with its own tree and its part of the faults.
class Worker {
public:
    Worker(const Options& options, int number)
        : m_options(options), m_number(static_cast<std::size_t>(number)) {
        fs::create_directories(m_root);
        makeSample(m_root);
        fs::rename(m_root, m_template);
    }

    /// Whether nothing was wrong.
    bool run() {
        std::vector<Job> jobs = plan();
        std::shuffle(jobs.begin(), jobs.end(), std::mt19937(m_options.seed));
        std::size_t done = 0;
        for (std::size_t i = m_number; i < jobs.size() && !m_options.isOver(); i += workers) {
            run(*jobs[i].what, jobs[i].fault, jobs[i].undisturbed);
            ++done;
        }
        std::ostringstream report;
        report << "worker " << m_number << ": " << done << " of " << jobs.size()
               << " runs, of which " << m_missed << " did not come as far as their fault\n";
        for (const auto& [what, count] : m_wrong) {
            report << count << "x " << what << "\n";
        }
        std::cout << report.str() << std::flush;
        return m_wrong.empty() && done > 0;
    }

private:
    [[nodiscard]] bool isWanted(const Case& each) const {
        const auto begins = [&](auto& name) { return each.name.rfind(name, 0) == 0; };
        return m_options.wanted.empty() || std::ranges::any_of(m_options.wanted, begins);
    }

    std::vector<Job> plan() {
        std::vector<Job> jobs;
        unsigned turn = m_options.seed;
        std::ostringstream counts;
        for (const Case& each : cases()) {
            if (!isWanted(each)) {
                continue;
            }
            const TracedRun& run = m_undisturbed.emplace_back(this->run(each, {}, nullptr));
            counts << " " << each.name << " " << run.calls.size();
            for (std::size_t i = 0; i < run.calls.size(); ++i, ++turn) {
                // Between two changes it does not matter when.
                if (i > 0 && run.calls[i - 1].is(changes)) {
                    jobs.push_back({&each, {Kind::kill, i, 0}, &run});
                }
                const std::vector<int> errors = run.calls[i].errors();
                for (std::size_t e = 0; e < errors.size(); ++e) {
                    const bool isChosen = m_options.isWholly || e == turn / 2 % errors.size();
                    const bool isInterrupted = errors[e] == EINTR;
                    if (isChosen && (m_options.isWholly || turn % 2 == 0 || isInterrupted)) {
                        jobs.push_back({&each, {Kind::once, i, errors[e]}, &run});
                    }
                    // A call that is interrupted for ever is tried again for ever.
                    if (isChosen && (m_options.isWholly || turn % 2 == 1) && !isInterrupted) {
                        jobs.push_back({&each, {Kind::lasting, i, errors[e]}, &run});
                    }
                }
            }
        }
        std::cout << (m_number == 0 ? "calls:" + counts.str() + "\n" : "") << std::flush;
        return jobs;
    }

    TracedRun run(const Case& each, const Fault& fault, const TracedRun* undisturbed) {
        copyTree(m_template, m_root);
        if (const Words moved = each.about("moved"); !moved.empty()) {
            fs::rename(m_root + "/" + moved[0], m_root + "/" + moved[1]);
        }
        const Survey before = survey(m_root);
        TracedRun run = runTraced(each.arguments, m_root, fault);
        if (fault.kind != Kind::nothing && !run.isHit) {
            ++m_missed;
            return run;
        }
        const Survey after = survey(m_root);
        const Scene scene{m_root, before, after, run, undisturbed ? *undisturbed : run};
        for (const std::string& what : judge(each, scene, fault)) {
            std::cout << each.name + ": " + what + " (" + describe(fault, run) + ")\n"
                      << std::flush;
            ++m_wrong[each.name + ": " + what];
        }
        return run;
    }

    const Options& m_options;
    const std::size_t m_number;
    const support::TempDirectory m_directory;
    const std::string m_root = m_directory / "tree";
    const std::string m_template = m_directory / "template";
    std::list<TracedRun> m_undisturbed;
    std::size_t m_missed = 0;
    std::map<std::string, int> m_wrong;
};

int work(const Options& options, int number) {
    try {
        return Worker(options, number).run() ? 0 : 1;
    } catch (const std::system_error& error) {
        std::cerr << error.what() << std::endl;
        return error.code().value() == EPERM || error.code().value() == ENOSYS ? exitSkipped : 1;
    } catch (const std::exception& error) {
        std::cerr << error.what() << std::endl;
        return 1;
    }
}

int torture(const Options& options) {
    std::cout << "seed " << options.seed << std::endl;
    for (int i = 0; i < workers; ++i) {
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
            options.seconds = static_cast<long>(number());
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
    // A sanitizer that looks for leaks cannot do so in a process that is traced.
    const char* given = ::getenv("ASAN_OPTIONS");
    ::setenv("ASAN_OPTIONS", (std::string(given ? given : "") + ":detect_leaks=0").c_str(), 1);
    return torture::torture(torture::parse(argc, argv));
}

/// Runs the command again and again on a sample of nodes. Each time one of its file-system calls
/// fails, or it is killed before one, and then everything must be as it was or as it was to become.

#include <fcntl.h>
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

#include "judge.h"
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
    int seconds = 0;                  ///< at most; 0 is no limit
    unsigned seed = std::random_device()();
};

struct Job {
    const Case* what;
    Fault fault;
    const TracedRun* undisturbed;
};

std::string describe(const Fault& fault, const TracedRun& run) {
    const char* const kinds[] = {"", "once", "from then on", "killed before"};
    const FileCall& call = run.calls.at(fault.call);
    std::ostringstream line;
    line << "call " << fault.call + 1 << ", " << call.name << " of " << call.path << ": "
         << (fault.error != 0 ? ::strerrorname_np(fault.error) : "") << " "
         << kinds[static_cast<int>(fault.kind)];
    return line.str();
}

/// With the times of everything: what was changed just now is looked at with other eyes.
void copyTree(const std::string& from, const std::string& to) {
    fs::remove_all(to);
    fs::copy(from, to, fs::copy_options::recursive);
    std::vector<fs::path> entries;
    for (const auto& entry : fs::recursive_directory_iterator(from)) {
        entries.push_back(entry.path().lexically_relative(from));
    }
    entries.emplace_back(".");
    for (const fs::path& entry : entries) {
        fs::last_write_time(to / entry, fs::last_write_time(from / entry));
    }
}

/// One process of several, each with its own tree.
class Worker {
public:
    Worker(const Options& options, std::string directory, int report)
        : m_options(options),
          m_root(directory + "/tree"),
          m_template(directory + "/template"),
          m_report(report) {
        fs::create_directories(m_root);
        makeSample(m_root);
        fs::rename(m_root, m_template);
    }

    void run(int number, Clock::time_point end) {
        std::vector<Job> jobs = plan();
        std::shuffle(jobs.begin(), jobs.end(), std::mt19937(m_options.seed));
        std::size_t done = 0;
        for (std::size_t i = number; i < jobs.size(); i += workers) {
            if (m_options.seconds > 0 && Clock::now() > end) {
                break;
            }
            work(jobs[i]);
            ++done;
        }
        tell("done", std::to_string(done), std::to_string(jobs.size()));
    }

private:
    std::vector<Job> plan() {
        std::vector<Job> jobs;
        unsigned turn = m_options.seed;
        for (const Case& each : cases()) {
            const auto isMeant = [&](const std::string& name) {
                return each.name.rfind(name, 0) == 0;
            };
            if (!m_options.wanted.empty() &&
                std::none_of(m_options.wanted.begin(), m_options.wanted.end(), isMeant)) {
                continue;
            }
            prepare(each);
            const Survey before = survey(m_root);
            const TracedRun& run =
                m_undisturbed.emplace_back(runTraced(each.arguments, m_root, {}));
            const Scene scene{m_root, before, survey(m_root), run, run};
            for (const std::string& what : judge(each, scene, {})) {
                tell(each.name, what, "undisturbed: " + run.err);
            }
            tell("calls", each.name, std::to_string(run.calls.size()));
            for (std::size_t i = 0; i < run.calls.size(); ++i) {
                const std::vector<int>& errors = run.calls[i].errors;
                // Between two changes it does not matter when.
                if (i > 0 && run.calls[i - 1].isChange) {
                    jobs.push_back({&each, {Kind::kill, i, 0}, &run});
                }
                for (std::size_t e = 0; e < errors.size(); ++e) {
                    const Fault once{Kind::once, i, errors[e]};
                    const Fault lasting{Kind::lasting, i, errors[e]};
                    const bool isChosen = e == turn / 2 % errors.size();
                    if (m_options.isWholly || (isChosen && (turn % 2 == 0 || errors[e] == EINTR))) {
                        jobs.push_back({&each, once, &run});
                    }
                    // A call that is interrupted for ever is tried again for ever.
                    if ((m_options.isWholly || (isChosen && turn % 2 == 1)) && errors[e] != EINTR) {
                        jobs.push_back({&each, lasting, &run});
                    }
                }
                ++turn;
            }
        }
        return jobs;
    }

    void prepare(const Case& each) {
        copyTree(m_template, m_root);
        if (each.prepare) {
            each.prepare(m_root);
        }
    }

    void work(const Job& job) {
        prepare(*job.what);
        const Survey before = survey(m_root);
        const TracedRun run = runTraced(job.what->arguments, m_root, job.fault);
        if (!run.isHit) {
            tell("missed", job.what->name, "");
            return;
        }
        const Survey after = survey(m_root);
        const Scene scene{m_root, before, after, run, *job.undisturbed};
        for (const std::string& what : judge(*job.what, scene, job.fault)) {
            tell(job.what->name, what,
                 describe(job.fault, run) + ", code " + std::to_string(run.code));
        }
    }

    /// In one call, so that the lines of several workers do not mix.
    void tell(const std::string& what, const std::string& detail, std::string more) const {
        std::replace(more.begin(), more.end(), '\n', ' ');
        const std::string line = what + "\t" + detail + "\t" + more.substr(0, 1000) + "\n";
        [[maybe_unused]] const ssize_t written = ::write(m_report, line.data(), line.size());
    }

    const Options& m_options;
    std::string m_root;
    std::string m_template;
    int m_report;
    std::list<TracedRun> m_undisturbed;
};

/// What the workers tell.
class Report {
public:
    void take(const std::string& line) {
        std::istringstream fields(line);
        std::string what;
        std::string detail;
        std::string more;
        std::getline(std::getline(std::getline(fields, what, '\t'), detail, '\t'), more);
        if (what == "done") {
            m_done += std::stoul(detail);
            m_planned = std::stoul(more);
            ++m_finished;
        } else if (what == "missed") {
            ++m_missed;
        } else if (what == "calls") {
            m_calls[detail] = more;
        } else {
            std::cout << what << ": " << detail << " (" << more << ")" << std::endl;
            ++m_wrong[what + ": " + detail];
        }
    }

    int finish() const {
        std::cout << "\ncalls:";
        for (const auto& [name, count] : m_calls) {
            std::cout << " " << name << " " << count;
        }
        std::cout << "\n"
                  << m_done << " of " << m_planned << " runs, of which " << m_missed
                  << " did not come as far as their fault\n";
        for (const auto& [what, count] : m_wrong) {
            std::cout << count << "x " << what << "\n";
        }
        std::cout << (m_wrong.empty() ? "nothing wrong" : "WRONG") << std::endl;
        return m_wrong.empty() && m_finished == workers && m_done > 0 ? 0 : 1;
    }

private:
    std::size_t m_done = 0;
    std::size_t m_planned = 0;
    std::size_t m_missed = 0;
    int m_finished = 0;
    std::map<std::string, std::string> m_calls;
    std::map<std::string, int> m_wrong;
};

int work(const Options& options, const std::string& directory, int report, int number,
         Clock::time_point end) {
    try {
        Worker(options, directory, report).run(number, end);
        return 0;
    } catch (const std::system_error& error) {
        std::cerr << error.what() << std::endl;
        return error.code().value() == EPERM || error.code().value() == ENOSYS ? exitSkipped : 1;
    } catch (const std::exception& error) {
        std::cerr << error.what() << std::endl;
        return 1;
    }
}

int torture(const Options& options) {
    const support::TempDirectory directory;
    std::cout << "seed " << options.seed << std::endl;
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) != 0) {
        return 1;
    }
    const Clock::time_point end = Clock::now() + std::chrono::seconds(options.seconds);
    for (int i = 0; i < workers; ++i) {
        if (::fork() == 0) {
            ::close(ends[0]);
            ::_exit(work(options, directory / std::to_string(i), ends[1], i, end));
        }
    }
    ::close(ends[1]);
    Report report;
    FILE* lines = ::fdopen(ends[0], "r");
    char* line = nullptr;
    std::size_t size = 0;
    while (::getline(&line, &size, lines) > 0) {
        report.take(line);
    }
    bool isSkipped = false;
    for (int i = 0, status = 0; i<workers&& ::wait(&status)> 0; ++i) {
        isSkipped = isSkipped || (WIFEXITED(status) && WEXITSTATUS(status) == exitSkipped);
    }
    return isSkipped ? exitSkipped : report.finish();
}

Options parse(int argc, char** argv) {
    Options options;
    for (int i = 1; i < argc; ++i) {
        const std::string word = argv[i];
        const auto number = [&] { return i + 1 < argc ? std::stoul(argv[++i]) : 0; };
        if (word == "--seed") {
            options.seed = static_cast<unsigned>(number());
        } else if (word == "--seconds") {
            options.seconds = static_cast<int>(number());
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

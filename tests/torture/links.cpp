/// Processes copy, move, rename and list nodes that a project has links to, all at once. Calls fail
/// now and then, and they are killed. Every node that was added stays whole, and a listing of the
/// project shows it, or `check` tells of it and its remedy helps.

#include <unistd.h>

#include "nodes.h"

namespace torture {
namespace {

constexpr std::size_t workers = 4;
constexpr std::size_t nodesEach = 3;

using Found = std::multimap<std::string, std::string>;

std::string pathOf(std::size_t worker, std::size_t node) {
    return fs::absolute(fmt::format("far/x{}-{}", worker, node));
}

std::string contentOf(const std::string& identity) { return std::string(3000, identity.back()); }

/// The nodes in "far", but for copies: by their identities, where they are.
Found findNodes() {
    Found found;
    for (const auto& entry : fs::directory_iterator("far")) {
        const std::string path = entry.path();
        std::error_code isGone;
        for (const auto& file : fs::directory_iterator(path, isGone)) {
            if (file.path().extension() == ".zentor" && !path.starts_with("far/copy")) {
                found.emplace(identityIn(file.path()), path);
            }
        }
    }
    return found;
}

/// The identities of the project's members.
std::set<std::string> list() {
    std::set<std::string> members;
    for (auto all = INodeGroup::open("p")->getNodes("*", 0); !all.at_end(); all.next()) {
        const Result result = IResultDirectory::cast(all.current());
        members.insert(result ? result->getApplicationLog() : "");
    }
    return members;
}

class Worker {
public:
    Worker(Run& run, std::size_t number) : m_run(run), m_number(number) {
        m_run.chance.seed(m_run.options.seed + static_cast<unsigned>(number + ::getpid()));
        beforeCall = [this](const char* call) {
            if (below(3000) == 0) {
                ::_exit(0);
            }
            if (below(20) == 0) {
                ::usleep(below(300));
            }
            return below(300) == 0 && std::string_view(call) != "close" ? EIO : 0;
        };
    }

    void work(Clock::time_point until) {
        while (Clock::now() < until) {
            const Found nodes = findNodes();
            const auto node = nodes.find(pathOf(m_number, below(nodesEach)));
            try {
                node != nodes.end() ? act(node->second) : void();
            } catch (const std::exception&) {
                ++m_run.report["exceptions"];
            }
            ++m_run.report["operations"];
        }
        beforeCall = nullptr;
    }

private:
    unsigned below(std::size_t limit) { return m_run.below(limit); }
    std::string newName(const char* what) {
        return fmt::format("{}{}_{}", what, m_number, below(1U << 30U));
    }

    void act(const std::string& path) {
        const Result result = open(path);
        const unsigned choice = below(6);
        if (choice == 0) {
            m_run.report["listed"] += static_cast<long>(list().size());
        } else if (choice == 1) {
            result->move(newName("far/moved").c_str(), below(2) == 0, nullptr);
        } else if (choice == 2) {
            result->changeUserVisibleName(newName("named").c_str());
        } else if (choice == 3) {
            const std::string copy = newName("far/copy");
            result->copy(copy.c_str(), below(2) == 0, nullptr) && open(copy)->remove();
        } else if (choice == 4) {
            result->setCollectionTimeBegin(below(1000));
            result->save();
        } else {
            INodeGroup::open("p")->addNode(path.c_str());
        }
    }

    Run& m_run;
    const std::size_t m_number;
};

/// A move that was killed leaves two of a node; one stays.
void expectAll(Run& run) {
    const Found nodes = findNodes();
    std::string findings;
    for (const char* place : {"p", "far"}) {
        findings += support::Command({"--json", "check", place}, {"."}).finish().out;
    }
    const std::set<std::string> members = list();
    std::set<std::string> kept;
    for (std::size_t i = 0; i < workers * nodesEach; ++i) {
        const std::string identity = pathOf(i / nodesEach, i % nodesEach);
        std::string whole;
        bool isTold = false;
        for (auto [node, end] = nodes.equal_range(identity); node != end; ++node) {
            if (support::readFile(node->second + "/data.0/payload") == contentOf(identity)) {
                whole = node->second;
            }
            isTold = isTold || findings.find("/" + node->second + "/") != findings.npos ||
                     findings.find("/" + node->second + "\"") != findings.npos;
        }
        kept.insert(whole);
        if (whole.empty()) {
            run.report.blame("lost: {}", identity);
        } else if (members.count(identity) == 0) {
            ++run.report["told by check"];
            isTold ? void() : run.report.blame("neither listed nor told: {}", whole);
        }
    }
    for (const auto& entry : fs::directory_iterator("far")) {
        kept.count(entry.path()) == 0 ? fs::remove_all(entry) : 0;
    }
    for (const std::string& path : kept) {
        if (!path.empty() && !INodeGroup::open("p")->addNode(path.c_str())) {
            run.report.blame("cannot be added again: {}", path);
        }
    }
}

}  // namespace

void moveLinkedNodes(Run& run) {
    const Workplace place;
    IProject::create("p", nullptr, false);
    for (std::size_t i = 0; i < workers * nodesEach; ++i) {
        const std::string path = pathOf(i / nodesEach, i % nodesEach);
        make(path, contentOf(path));
        INodeGroup::open("p")->addNode(path.c_str());
    }
    const long goal = run.options.isWhole ? 50'000 : 2'000;
    while (run.report["operations"] < goal && !run.isOver()) {
        const auto until = Clock::now() + std::chrono::milliseconds(500);
        crowd(run, workers, until, 4000, [&](std::size_t number) {
            return support::ChildProcess(
                [&, number] { return Worker(run, number).work(until), 0; });
        });
        support::runInChild([&] { return expectAll(run), 0; });
    }
}

}  // namespace torture

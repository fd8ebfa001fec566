/// Processes copy, move, rename and list nodes that a project has links to, all at once. Calls fail
/// now and then, and they are killed. Every node that was added stays whole, and a listing of the
/// project shows it, or `check` tells of it and its remedy helps.

#include <unistd.h>

#include <filesystem>
#include <map>
#include <nlohmann/json.hpp>

#include "basekit2/bag_io.h"
#include "broken_calls.h"
#include "support/child_process.h"
#include "support/command.h"
#include "support/temp_directory.h"
#include "trial.h"
#include "vesta2/vesta2.h"

namespace torture {
namespace {

namespace fs = std::filesystem;
using namespace vesta2;
using Results = ResultDirectoryManager;
using Result = basekit2::sptr_t<IResultDirectory>;

constexpr int workers = 4;
constexpr int nodesEach = 3;

std::string payloadOf(const std::string& identity) { return std::string(3000, identity.back()); }

std::string identityOf(const Result& result) {
    return result ? fs::path(result->getApplicationLog()).filename().native() : "";
}

/// The nodes in "far" by their identities: their directories, copies last.
std::multimap<std::string, std::string> findNodes() {
    std::multimap<std::string, std::string> found;
    for (const bool areCopies : {false, true}) {
        for (const auto& entry : fs::directory_iterator("far")) {
            const std::string path = entry.path();
            if (areCopies != (path.find("copy") != std::string::npos)) {
                continue;
            }
            std::error_code isGone;
            for (const auto& file : fs::directory_iterator(path, isGone)) {
                basekit2::variant_bag_t bag;
                if (file.path().extension() == ".zentor" &&
                    basekit2::load_variant_bag(bag, file.path(), "") == basekit2::bag_ok) {
                    const auto log = bag.put_bag("vesta").get_variant("applicationLog", "");
                    found.emplace(*log.as_string(), path);
                }
            }
        }
    }
    return found;
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
            const auto nodes = findNodes();
            const std::string identity =
                std::to_string(m_number) + "-" + std::to_string(below(nodesEach));
            const auto node = nodes.find(identity);
            if (node != nodes.end()) {
                try {
                    act(node->second);
                } catch (const std::exception&) {
                    ++m_run.report["exceptions"];
                }
                ++m_run.report["operations"];
            }
        }
        beforeCall = nullptr;
    }

private:
    unsigned below(std::size_t limit) { return m_run.below(limit); }
    std::string newName(const char* what) {
        return what + std::to_string(m_number) + "_" + std::to_string(below(1U << 30U));
    }

    void act(const std::string& path) {
        const Result result = Results::open(path.c_str(), true, nullptr);
        if (!result) {
            return;
        }
        switch (below(6)) {
        case 0:
            for (auto all = INodeGroup::open("p")->getNodes("*", 0); !all.at_end(); all.next()) {
                m_run.report["listed"] += all.current() ? 1 : 0;
            }
            break;
        case 1:
            result->move(("far/" + newName("moved")).c_str(), below(2) == 0, nullptr);
            break;
        case 2:
            result->changeUserVisibleName(newName("named").c_str());
            break;
        case 3: {
            const std::string copy = "far/" + newName("copy");
            if (result->copy(copy.c_str(), below(2) == 0, nullptr)) {
                if (const Result made = Results::open(copy.c_str(), true, nullptr)) {
                    made->remove();
                }
            }
            break;
        }
        case 4:
            result->setCollectionTimeBegin(below(1000));
            result->save();
            break;
        default:
            INodeGroup::open("p")->addNode(path.c_str());
        }
    }

    Run& m_run;
    const std::size_t m_number;
};

class Round {
public:
    explicit Round(Run& run) : m_run(run) {
        IProject::create("p", nullptr, false);
        for (int i = 0; i < workers * nodesEach; ++i) {
            const std::string identity =
                std::to_string(i / nodesEach) + "-" + std::to_string(i % nodesEach);
            const std::string path = "far/x" + identity;
            const Result result = Results::create(path.c_str(), false, nullptr, true, nullptr);
            result->setApplicationLog(identity.c_str());
            result->save();
            support::writeFile(path + "/data.0/payload", payloadOf(identity));
            INodeGroup::open("p")->addNode(path.c_str());
            m_identities.push_back(identity);
        }
    }

    void disturb() {
        const auto until = Clock::now() + std::chrono::milliseconds(500);
        std::vector<support::ChildProcess> children;
        const auto start = [&](std::size_t number) {
            return support::ChildProcess([&, number] {
                Worker(m_run, number).work(until);
                return 0;
            });
        };
        for (std::size_t i = 0; i < workers; ++i) {
            children.push_back(start(i));
        }
        while (Clock::now() < until) {
            ::usleep(2000);
            for (std::size_t i = 0; i < workers; ++i) {
                if (!children[i].isRunning()) {
                    expectEnd(children[i]);
                    ++m_run.report["kills"];
                    children[i] = start(i);
                }
            }
        }
        for (support::ChildProcess& child : children) {
            expectEnd(child);
        }
    }

    void expectAll() {
        const auto nodes = findNodes();
        const std::string findings =
            support::Command({"--json", "check", "p"}, {"."}).finish().out +
            support::Command({"--json", "check", "far"}, {"."}).finish().out;
        const std::map<std::string, std::string> members = list();
        for (const std::string& identity : m_identities) {
            const auto [begin, end] = nodes.equal_range(identity);
            std::vector<std::string> whole;
            bool isTold = false;
            for (auto node = begin; node != end; ++node) {
                if (support::readFile(node->second + "/data.0/payload") == payloadOf(identity)) {
                    whole.push_back(node->second);
                }
                isTold = isTold || findings.find("/" + node->second + "/") != findings.npos ||
                         findings.find("/" + node->second + "\"") != findings.npos;
            }
            if (whole.empty()) {
                m_run.report.blame("lost: " + identity);
            } else if (members.count(identity) == 0) {
                ++m_run.report["told by check"];
                if (!isTold) {
                    m_run.report.blame("neither listed nor told: " + begin->second);
                }
            }
            keepOne(whole, begin, end);
        }
    }

private:
    void expectEnd(support::ChildProcess& child) {
        if (const int code = child.wait(std::chrono::seconds(60)); code != 0) {
            m_run.report.blame("a process ends with " + std::to_string(code));
        }
    }

    static std::map<std::string, std::string> list() {
        std::map<std::string, std::string> members;
        for (auto all = INodeGroup::open("p")->getNodes("*", 0); !all.at_end(); all.next()) {
            if (const Result result = IResultDirectory::cast(all.current())) {
                members[identityOf(result)] = result->getPath();
            }
        }
        return members;
    }

    using Found = std::multimap<std::string, std::string>::const_iterator;

    /// What a process was killed in leaves two of a node, and a copy may lack what failed.
    void keepOne(const std::vector<std::string>& whole, Found begin, Found end) {
        for (auto node = begin; node != end; ++node) {
            if (whole.empty() || node->second != whole.front()) {
                fs::remove_all(node->second);
            }
        }
        if (!whole.empty() && !INodeGroup::open("p")->addNode(whole.front().c_str())) {
            m_run.report.blame("cannot be added again: " + whole.front() + ": " +
                               std::to_string(Results::getLastError()));
        }
    }

    Run& m_run;
    std::vector<std::string> m_identities;
};

}  // namespace

void moveLinkedNodes(Run& run) {
    const support::TempDirectory directory;
    fs::current_path(directory.path().native());
    const long goal = run.options.isWhole ? 200'000 : 2'000;
    for (Round round(run); run.report["operations"] < goal && !run.isOver();) {
        round.disturb();
        support::runInChild([&] { return round.expectAll(), 0; });
    }
    fs::current_path("/");
}

}  // namespace torture

/// A directory changes places with a symbolic link again and again while operations are at work in
/// it: nothing behind the link is changed, counted or copied, and nothing is lost. A node is opened
/// before, since a path may lead through links when it is opened.

#include <fcntl.h>
#include <sys/inotify.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <filesystem>
#include <map>

#include "basekit2/bag_io.h"
#include "basekit2/descriptor.h"
#include "broken_calls.h"
#include "support/child_process.h"
#include "support/command.h"
#include "support/temp_directory.h"
#include "trial.h"
#include "vesta2/tree_size.h"
#include "vesta2/vesta2.h"

namespace torture {
namespace {

namespace fs = std::filesystem;
using namespace vesta2;
using Result = basekit2::sptr_t<IResultDirectory>;

constexpr int countedOutside = 2;
constexpr std::size_t outsideSize = 100'000;  ///< more than all that is inside

struct Scene {
    const std::string root;
    std::string at(const std::string& path) const { return root + "/" + path; }
    Result result = {};
    basekit2::sptr_t<INodeGroup> group = {};
};

struct Operation {
    const char* name;
    /// What is deleted may be: then nothing need be left inside.
    bool deletes;
    std::function<bool(Scene&)> run;
};

bool isDone() { return ResultDirectoryManager::getLastError() == eOK; }

const std::vector<Operation>& operations() {
    static const std::vector<Operation> all{
        {"saves", false,
         [](Scene& scene) {
             scene.result->setCollectorCommand("changed");
             return scene.result->save(), isDone();
         }},
        {"marks", false, [](Scene& scene) { return scene.result->setFinalized(true) && isDone(); }},
        {"copies", false,
         [](Scene& scene) {
             return scene.result->copy(scene.at("made").c_str(), true, nullptr) && isDone();
         }},
        {"moves", false,
         [](Scene& scene) { return scene.result->move(scene.at("made").c_str(), true, nullptr); }},
        {"duplicates", false,
         [](Scene& scene) {
             return static_cast<bool>(scene.result->duplicate(scene.at("made").c_str()));
         }},
        {"exports", false,
         [](Scene& scene) {
             return scene.result->exportTo(scene.at("made").c_str(), "") && isDone();
         }},
        {"sizes", false,
         [](Scene& scene) {
             const std::uint64_t size = scene.result->getSize();
             return size < outsideSize || (::_exit(countedOutside), false);
         }},
        {"invalidations", false, [](Scene& scene) { return scene.result->setInvalid(), isDone(); }},
        {"removals", true, [](Scene& scene) { return scene.result->remove(); }},
        {"removed groups", true, [](Scene& scene) { return scene.group->getNode()->remove(); }},
        {"purges", true, [](Scene& scene) { return scene.group->purge("r*", 0), isDone(); }},
        {"repairs", false,
         [](Scene& scene) {
             ::dup2(::open("/dev/null", O_WRONLY | O_CLOEXEC), STDOUT_FILENO);
             ::setenv("VESTA2_BROKEN", ("ahead " + brokenCalls).c_str(), 1);
             return ::execl(VESTA2_BROKEN_COMMAND, "vesta2", "check", scene.at("in/p").c_str(),
                            "--repair", "-q", nullptr) == 0;
         }},
    };
    return all;
}

/// All files below `root`: what they hold.
std::map<std::string, std::string> filesIn(const std::string& root) {
    std::map<std::string, std::string> files;
    for (const std::string& path : support::pathsBelow(root)) {
        const std::string file = root + "/" + path;
        files[path] = fs::is_symlink(file)        ? fs::read_symlink(file).native()
                      : fs::is_regular_file(file) ? support::readFile(file)
                                                  : "";
    }
    return files;
}

class Exchanges {
public:
    explicit Exchanges(Run& run) : m_run(run) {
        makeTree("in", "inside ", 100);
        makeTree("out", "OUTSIDE ", outsideSize);
        fs::create_directory(at("template"));
        for (const char* tree : {"in", "out"}) {
            fs::rename(at(tree), at("template/") + tree);
        }
    }

    /// `level` is the directory that changes places, as a path below the trees.
    void attempt(const Operation& operation, const std::string& level) {
        for (const char* made : {"in", "out", "made", "parked", "in/p/r000-bad"}) {
            fs::remove_all(at(made));
        }
        support::Command({"-a", "template/in", "template/out", "."}, {at(""), {}, 0, "cp"})
            .finish();
        const auto outside = filesIn(at("out"));
        const std::size_t payloads = payloadsIn({"in"});
        m_inner = at("in/") + level;
        fs::create_symlink(at("out/") + level, m_parked);
        const basekit2::descriptor_t watch(::inotify_init1(IN_NONBLOCK | IN_CLOEXEC));
        for (const auto& [path, content] : outside) {
            const std::string watched = at("out/") + path;
            if (fs::is_directory(watched)) {
                ::inotify_add_watch(watch.get(), watched.c_str(),
                                    IN_OPEN | IN_MODIFY | IN_ATTRIB | IN_CREATE | IN_DELETE |
                                        IN_MOVE);
            }
        }
        const bool isNested = level.find("data.0") != level.npos;
        const int code = run(operation);
        const auto blame = [&](const std::string& what) {
            m_run.report.blame(std::string(operation.name) + ", " + level + ": " + what +
                               ", it ends with " + std::to_string(code));
        };
        if (code < 0 || code > (isNested ? 1 : countedOutside)) {
            blame(code == countedOutside ? "counts what is outside" : "does not end as it should");
        }
        std::array<char, 4096> events{};
        if (isNested && ::read(watch.get(), events.data(), events.size()) > 0) {
            blame("looks outside");
        }
        // Where an invalid node goes is reached by a path, as any new place.
        auto now = filesIn(at("out"));
        std::erase_if(now, [](auto& file) { return file.first.starts_with("p/r000-bad"); });
        if (now != outside) {
            blame("changes what is outside");
        }
        if (fs::exists(at("made"))) {
            for (const auto& [path, content] : filesIn(at("made"))) {
                if (content.find("OUTSIDE") != content.npos) {
                    blame("takes from outside: " + path);
                }
            }
        }
        const std::vector<std::string> trees{"in", "parked", "made", "out/p/r000-bad"};
        if (!operation.deletes && payloadsIn(trees) < payloads) {
            blame("loses something inside");
        }
        ++m_run.report[operation.name];
        m_run.report["refused"] += code == 1 ? 1 : 0;
    }

private:
    [[nodiscard]] std::string at(const std::string& path) const { return m_directory / path; }

    /// Two trees with the same names. Of each node something is to be repaired.
    void makeTree(const std::string& name, const std::string& word, std::size_t size) const {
        support::runInChild([&] {
            const std::string group = at(name) + "/p";
            fs::create_directories(group);
            INodeGroup::open(at(name).c_str());
            const auto project = IProject::create(group.c_str(), nullptr, false);
            for (const std::string node : {"/r000", "/r001"}) {
                const Result result =
                    ResultDirectoryManager::get((group + node).c_str(), nullptr, true);
                result->setCollectorCommand((word + node).c_str());
                result->save();
                result->setFlag("busy");
                for (const std::string inner : {"/data.0/payload", "/data.0/deep/payload"}) {
                    for (int i = 0; i < 3; ++i) {
                        const std::string path = node + (inner + std::to_string(i));
                        std::string text = word + path;
                        text.resize(size, '.');
                        support::writeFile(group + path, text);
                    }
                }
                support::writeFile(group + node + "/" + basekit2::make_bag_temporary(), "");
            }
            ::_exit(0);  // as if it were killed: flags stay
            return 0;
        });
    }

    /// What the files inside held, each once.
    [[nodiscard]] std::size_t payloadsIn(const std::vector<std::string>& trees) const {
        std::set<std::string> found;
        for (const std::string& tree : trees) {
            if (fs::is_directory(at(tree)) && !fs::is_symlink(at(tree))) {
                for (const auto& [path, content] : filesIn(at(tree))) {
                    found.insert(content.starts_with("inside") ? content : "");
                }
            }
        }
        return found.size();
    }

    /// Exchanges begin before some call of the operation, and go on until it has ended.
    int run(const Operation& operation) {
        m_isOn->store(false);
        // A group without a node knows its directory from its first look.
        const bool isPurge = std::string_view(operation.name) == "purges";
        const unsigned start = (isPurge ? 2 : 1) + m_run.below(1U << m_run.below(6));
        support::ChildProcess worker([&] {
            Scene scene{at("")};
            scene.result = ResultDirectoryManager::open(at("in/p/r000").c_str(), true, nullptr);
            scene.group = INodeGroup::open(at("in/p").c_str());
            unsigned calls = 0;
            beforeCall = [&](const char* /*call*/) {
                if (++calls >= start) {
                    m_isOn->store(true);
                    exchange(m_run.below(3) == 0);
                }
                return 0;
            };
            const bool isExec = std::string_view(operation.name) == "repairs";
            m_isOn->store(isExec);
            const bool isDone = operation.run(scene);
            beforeCall = nullptr;
            ::_exit(isDone ? 0 : 1);
            return 0;
        });
        while (worker.isRunning()) {
            for (int i = 0; i < 64; ++i) {
                exchange(*m_isOn);
            }
        }
        exchange(fs::is_symlink(m_inner));
        return worker.wait();
    }

    void exchange(bool isWanted) {
        if (isWanted && ::syscall(SYS_renameat2, AT_FDCWD, m_inner.c_str(), AT_FDCWD,
                                  m_parked.c_str(), RENAME_EXCHANGE) == 0) {
            ++m_run.report["exchanges"];
        }
    }

    Run& m_run;
    const support::TempDirectory m_directory;
    const Shared<std::atomic<bool>> m_isOn;
    std::string m_inner;  ///< what changes places with
    const std::string m_parked = at("parked");
};

}  // namespace

void exchangeDirectories(Run& run) {
    Exchanges exchanges(run);
    const int rounds = run.options.isWhole ? 100 : 4;
    for (int i = 0; i < rounds; ++i) {
        for (const Operation& operation : operations()) {
            for (const char* level : {"p/r000/data.0/deep", "p/r000/data.0", "p/r000", "p"}) {
                const bool isKnown =
                    std::string_view(operation.name) != "repairs" || level[1] == '/';
                if (isKnown && !run.isOver()) {
                    exchanges.attempt(operation, level);
                }
            }
        }
    }
}

}  // namespace torture

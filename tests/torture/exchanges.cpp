/// A directory changes places with a symbolic link again and again while operations are at work in
/// it: nothing behind the link is changed, counted or copied, and nothing is lost. A node is opened
/// before, since a path may lead through links when it is opened.

#include <fcntl.h>
#include <sys/inotify.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "nodes.h"

namespace torture {
namespace {

constexpr int countedOutside = 2;
constexpr std::size_t outsideSize = 100'000;  ///< more than all that is inside

/// What was opened before.
struct Opened {
    Result result = open("in/p/r000");
    basekit2::sptr_t<INodeGroup> group = INodeGroup::open("in/p");
};

struct Operation {
    const char* name;
    /// What is deleted may be: then nothing need be left inside.
    bool deletes;
    bool (*run)(const Opened& in);
};

const Operation operations[] = {
    {"saves", false,
     [](auto& in) {
         in.result->setCollectorCommand("changed");
         return in.result->save(), isDone();
     }},
    {"marks", false, [](auto& in) { return in.result->setFinalized(true); }},
    {"copies", false, [](auto& in) { return bool(in.result->copy("made", true, nullptr)); }},
    {"moves", false, [](auto& in) { return in.result->move("made", true, nullptr); }},
    {"duplicates", false, [](auto& in) { return bool(in.result->duplicate("made")); }},
    {"exports", false, [](auto& in) { return bool(in.result->exportTo("made", "")); }},
    {"sizes", false,
     [](auto& in) {
         return in.result->getSize() < outsideSize || (::_exit(countedOutside), false);
     }},
    {"invalidations", false, [](auto& in) { return in.result->setInvalid(), isDone(); }},
    {"removals", true, [](auto& in) { return in.result->remove(); }},
    {"removed groups", true, [](auto& in) { return in.group->getNode()->remove(); }},
    {"purges", true, [](auto& in) { return in.group->purge("r@@@", 0), isDone(); }},
};

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

/// What the files inside held, each once.
std::size_t payloadsIn(const std::vector<std::string>& trees) {
    std::set<std::string> found;
    for (const std::string& tree : trees) {
        if (fs::is_directory(tree) && !fs::is_symlink(tree)) {
            for (const auto& [path, content] : filesIn(tree)) {
                found.insert(content.starts_with("inside") ? content : "");
            }
        }
    }
    return found.size();
}

/// Trees with the same names. Of each node something is to be repaired.
void makeTree(const std::string& name, const std::string& word, std::size_t size) {
    support::runInChild([&]() -> int {
        const std::string group = name + "/p";
        fs::create_directories(group);
        INodeGroup::open(name.c_str());
        const auto project = IProject::create(group.c_str(), nullptr, false);
        for (const std::string& path : {group + "/r000", group + "/r001"}) {
            const Result result = make(path, word);
            result->setFlag("busy");
            for (const std::string file : {"/deep/0", "/deep/1", "/0", "/1"}) {
                std::string text = word + path + file;
                text.resize(size, '.');
                support::writeFile(path + "/data.0" + file, text);
            }
            support::writeFile(path + "/" + basekit2::make_bag_temporary(), "");
        }
        ::_exit(0);  // as if it were killed: flags stay
    });
}

/// In trees "in" and "out", of which each attempt has copies.
class Exchanges {
public:
    explicit Exchanges(Run& run) : m_run(run) {
        makeTree("in", "inside ", 100);
        makeTree("out", "OUTSIDE ", outsideSize);
        fs::create_directory("template");
        for (const std::string tree : {"in", "out"}) {
            fs::rename(tree, "template/" + tree);
        }
    }

    /// `level` is the directory that changes places, as a path below the trees; or "made", which is
    /// being made.
    void attempt(const Operation& operation, const std::string& level) {
        for (const char* made : {"in", "out", "made", "parked"}) {
            fs::remove_all(made);
        }
        support::Command({"-a", "template/in", "template/out", "."}, {".", {}, 0, "cp"}).finish();
        fs::create_directory("out/empty");
        const auto outside = filesIn("out");
        const std::size_t payloads = payloadsIn({"in"});
        const bool isMade = level == "made";
        m_inner = isMade ? level : "in/" + level;
        fs::create_symlink(fs::absolute(isMade ? "out/empty" : "out/" + level), m_parked);
        const basekit2::descriptor_t watch(::inotify_init1(IN_NONBLOCK | IN_CLOEXEC));
        for (const auto& [path, content] : outside) {
            if (fs::is_directory("out/" + path)) {
                ::inotify_add_watch(watch.get(), ("out/" + path).c_str(), IN_ALL_EVENTS);
            }
        }
        const bool isNested = level.find("data.0") != level.npos;
        const int code = run(operation);
        const auto blame = [&](const std::string& what) {
            m_run.report.blame("{}, {}: {}, it ends with {}", operation.name, level, what, code);
        };
        if (code < 0 || code > (isNested ? 1 : countedOutside)) {
            blame(code == countedOutside ? "counts what is outside" : "does not end as it should");
        }
        std::array<char, 4096> events{};
        if (isNested && ::read(watch.get(), events.data(), events.size()) > 0) {
            blame("looks outside");
        }
        // Where an invalid node goes is reached by a path, as any new place.
        auto now = filesIn("out");
        std::erase_if(now, [](auto& file) { return file.first.starts_with("p/r000-bad"); });
        if (now != outside) {
            const auto [was, is] = std::ranges::mismatch(outside, now);
            blame("changes what is outside: " + (was != outside.end() ? was->first : "") + " or " +
                  (is != now.end() ? is->first : ""));
        }
        if (fs::exists("made")) {
            for (const auto& [path, content] : filesIn("made")) {
                content.find("OUTSIDE") == content.npos ? void() : blame("takes: " + path);
            }
        }
        if (!operation.deletes &&
            payloadsIn({"in", "parked", "made", "out/p/r000-bad"}) < payloads) {
            blame("loses something inside");
        }
        ++m_run.report["operations"];
        m_run.report["refused"] += code == 1 ? 1 : 0;
    }

private:
    /// Exchanges begin before some call of the operation, and go on until it has ended.
    int run(const Operation& operation) {
        m_isOn->store(false);
        // A group without a node knows its directory from its first look.
        const bool isPurge = std::string_view(operation.name) == "purges";
        const unsigned start = (isPurge ? 2 : 1) + m_run.below(1U << m_run.below(6));
        support::ChildProcess worker([&]() -> int {
            const Opened opened;
            unsigned calls = 0;
            beforeCall = [&](const char* /*call*/) {
                if (++calls >= start) {
                    m_isOn->store(true);
                    exchange(operation, m_run.below(3) == 0);
                }
                return 0;
            };
            ::_exit(operation.run(opened) ? 0 : 1);
        });
        while (worker.isRunning()) {
            for (int i = 0; i < 64; ++i) {
                exchange(operation, *m_isOn);
            }
        }
        exchange(operation, fs::is_symlink(m_inner));
        return worker.wait();
    }

    void exchange(const Operation& operation, bool isWanted) {
        if (isWanted && ::syscall(SYS_renameat2, AT_FDCWD, m_inner.c_str(), AT_FDCWD,
                                  m_parked.c_str(), RENAME_EXCHANGE) == 0) {
            ++m_run.report[operation.name];
        }
    }

    Run& m_run;
    const Workplace m_place;
    const Shared<std::atomic<bool>> m_isOn;
    std::string m_inner;  ///< what changes places with
    const std::string m_parked = "parked";
};

}  // namespace

/// Counts the exchanges of each operation.
void exchangeDirectories(Run& run) {
    Exchanges exchanges(run);
    const int rounds = run.options.isWhole ? 100 : 4;
    for (int i = 0; i < rounds; ++i) {
        for (const Operation& operation : operations) {
            for (const char* level :
                 {"p/r000/data.0/deep", "p/r000/data.0", "p/r000", "p", "made"}) {
                run.isOver() ? void() : exchanges.attempt(operation, level);
            }
        }
    }
    for (const Operation& operation : operations) {
        if (run.report[operation.name] == 0 && !run.isOver()) {
            run.report.blame("never met: {}", operation.name);
        }
    }
}

}  // namespace torture

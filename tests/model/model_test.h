#pragma once
/// Tests of nodes. What is done to nodes and files, and what comes of it, is told as a script.

#include <pthread.h>
#include <unistd.h>

#include <boost/algorithm/string/join.hpp>
#include <map>

#include "basekit2/bag_io.h"
#include "support/test.h"
#include "vesta2/vesta2.h"

using basekit2::sptr_t;
using basekit2::variant_bag_t;
using support::checkInChild;
using namespace vesta2;

using Results = ResultDirectoryManager;
using ResultHandle = sptr_t<IResultDirectory>;
using NodeHandle = sptr_t<INode>;

/// Runs `check` in a child process, whose threads have stacks of that size.
inline void onStack(std::size_t size, const std::function<void()>& check) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)  // which keep much there
    size += std::size_t{8} << 20;
#endif
    checkInChild([&] {
        pthread_attr_t attributes;
        pthread_attr_init(&attributes);
        pthread_attr_setstacksize(&attributes, size);
        ASSERT_EQ(pthread_setattr_default_np(&attributes), 0);
        std::thread(check).join();
    });
}

inline void runThreads(unsigned count, const std::function<void(unsigned)>& work) {
    std::vector<std::jthread> threads;
    for (unsigned i = 0; i < count; ++i) {
        threads.emplace_back(work, i);
    }
}

/// Every test works in an empty directory, and ends with nothing left in the registry of open
/// nodes. What is made by name is closed again.
class ModelTest : public testing::Test {
protected:
    ModelTest() { fs::current_path(m_temp.path()); }
    ~ModelTest() override { fs::current_path("/"); }
    void TearDown() override {
        m_held.clear();
        EXPECT_EQ(Node::handleCount(), 0U);
    }

    /// Plays a script with a step a line: "STEP WORD... -> OUTCOME". A failure's outcome is "no"
    /// and its code. Without an outcome the step must not fail. A node is named by its directory,
    /// marker or link file, or as it is held; it is told with its link file and its parent. The
    /// same outcome of several names in a row is told once.
    void play(std::string script) {
        std::replace(script.begin(), script.end(), ';', '\n');
        std::istringstream lines(script);
        for (std::string line; std::getline(lines, line);) {
            const std::size_t arrow = line.find("->");
            m_words = words(line.substr(0, arrow));
            if (m_words.empty()) {
                continue;
            }
            setStatus(eOK);
            const std::string outcome = m_steps.at(m_words[0])();
            if (arrow == std::string::npos) {
                EXPECT_EQ(outcome.find("no "), std::string::npos) << line << outcome;
            } else {
                EXPECT_EQ(outcome, line.substr(std::min(arrow + 3, line.size()))) << line;
            }
        }
    }

    std::string at(const std::string& name) const { return m_temp / name; }

    /// The path of the marker file.
    static std::string makeResult(const std::string& directory) {
        const ResultHandle result =
            Results::create(directory.c_str(), false, nullptr, true, nullptr);
        return result ? result->getMarkerFilePath() : "";
    }
    static sptr_t<IProject> makeProject(const std::string& directory, bool removeOnClose = false) {
        return IProject::create(directory.c_str(), nullptr, removeOnClose);
    }
    static ResultHandle openResult(const std::string& path) {
        return Results::open(path.c_str(), true, nullptr);
    }
    static NodeHandle lookup(const std::string& path) { return Node::lookup(path, nullptr); }
    ResultHandle result(const std::string& name) { return IResultDirectory::cast(node(name)); }
    /// The object behind a handle.
    static Node& object(const NodeHandle& handle) { return dynamic_cast<Node&>(*handle); }

    static variant_bag_t load(const std::string& path) {
        variant_bag_t bag;
        EXPECT_EQ(basekit2::load_variant_bag(bag, path, ""), basekit2::bag_ok) << path;
        return bag;
    }
    /// Puts `value` under `key` of the section "vesta" of a marker file.
    static void edit(const std::string& marker, const char* key, const std::string& value) {
        variant_bag_t bag = load(marker);
        bag.put_bag("vesta").put(key, value);
        ASSERT_EQ(basekit2::save_variant_bag(bag, marker), basekit2::bag_ok);
    }
    static void writeLink(const std::string& link, const std::string& target) {
        writeFile(link, "<bag v=\"1\"><str n=\"link\">" + target +
                            "</str><str n=\"md5sum\">0</str></bag>");
    }
    static std::string text(const char* value) { return value ? value : "(null)"; }
    static std::string relative(const std::string& path) { return fs::relative(path).native(); }
    static std::string pathOf(const NodeHandle& node) {
        return node ? relative(node->getPath()) : "";
    }
    /// The paths of all that is below `directory`, in order.
    static std::string entries(const std::string& directory) {
        return boost::join(support::pathsBelow(directory), " ");
    }
    /// The paths as they are seen from `directory`.
    static std::string listed(const sptr_t<IPathIterator>& paths, const fs::path& directory) {
        std::vector<std::string> all;
        while (const char* path = paths->next()) {
            all.push_back(fs::relative(path, directory).native());
        }
        return boost::join(all, " ");
    }
    static std::string answer(bool isDone, const std::string& text = "ok") {
        static const char* const codes[] = {
            "ok",    "",       "permission", "exists", "not-found", "parameter", "path", "groups",
            "long",  "chars",  "",           "last",   "empty",     "access",    "",     "locked",
            "error", "serial", "not-owner",  "",       "",          "unknown"};
        const std::string code = codes[getStatus()];
        return !isDone ? "no " + code : code == "ok" ? text : text + " " + code;
    }
    static std::string answer(const NodeHandle& node) {
        const vesta2::error_t status = getStatus();
        std::string all;
        if (node) {
            const NodeHandle parent = node->getParent();
            const bool isMissing = node->isMissing();
            all = relative(node->getPath());
            all += node->isLinked() ? " by " + relative(node->getLinkFilePath()) : "";
            all += parent ? " in " + relative(parent->getPath()) : "";
            all += std::string(node->isLinkStale() ? " stale" : "") + (isMissing ? " missing" : "");
        }
        setStatus(status);
        return answer(!all.empty(), all);
    }

    /// As `support::asOrdinaryUser`, in the test's directory.
    void asOrdinaryUser(const std::function<void()>& check) {
        support::asOrdinaryUser(m_temp.path(), [&] {
            check();
            m_held.clear();
        });
    }

    support::TempDirectory m_temp;
    std::map<std::string, NodeHandle> m_held;

private:
    using Step = std::function<std::string()>;

    const char* word(std::size_t i) const { return i < m_words.size() ? m_words[i].c_str() : ""; }
    sptr_t<INodeGroup> group() const { return INodeGroup::open(word(1)); }
    NodeHandle node(const std::string& name) {
        const auto held = m_held.find(name);
        if (held != m_held.end()) {
            return held->second;
        }
        if (!fs::is_directory(name)) {
            return lookup(name);
        }
        const auto group = INodeGroup::open(name.c_str());
        const NodeHandle owner = group ? group->getNode() : NodeHandle();
        return owner ? owner : NodeHandle(openResult(name));
    }
    /// Of an operation on the node, if there is one.
    template <class Operation>
    Step on(Operation operation) {
        return [=, this] {
            const NodeHandle found = node(m_words[1]);
            setStatus(eOK);
            return found ? answer(operation(*found)) : "no node";
        };
    }
    static Step quietly(const std::function<void()>& act) {
        return [=] { return act(), std::string("ok"); };
    }
    Step each(std::function<std::string(const char*)> act, std::size_t first = 1) {
        return [=, this] {
            std::vector<std::string> outcomes;
            for (std::size_t i = first; i < m_words.size(); ++i) {
                setStatus(eOK);
                outcomes.push_back(act(word(i)));
            }
            outcomes.erase(std::unique(outcomes.begin(), outcomes.end()), outcomes.end());
            return boost::join(outcomes, ", ");
        };
    }

    std::vector<std::string> m_words;
    std::map<std::string, std::string> m_noted;  ///< files, and what was in them
    const std::map<std::string, Step> m_steps{
        {"project", each([](auto name) { return answer(makeProject(name)); })},
        {"experiment", each([](auto name) { return answer(IExperiment::create(name, nullptr)); })},
        {"result", each([](auto name) { return answer(lookup(makeResult(name))); })},
        {"create", each([](auto name) {
             return answer(Results::create(name, false, nullptr, false, nullptr));
         })},
        {"overwrite", each([](auto name) {
             return answer(Results::create(name, true, nullptr, false, nullptr));
         })},
        {"make-result",
         [this] { return answer(Results::create(word(2), false, nullptr, false, word(1))); }},
        {"make-experiment", [this] { return answer(IExperiment::create(word(2), word(1))); }},
        {"make-project", [this] { return answer(IProject::create(word(2), word(1), false)); }},
        {"get", each([](auto name) { return answer(Results::get(name, nullptr, false)); })},
        {"open", each([](auto name) { return answer(Results::open(name, false, nullptr)); })},
        {"import", [this] { return answer(Results::openForImport(word(1), word(2))); }},
        {"node", each([this](auto name) { return answer(node(name)); })},
        {"hold", [this] { return answer(m_held[m_words[1]] = node(m_words[2])); }},
        {"drop", quietly([this] { m_held.erase(m_words[1]); })},
        {"add", each([this](auto name) { return answer(group()->addNode(name)); }, 2)},
        {"group", [this] { return listed(group()->getNodePaths(), m_words[1]); }},
        {"purge", [this] { return group()->purge(word(2), std::stoi(m_words[3])), answer(true); }},
        {"rename", on([this](INode& it) { return it.changeUserVisibleName(word(2)); })},
        {"parent", on([this](INode& it) { return it.setParent(at(m_words[2]).c_str()); })},
        {"relink", on([this](INode& it) { return it.changeMarkerFilePath(word(2)); })},
        {"remove", on([](INode& it) { return it.remove(); })},
        {"save", on([](INode& it) { return !it.save(); })},
        {"copy", on([this](INode& it) { return it.copy(word(2), *word(3) != 0, nullptr); })},
        {"move", on([this](INode& it) { return it.move(word(2), *word(3) != 0, nullptr); })},
        {"duplicate", on([this](INode& it) { return it.duplicate(word(2)); })},
        {"export", [this] { return answer(result(word(1))->exportTo(word(2), word(3))); }},
        {"flag", on([this](INode& it) { return setStatus(it.addFlag(word(2), false)); })},
        {"unflag", on([this](INode& it) { return setStatus(it.removeFlag(word(2), false)); })},
        {"clear", on([this](INode& it) { return it.clearFlag(word(2), true); })},
        {"own", on([this](INode& it) { return setStatus(it.ownFlag(word(2))); })},
        {"write", each([](auto name) { return writeFile(name, name), std::string(); })},
        {"link", quietly([this] { writeLink(m_words[1], at(m_words[2])); })},
        {"edit", quietly([this] { edit(m_words[1], word(2), m_words[3]); })},
        {"symlink", quietly([this] { fs::create_symlink(at(m_words[1]), m_words[2]); })},
        {"mkdir", each([](auto name) { return fs::create_directories(name), std::string(); })},
        {"mv", quietly([this] { fs::rename(m_words[1], m_words[2]); })},
        {"rm", each([](auto name) { return fs::remove_all(name), std::string(); })},
        {"chmod", quietly([this] {
             fs::permissions(m_words[2], fs::perms(std::stoi(m_words[1], nullptr, 8)));
         })},
        {"note", each([this](auto name) { return m_noted[name] = readFile(name), "noted"; })},
        {"unchanged",
         [this] {
             const auto isSame = [](auto& it) { return readFile(it.first) == it.second; };
             return answer(std::ranges::all_of(m_noted, isSame));
         }},
        {"tree", [this] { return entries(m_words[1]); }},
        {"read", [this] { return readFile(m_words[1]); }},
        {"handles", [] { return std::to_string(Node::handleCount()); }},
    };
};

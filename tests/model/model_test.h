#pragma once
/// Tests of nodes. What is done to nodes and files, and what comes of it, is told as a script.

#include <pthread.h>
#include <unistd.h>

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

/// Runs `work` in a thread with a stack of that size.
inline void onStack(std::size_t size, const std::function<void()>& work) {
    pthread_attr_t attributes;
    std::size_t before = 0;
    pthread_getattr_default_np(&attributes);
    pthread_attr_getstacksize(&attributes, &before);
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)  // which keep much there
    size += std::size_t{8} << 20;
#endif
    pthread_attr_setstacksize(&attributes, size);
    ASSERT_EQ(pthread_setattr_default_np(&attributes), 0);
    std::thread(work).join();
    pthread_attr_setstacksize(&attributes, before);
    pthread_setattr_default_np(&attributes);
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
    /// marker or link file, or as it is held; it is told with its link file and its parent.
    void play(std::string script) {
        std::replace(script.begin(), script.end(), ';', '\n');
        std::istringstream lines(script);
        for (std::string line; std::getline(lines, line);) {
            const std::size_t arrow = line.find("->");
            std::istringstream text(line.substr(0, arrow));
            m_words.assign(std::istream_iterator<std::string>(text), {});
            if (m_words.empty()) {
                continue;
            }
            setStatus(eOK);
            const std::string outcome = m_steps.at(m_words[0])();
            if (arrow == std::string::npos) {
                EXPECT_NE(outcome.substr(0, 3), "no ") << line << outcome;
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
    ResultHandle result(const std::string& held) { return IResultDirectory::cast(m_held.at(held)); }
    /// The object behind a handle.
    template <class Interface>
    static Node& object(const sptr_t<Interface>& handle) {
        return dynamic_cast<Node&>(*handle);
    }

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
        variant_bag_t bag;
        bag.put("link", target);
        bag.put("md5sum", "0");
        fs::create_directories(fs::path(link).parent_path());
        ASSERT_EQ(basekit2::save_variant_bag2(bag, link, "bag", basekit2::durability_t::whenever),
                  basekit2::bag_ok);
    }
    static std::string text(const char* value) { return value ? value : "(null)"; }
    static std::string relative(const std::string& path) { return fs::relative(path).native(); }
    static std::string pathOf(const NodeHandle& node) {
        return node ? relative(node->getPath()) : "";
    }
    /// The paths of all that is below `directory`, in order.
    static std::string entries(const std::string& directory) {
        std::string all;
        for (const std::string& path : support::pathsBelow(directory)) {
            all += (all.empty() ? "" : " ") + path;
        }
        return all;
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

    static std::string answer(bool isDone, const std::string& text = "ok") {
        static const char* const codes[] = {
            "ok",    "",       "permission", "exists", "not-found", "parameter", "path", "groups",
            "long",  "chars",  "",           "last",   "empty",     "access",    "",     "locked",
            "error", "serial", "not-owner",  "",       "",          "unknown"};
        const std::string code = codes[getStatus()];
        return !isDone ? "no " + code : code == "ok" ? text : text + " " + code;
    }
    template <class Handle>
    static std::string answer(const Handle& node) {
        return answer(static_cast<bool>(node), node ? describe(*node) : "");
    }
    static std::string describe(INode& node) {
        const vesta2::error_t status = getStatus();
        const NodeHandle parent = node.getParent();
        const bool isMissing = node.isMissing();
        std::string all = relative(node.getPath());
        all += node.isLinked() ? " by " + relative(node.getLinkFilePath()) : "";
        all += parent ? " in " + relative(parent->getPath()) : "";
        all += std::string(node.isLinkStale() ? " stale" : "") + (isMissing ? " missing" : "");
        setStatus(status);
        return all;
    }

    const char* word(std::size_t i) const { return i < m_words.size() ? m_words[i].c_str() : ""; }
    sptr_t<INodeGroup> group() const { return INodeGroup::open(word(1)); }
    NodeHandle node(std::size_t i = 1) {
        const auto held = m_held.find(m_words[i]);
        if (held != m_held.end()) {
            return held->second;
        }
        if (!fs::is_directory(m_words[i])) {
            return lookup(m_words[i]);
        }
        const auto group = INodeGroup::open(word(i));
        const NodeHandle owner = group ? group->getNode() : NodeHandle();
        return owner ? owner : NodeHandle(openResult(m_words[i]));
    }
    /// Of an operation on the node, if there is one.
    template <class Operation>
    Step on(Operation operation) {
        return [=, this] {
            const NodeHandle found = node();
            setStatus(eOK);
            return found ? answer(operation(*found)) : "no node";
        };
    }
    static Step quietly(const std::function<void()>& act) {
        return [=] { return act(), std::string("ok"); };
    }
    /// With each of the words, up to one that fails.
    Step each(std::function<std::string(const std::string&)> act, std::size_t first = 1) {
        return [=, this] {
            std::string outcome;
            for (std::size_t i = first; i < m_words.size() && outcome.substr(0, 3) != "no "; ++i) {
                outcome = act(m_words[i]);
            }
            return outcome;
        };
    }
    static std::string nodesIn(INodeGroup& group) {
        std::string names;
        const auto paths = group.getNodePaths();
        while (const char* path = paths->next()) {
            names += (names.empty() ? "" : " ") + fs::path(path).filename().native();
        }
        return names;
    }
    Step made(bool overwrite) {
        return [=, this] {
            return answer(Results::create(word(1), overwrite, nullptr, false, nullptr));
        };
    }

    std::vector<std::string> m_words;
    std::map<std::string, std::string> m_noted;  ///< files, and what was in them
    const std::map<std::string, Step> m_steps{
        {"project", each([](auto& name) { return answer(makeProject(name)); })},
        {"experiment",
         each([](auto& name) { return answer(IExperiment::create(name.c_str(), nullptr)); })},
        {"result", each([](auto& name) { return answer(lookup(makeResult(name))); })},
        {"create", made(false)},
        {"overwrite", made(true)},
        {"make-result",
         [this] { return answer(Results::create(word(2), false, nullptr, false, word(1))); }},
        {"make-experiment", [this] { return answer(IExperiment::create(word(2), word(1))); }},
        {"make-project", [this] { return answer(IProject::create(word(2), word(1), false)); }},
        {"get", [this] { return answer(Results::get(word(1), nullptr, false)); }},
        {"open", [this] { return answer(Results::open(word(1), false, nullptr)); }},
        {"import", [this] { return answer(Results::openForImport(word(1), word(2))); }},
        {"node", [this] { return answer(node()); }},
        {"hold", [this] { return answer(m_held[m_words[1]] = node(2)); }},
        {"drop", quietly([this] { m_held.erase(m_words[1]); })},
        {"add", each([this](auto& name) { return answer(group()->addNode(name.c_str())); }, 2)},
        {"group", [this] { return nodesIn(*group()); }},
        {"purge", [this] { return group()->purge(word(2), std::stoi(m_words[3])), answer(true); }},
        {"rename", on([this](INode& it) { return it.changeUserVisibleName(word(2)); })},
        {"parent", on([this](INode& it) { return it.setParent(at(m_words[2]).c_str()); })},
        {"relink", on([this](INode& it) { return it.changeMarkerFilePath(word(2)); })},
        {"remove", on([](INode& it) { return it.remove(); })},
        {"save", on([](INode& it) { return !it.save(); })},
        {"copy", on([this](INode& it) { return it.copy(word(2), *word(3) != 0, nullptr); })},
        {"move", on([this](INode& it) { return it.move(word(2), *word(3) != 0, nullptr); })},
        {"duplicate", on([this](INode& it) { return it.duplicate(word(2)); })},
        {"export",
         [this] { return answer(IResultDirectory::cast(node())->exportTo(word(2), word(3))); }},
        {"flag", on([this](INode& it) { return setStatus(it.addFlag(word(2), false)); })},
        {"unflag", on([this](INode& it) { return setStatus(it.removeFlag(word(2), false)); })},
        {"clear", on([this](INode& it) { return it.clearFlag(word(2), true); })},
        {"own", on([this](INode& it) { return setStatus(it.ownFlag(word(2))); })},
        {"write", each([](auto& name) { return writeFile(name, name), std::string(); })},
        {"link", quietly([this] { writeLink(m_words[1], at(m_words[2])); })},
        {"edit", quietly([this] { edit(m_words[1], word(2), m_words[3]); })},
        {"symlink", quietly([this] { fs::create_symlink(at(m_words[1]), m_words[2]); })},
        {"mkdir", each([](auto& name) { return fs::create_directories(name), std::string(); })},
        {"mv", quietly([this] { fs::rename(m_words[1], m_words[2]); })},
        {"rm", each([](auto& name) { return fs::remove_all(name), std::string(); })},
        {"chmod", quietly([this] {
             fs::permissions(m_words[2], fs::perms(std::stoi(m_words[1], nullptr, 8)));
         })},
        {"note", each([this](auto& name) { return m_noted[name] = readFile(name); })},
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

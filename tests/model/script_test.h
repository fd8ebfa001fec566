#pragma once
/// Tests that are told as a script: what is done to nodes and files, and what comes of it.

#include <map>

#include "model_test.h"

class ScriptTest : public ModelTest {
protected:
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
    void TearDown() override {
        m_held.clear();
        ModelTest::TearDown();
    }

    std::map<std::string, NodeHandle> m_held;
    std::map<std::string, std::string> m_noted;  ///< files, and what was in them

private:
    using Step = std::function<std::string()>;

    static std::string codeName() {
        static const char* const names[] = {
            "ok",    "",       "permission", "exists", "not-found", "parameter", "path", "groups",
            "long",  "chars",  "",           "last",   "empty",     "",          "",     "locked",
            "error", "serial", "not-owner",  "",       "",          "unknown"};
        return names[getStatus()];
    }
    static std::string answer(bool isDone, const std::string& text = "ok") {
        return !isDone ? "no " + codeName() : getStatus() == eOK ? text : text + " " + codeName();
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
    static std::string relative(const std::string& path) { return fs::relative(path).native(); }

    const char* word(std::size_t i) const { return i < m_words.size() ? m_words[i].c_str() : ""; }
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
    ResultHandle result() { return IResultDirectory::cast(node()); }
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

    std::vector<std::string> m_words;
    const std::map<std::string, Step> m_steps{
        {"project", each([](auto& name) { return answer(makeProject(name)); })},
        {"experiment", each([](auto& name) { return answer(makeExperiment(name)); })},
        {"result", each([](auto& name) { return answer(lookup(makeResult(name))); })},
        {"create",
         [this] { return answer(Results::create(word(1), false, nullptr, false, nullptr)); }},
        {"overwrite",
         [this] { return answer(Results::create(word(1), true, nullptr, false, nullptr)); }},
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
        {"add",
         each([this](
                  auto& name) { return answer(INodeGroup::open(word(1))->addNode(name.c_str())); },
              2)},
        {"group", [this] { return nodesIn(*INodeGroup::open(word(1))); }},
        {"purge",
         [this] {
             INodeGroup::open(word(1))->purge(word(2), std::stoi(m_words[3]));
             return codeName();
         }},
        {"rename", on([this](INode& it) { return it.changeUserVisibleName(word(2)); })},
        {"parent", on([this](INode& it) { return it.setParent(at(m_words[2]).c_str()); })},
        {"relink", on([this](INode& it) { return it.changeMarkerFilePath(word(2)); })},
        {"remove", on([](INode& it) { return it.remove(); })},
        {"save", on([](INode& it) { return !it.save(); })},
        {"copy", on([this](INode& it) { return it.copy(word(2), *word(3) != 0, nullptr); })},
        {"move", on([this](INode& it) { return it.move(word(2), *word(3) != 0, nullptr); })},
        {"duplicate", on([this](INode& it) { return it.duplicate(word(2)); })},
        {"export", [this] { return answer(result()->exportTo(word(2), word(3))); }},
        {"flag", on([this](INode& it) { return it.setFlag(word(2)); })},
        {"write", each([](auto& name) { return writeFile(name, name), std::string(); })},
        {"link", quietly([this] { writeLink(m_words[1], at(m_words[2])); })},
        {"edit", quietly([this] { edit(m_words[1], word(2), m_words[3]); })},
        {"symlink", quietly([this] { fs::create_symlink(at(m_words[1]), m_words[2]); })},
        {"mkdir", each([](auto& name) { return fs::create_directories(name), std::string(); })},
        {"mv", quietly([this] { fs::rename(m_words[1], m_words[2]); })},
        {"rm", each([](auto& name) { return fs::remove_all(name), std::string(); })},
        {"chmod",
         [this] {
             return answer(
                 ::chmod(word(2), static_cast<mode_t>(std::stoi(m_words[1], nullptr, 8))) == 0);
         }},
        {"own", on([this](INode& it) { return setStatus(it.ownFlag(word(2))); })},
        {"note", each([this](auto& name) { return m_noted[name] = readFile(name); })},
        {"unchanged",
         [this] {
             return answer(std::all_of(m_noted.begin(), m_noted.end(), [](auto& noted) {
                 return readFile(noted.first) == noted.second;
             }));
         }},
        {"tree", [this] { return entries(m_words[1]); }},
        {"read", [this] { return readFile(m_words[1]); }},
        {"handles", [] { return std::to_string(Node::handleCount()); }},
    };
};

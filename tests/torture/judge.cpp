#include <algorithm>
#include <cerrno>
#include <nlohmann/json.hpp>

#include "cases.h"
#include "support/command.h"

namespace torture {
namespace {

constexpr int greatestCode = 7;

class Judge {
public:
    Judge(const Case& each, const Scene& scene, const Fault& fault)
        : m_case(each),
          m_scene(scene),
          m_fault(fault),
          m_wasKilled(fault.kind == Fault::Kind::kill),
          m_isDone(scene.run.code == scene.undisturbed.code) {}

    std::vector<std::string> judge() {
        judgeEnd();
        for (const FoundNode& was : m_scene.before.nodes) {
            judgeNode(was);
        }
        for (const std::string& marker : m_scene.after.damaged) {
            blame("torn marker: " + marker);
        }
        judgeLinks();
        judgeLeavings();
        judgeListing();
        return std::move(m_wrong);
    }

private:
    void blame(const std::string& what) { m_wrong.push_back(what); }

    void judgeEnd() {
        const TracedRun& run = m_scene.run;
        const auto isKept = [&](auto& promise) { return torture::isKept(promise, m_scene); };
        const auto isFailedFlush = [](auto& call) { return call.isFailed && call.is(flushes); };
        if (run.code < 0) {
            blame("does not end");
        } else if (m_isDone && !std::ranges::all_of(m_case.expectations, isKept)) {
            blame("success without its effect");
        } else if (m_isDone && m_fault.error != EINTR && !m_case.says("falls-back") &&
                   std::ranges::any_of(run.calls, isFailedFlush)) {
            blame("success, but perhaps not on the disk");
        } else if (!m_isDone && run.code <= 1) {
            blame("wrong answer");
        } else if (!m_isDone && !m_wasKilled && run.code > greatestCode) {
            blame("ends with code " + std::to_string(run.code));
        } else if (!m_isDone && !m_wasKilled && run.err.empty()) {
            blame("failure without a word");
        }
    }

    /// Whether `now` is what the node was, or what the command was to make of it. A copy gets the
    /// mark last: until then it is whole, and says that it is incomplete.
    [[nodiscard]] bool isWhole(const FoundNode& was, const FoundNode& now) const {
        FoundNode expected = was;
        for (const std::string& name : m_case.about("leaves-out")) {
            if (m_case.says("makes", now.directory)) {
                std::erase_if(expected.files,
                              [&](auto& file) { return file.first.ends_with(name); });
            }
        }
        const std::string key = text(now, "key");
        return isSameNode(expected, now, "key") && (key == text(was, "key") || key == "new") &&
               (was.isFinalized == now.isFinalized ||
                (was.isFinalized && now.directory != was.directory) ||
                m_case.says("changes", was.identity));
    }

    void judgeNode(const FoundNode& was) {
        const std::vector<const FoundNode*> now = m_scene.after.withIdentity(was.identity);
        const auto whole = [&](const FoundNode* node) { return isWhole(was, *node); };
        if (!m_case.says("deletes", was.identity) && std::none_of(now.begin(), now.end(), whole)) {
            blame("lost: " + was.directory);
        }
        for (const FoundNode* node : now) {
            if (node->directory != was.directory && !whole(node)) {
                blame("only a part, but looks like a node: " + node->directory);
            }
        }
    }

    void judgeLinks() {
        if (m_case.says("changes", "linked") || m_case.says("deletes", "linked")) {
            return;
        }
        for (const auto& [name, bytes] : m_scene.before.links) {
            const auto now = m_scene.after.links.find(name);
            if (now == m_scene.after.links.end()) {
                blame("link deleted: " + name);
            } else if (now->second != bytes) {
                blame("link changed: " + name);
            }
        }
    }

    /// One failure leaves the means to clear up, and so does a full disk.
    void judgeLeavings() {
        const bool isOnce = m_fault.kind == Fault::Kind::once;
        if (!isOnce && (m_fault.kind != Fault::Kind::lasting || m_fault.error != ENOSPC)) {
            return;
        }
        for (const std::string& name : m_scene.after.temporaries) {
            blame("temporary file left: " + name);
        }
        for (const std::string& made : m_case.about("makes")) {
            if (!m_isDone && !m_case.says("repairable") && m_scene.after.all.count(made) != 0 &&
                !m_scene.after.at(made)) {
                blame("left after failure: " + made);
            }
        }
        const FoundNode* collected = m_scene.after.at("p/r002");
        if (isOnce && !m_isDone && collected && collected->isFinalized) {
            blame("finalized in spite of a failure: p/r002");
        }
    }

    void judgeListing() {
        const support::CommandResult result =
            support::run(m_scene.root, {"--json", "list", "-r", "p"});
        if (result.code != 0) {
            blame("the next list ends with code " + std::to_string(result.code));
            return;
        }
        const nlohmann::json listing = nlohmann::json::parse(result.out);
        std::set<std::string> listed;
        for (const auto& entry : listing["nodes"]) {
            const std::string path = entry["path"];
            const FoundNode* node = m_scene.after.at(path.substr(m_scene.root.size() + 1));
            listed.insert(node ? node->identity : std::string());
        }
        for (const FoundNode& was : m_scene.before.nodes) {
            const bool isMember = was.directory.rfind("p/", 0) == 0 ||
                                  m_scene.before.isLinked(m_scene.root, "p", was.directory);
            if (isMember && !m_case.says("deletes", was.identity) &&
                listed.count(was.identity) == 0) {
                blame("no longer a member: " + was.directory);
            }
        }
    }

    const Case& m_case;
    const Scene& m_scene;
    const Fault& m_fault;
    bool m_wasKilled;
    bool m_isDone;
    std::vector<std::string> m_wrong;
};

}  // namespace

std::vector<std::string> judge(const Case& each, const Scene& scene, const Fault& fault) {
    return Judge(each, scene, fault).judge();
}

}  // namespace torture

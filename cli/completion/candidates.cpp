#include "completion/candidates.h"

#include <unistd.h>

#include <algorithm>
#include <set>

#include "completion/node_words.h"
#include "completion/paths.h"
#include "nodes/properties.h"
#include "select/keys.h"

namespace cli {
namespace {

using Names = std::set<std::string>;

bool namesNode(Stands stands) {
    return stands == Stands::node || stands == Stands::nodeOrKey ||
           stands == Stands::nodeOrAssignment || stands == Stands::nodeOrTag;
}

class Candidates {
public:
    explicit Candidates(const Cursor& cursor) : m_cursor(cursor) {}

    [[nodiscard]] Names all() const {
        const std::string& value = m_cursor.value;
        switch (m_cursor.stands) {
        case Stands::node:
            return pathsLike(value, PathKind::node);
        case Stands::group:
            return pathsLike(value, PathKind::group);
        case Stands::directory:
            return pathsLike(value, PathKind::directory);
        case Stands::file:
            return pathsLike(value, PathKind::file);
        case Stands::nodeOrKey:
            return isFirst() || selectsNodes() ? pathsLike(value, PathKind::node)
                                               : joined(pathsLike(value, PathKind::node), keys());
        case Stands::nodeOrAssignment:
            return isFirst() && !selectsNodes()
                       ? pathsLike(value, PathKind::node)
                       : joined(pathsLike(value, PathKind::node), properties("="));
        case Stands::nodeOrTag:
            return value.starts_with('+')   ? withFront("+", inGroup().tags())
                   : value.starts_with('-') ? withFront("-", nodesOrGroup().tags())
                                            : pathsLike(value, PathKind::node);
        case Stands::key:
            return keys();
        case Stands::keys:
            return withFront(value.substr(0, value.rfind(',') + 1), keys());
        case Stands::property:
            return properties("");
        case Stands::tag:
            return inGroup().tags();
        case Stands::flag:
            return NamedNodes(nodeWords()).flags();
        case Stands::environment:
            return variables();
        case Stands::text:
        case Stands::expression:
            break;
        }
        return {};
    }

private:
    [[nodiscard]] std::vector<std::string> nodeWords() const {
        std::vector<std::string> words;
        for (const Cursor::Given& given : m_cursor.given) {
            if (namesNode(given.stands)) {
                words.push_back(withoutTilde(given.text));
            }
        }
        return words;
    }
    [[nodiscard]] bool isFirst() const { return nodeWords().empty(); }
    [[nodiscard]] bool selectsNodes() const {
        return std::ranges::count(m_cursor.given, Stands::expression, &Cursor::Given::stands) > 0;
    }

    /// The nodes of the group that is named, or that the first node is in, or else of this one.
    [[nodiscard]] NamedNodes inGroup() const {
        for (const auto& [stands, text] : m_cursor.given) {
            const bool isGroup = stands == Stands::group;
            if (isGroup || namesNode(stands)) {
                return NamedNodes(
                    fullDirectory(isGroup ? text : text.substr(0, text.rfind('/') + 1)));
            }
        }
        return NamedNodes(fullDirectory({}));
    }
    [[nodiscard]] NamedNodes nodesOrGroup() const {
        return isFirst() ? inGroup() : NamedNodes(nodeWords());
    }

    [[nodiscard]] Names keys() const {
        const std::vector<std::string> facts = factNames();
        Names names = nodesOrGroup().keys();
        names.insert(facts.begin(), facts.end());
        return names;
    }
    /// Those that people may change.
    [[nodiscard]] Names properties(const char* end) const {
        Names names;
        for (const std::string& key : nodesOrGroup().keys()) {
            if (roleOf(key) != Role::creation && roleOf(key) != Role::link && !findFact(key)) {
                names.insert(key + end);
            }
        }
        return names;
    }
    static Names variables() {
        Names names;
        for (char** variable = environ; *variable; ++variable) {
            const std::string text = *variable;
            names.insert(text.substr(0, text.find('=')));
        }
        return names;
    }

    static Names joined(Names names, const Names& others) {
        names.insert(others.begin(), others.end());
        return names;
    }
    static Names withFront(const std::string& front, const Names& names) {
        Names all;
        for (const std::string& name : names) {
            all.insert(front + name);
        }
        return all;
    }

    const Cursor& m_cursor;
};

bool fitsOnLine(const std::string& text) {
    constexpr unsigned char deleteCharacter = 0x7f;
    return std::ranges::all_of(text,
                               [](unsigned char c) { return c >= ' ' && c != deleteCharacter; });
}

}  // namespace

std::vector<Proposal> candidatesAt(Cursor cursor) {
    std::vector<Proposal> proposals = std::move(cursor.words);
    const std::string directory = withoutTilde(cursor.directory);
    if (!directory.empty() && ::chdir(directory.c_str()) != 0) {
        return proposals;
    }
    for (const std::string& name : Candidates(cursor).all()) {
        if (name.starts_with(cursor.value) && fitsOnLine(name)) {
            proposals.push_back({cursor.front + name});
        }
    }
    return proposals;
}

}  // namespace cli

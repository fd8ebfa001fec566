#pragma once
/// What a command did to several things: one line for each, or one JSON object for all.

#include <nlohmann/json.hpp>
#include <string_view>
#include <utility>

#include "base/failure.h"
#include "output/json.h"
#include "output/session.h"

namespace cli {

class ItemReport {
public:
    /// In the JSON object the things are the array `member`, with the members of `others` in front.
    ItemReport(Session& session, const char* member, Json others = Json::object())
        : m_session(session), m_member(member), m_object(std::move(others)) {}
    /// What was done before a failure is told all the same.
    ~ItemReport() {
        if (!m_items.empty()) {
            try {
                finish();
            } catch (...) {  // NOLINT(bugprone-empty-catch): the failure before is reported
            }
        }
    }
    ItemReport(const ItemReport&) = delete;
    ItemReport& operator=(const ItemReport&) = delete;

    /// Prints `text`, or keeps what `toJson` returns, which is called for JSON alone.
    template <class ToJson>
    void add(std::string_view text, const ToJson& toJson) {
        if (m_session.json) {
            m_items.push_back(toJson());
        } else {
            m_session.out.writeText(text);
        }
    }

    /// Prints the JSON object. Returns the exit code of success.
    int finish() {
        if (m_session.json) {
            m_object[m_member] = std::exchange(m_items, Json::array());
            m_session.out.writeJson(m_object);
        }
        return exitOk;
    }

private:
    Session& m_session;
    const char* m_member;
    Json m_object;
    Json m_items = Json::array();
};

}  // namespace cli

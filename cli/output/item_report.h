#pragma once
/// What a command did to several things: one line for each, or one JSON object for all.

#include <nlohmann/json.hpp>
#include <string_view>

#include "base/failure.h"
#include "output/json.h"
#include "output/session.h"

namespace cli {

class ItemReport {
public:
    /// In the JSON object the things are the array `member`, with the members of `others` in front.
    ItemReport(Session& session, const char* member, const Json& others = Json::object())
        : m_session(session), m_items(session.out, member, others) {}
    /// What was done before a failure is told all the same.
    ~ItemReport() {
        if (m_items.hasBegun()) {
            try {
                m_items.finish();
            } catch (...) {  // NOLINT(bugprone-empty-catch): the failure before is reported
            }
        }
    }
    ItemReport(const ItemReport&) = delete;
    ItemReport& operator=(const ItemReport&) = delete;

    /// Prints `text`, or what `toJson` returns, which is called for JSON alone.
    template <class ToJson>
    void add(std::string_view text, const ToJson& toJson) {
        if (m_session.json) {
            m_items.add(toJson());
        } else {
            m_session.out.writeText(text);
        }
    }

    /// Ends the JSON object. Returns the exit code of success.
    int finish() {
        if (m_session.json) {
            m_items.finish();
        }
        return exitOk;
    }

private:
    Session& m_session;
    JsonArrayOutput m_items;
};

}  // namespace cli

#include "nodes/retention.h"

#include <fmt/format.h>

#include <algorithm>
#include <ctime>
#include <functional>
#include <set>

#include "base/text.h"

namespace cli {
namespace {

constexpr std::int64_t microseconds = 1'000'000;

void keep(Candidate& candidate, const std::string& reason) {
    candidate.reason = candidate.isKept ? candidate.reason : reason;
    candidate.isKept = true;
}

/// What is kept anyway is passed over.
bool isCounted(const Candidate& candidate) {
    return !candidate.isInvalid && candidate.exemption.empty();
}

/// The day, week or month of a time.
std::string periodOf(std::int64_t seconds, const char* format) {
    const auto time = static_cast<std::time_t>(seconds);
    std::tm parts{};
    ::localtime_r(&time, &parts);
    char text[16];
    return {text, std::strftime(text, sizeof text, format, &parts)};
}

/// The newest first.
std::vector<Candidate*> byTime(std::vector<Candidate>& candidates) {
    std::vector<Candidate*> all;
    for (Candidate& candidate : candidates) {
        if (isCounted(candidate) && candidate.time != 0) {
            all.push_back(&candidate);
        }
    }
    std::ranges::reverse(all);
    std::ranges::stable_sort(all, std::greater(), &Candidate::time);
    return all;
}

void keepPeriods(std::vector<Candidate>& candidates, const std::optional<int>& count,
                 const char* format, const std::string& unit) {
    if (!count) {
        return;
    }
    std::set<std::string> seen;
    for (Candidate* candidate : byTime(candidates)) {
        const std::string period = periodOf(candidate->time, format);
        if (seen.size() < static_cast<std::size_t>(*count) && seen.insert(period).second) {
            keep(*candidate, fmt::format("the newest of its {}, {}", unit, period));
        }
    }
}

void keepLast(std::vector<Candidate>& candidates, const std::optional<int>& count) {
    int left = count.value_or(0);
    for (auto candidate = candidates.rbegin(); candidate != candidates.rend() && left > 0;
         ++candidate) {
        if (isCounted(*candidate)) {
            keep(*candidate, "one of the last " + std::to_string(*count));
            --left;
        }
    }
}

void keepRecentAndTagged(std::vector<Candidate>& candidates, const Retention& retention,
                         std::int64_t now) {
    for (Candidate& candidate : candidates) {
        if (retention.within && candidate.time == 0) {
            keep(candidate, "its age is not known");
        } else if (retention.within && now - candidate.time <= *retention.within / microseconds) {
            keep(candidate, "younger than " + shortDuration(*retention.within));
        }
        for (const std::string& tag : retention.tags) {
            if (std::ranges::count(candidate.tags, tag) != 0) {
                keep(candidate, "tagged " + tag);
            }
        }
    }
}

/// Takes the oldest from what is kept until the rest is small enough.
void limitSize(std::vector<Candidate>& candidates, const Retention& retention) {
    if (!retention.greatestSize) {
        return;
    }
    std::int64_t total = 0;
    for (const Candidate& candidate : candidates) {
        total += candidate.isKept ? candidate.size : 0;
    }
    const auto isTagged = [&](const Candidate& candidate) {
        return std::ranges::find_first_of(candidate.tags, retention.tags) != candidate.tags.end();
    };
    for (Candidate& candidate : candidates) {
        if (total <= *retention.greatestSize) {
            return;
        }
        if (candidate.isKept && candidate.exemption.empty() && !isTagged(candidate)) {
            candidate.isKept = false;
            candidate.reason = "more than " +
                               shortSize(static_cast<std::uint64_t>(*retention.greatestSize)) +
                               " with it";
            total -= candidate.size;
        }
    }
}

}  // namespace

bool Retention::isEmpty() const {
    return !last && !within && !daily && !weekly && !monthly && tags.empty() && !greatestSize;
}

void judge(std::vector<Candidate>& candidates, const Retention& retention, std::int64_t now) {
    Retention others = retention;
    others.greatestSize.reset();
    for (Candidate& candidate : candidates) {
        candidate.isKept = false;
        if (!candidate.exemption.empty()) {
            keep(candidate, candidate.exemption);
        } else if (others.isEmpty() && !candidate.isInvalid) {
            keep(candidate, "within the size");
        }
    }
    keepLast(candidates, retention.last);
    keepRecentAndTagged(candidates, retention, now);
    keepPeriods(candidates, retention.daily, "%Y-%m-%d", "day");
    keepPeriods(candidates, retention.weekly, "%G-W%V", "week");
    keepPeriods(candidates, retention.monthly, "%Y-%m", "month");
    limitSize(candidates, retention);
    for (Candidate& candidate : candidates) {
        if (!candidate.isKept && candidate.reason.empty()) {
            candidate.reason = candidate.isInvalid ? "invalid" : "kept by no rule";
        }
    }
}

}  // namespace cli

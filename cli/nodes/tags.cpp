#include "nodes/tags.h"

#include <algorithm>
#include <sstream>

#include "base/failure.h"
#include "base/text.h"
#include "nodes/properties.h"

namespace cli {
namespace {

bool mayBeIn(char c) {
    constexpr char deleteCharacter = 0x7f;
    return static_cast<unsigned char>(c) > ' ' && c != deleteCharacter && c != ',';
}

}  // namespace

void requireTag(const std::string& tag) {
    if (tag.empty() || tag.front() == '+' || tag.front() == '-' ||
        !std::all_of(tag.begin(), tag.end(), mayBeIn)) {
        throw Failure(exitUsage, {}, shellQuote(tag) + " is no tag",
                      "give a word without blanks, commas and control characters that does not "
                      "begin with '+' or '-'");
    }
}

std::vector<std::string> tagsOf(vesta2::INode& node) {
    return splitTags(getProperty(node, key::tags));
}

std::vector<std::string> splitTags(const basekit2::variant_t& joined) {
    std::istringstream words(joined.as_string() ? *joined.as_string() : "");
    std::vector<std::string> tags;
    for (std::string tag; std::getline(words, tag, ' ');) {
        if (!tag.empty()) {
            tags.push_back(tag);
        }
    }
    return tags;
}

void setTags(vesta2::INode& node, std::vector<std::string> tags) {
    std::sort(tags.begin(), tags.end());
    tags.erase(std::unique(tags.begin(), tags.end()), tags.end());
    std::string joined;
    for (const std::string& tag : tags) {
        joined += (joined.empty() ? "" : " ") + tag;
    }
    putProperty(node, key::tags, tags.empty() ? basekit2::variant_t() : joined);
}

}  // namespace cli

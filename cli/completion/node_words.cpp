#include "completion/node_words.h"

#include <exception>

#include "basekit2/bag_io.h"
#include "check/node_files.h"
#include "nodes/properties.h"
#include "nodes/selection.h"
#include "nodes/tags.h"
#include "vesta2/discovery.h"
#include "vesta2/flag_look.h"
#include "vesta2/property_names.h"

namespace cli {
namespace {

/// As many as are read within some ten milliseconds.
constexpr std::size_t mostNodes = 300;

}  // namespace

NamedNodes::NamedNodes(const std::vector<std::string>& words) {
    NodeFinder finder;
    for (const std::string& word : words) {
        try {
            for (const Member& member : finder.membersNamed(word)) {
                add(member.marker);
            }
        } catch (const std::exception&) {
            continue;
        }
    }
}

NamedNodes::NamedNodes(const std::string& directory) {
    std::size_t count = 0;
    const auto isWanted = [&](const std::string&) { return count++ < mostNodes; };
    for (const Member& member : membersOf(directory, isWanted)) {
        add(member.marker);
    }
}

void NamedNodes::add(const std::string& found) {
    if (m_markers.size() >= mostNodes) {
        return;
    }
    const std::string marker = vesta2::isLink(found) ? LinkContent(found).target : found;
    basekit2::variant_bag_t bag;
    const int result = basekit2::load_variant_bag(bag, marker, basekit2::default_root);
    const basekit2::variant_bag_t* section = bag.get_bag(vesta2::section::vesta);
    if (!basekit2::bag_failed(result) && section) {
        m_sections.push_back(*section);
    }
    m_markers.push_back(marker);
}

std::set<std::string> NamedNodes::keys() const {
    std::set<std::string> keys;
    for (const basekit2::variant_bag_t& section : m_sections) {
        for (const Property& property : propertiesIn(section)) {
            keys.insert(property.key);
        }
    }
    return keys;
}

std::set<std::string> NamedNodes::tags() const {
    std::set<std::string> tags;
    for (const basekit2::variant_bag_t& section : m_sections) {
        for (const Property& property : propertiesIn(section)) {
            if (property.key == key::tags) {
                const std::vector<std::string> own = splitTags(property.value);
                tags.insert(own.begin(), own.end());
            }
        }
    }
    return tags;
}

std::set<std::string> NamedNodes::flags() const {
    std::set<std::string> names;
    for (const std::string& marker : m_markers) {
        for (const vesta2::util::FlagLook& look : vesta2::util::lookAtFlags(directoryOf(marker))) {
            names.insert(look.name());
        }
    }
    return names;
}

}  // namespace cli

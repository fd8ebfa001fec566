#include "nodes/properties.h"

#include <algorithm>
#include <array>

#include "base/failure.h"
#include "nodes/description.h"
#include "nodes/variables.h"
#include "vesta2/property_names.h"
#include "vesta2/result_directory_manager.h"

namespace cli {
namespace {

using kind_t = basekit2::variant_t::kind_t;

struct KnownKey {
    std::string key;
    Role role;
    kind_t kind;
};

KnownKey known(std::string_view key) {
    namespace property = vesta2::property;
    static const std::array keys{
        KnownKey{property::timestamp, Role::creation, kind_t::uint64},
        KnownKey{property::hostname, Role::creation, kind_t::str},
        KnownKey{property::os, Role::creation, kind_t::str},
        KnownKey{property::product, Role::creation, kind_t::str},
        KnownKey{property::buildNumber, Role::creation, kind_t::int32},
        KnownKey{property::logicalCpuCount, Role::creation, kind_t::int32},
        KnownKey{property::cpuFrequency, Role::creation, kind_t::int64},
        KnownKey{property::mpiRank, Role::creation, kind_t::int32},
        KnownKey{property::backlink, Role::link, kind_t::str},
        KnownKey{property::collectionTimeBegin, Role::time, kind_t::uint64},
        KnownKey{property::collectionTimeEnd, Role::time, kind_t::uint64},
        KnownKey{property::finalizationTimeBegin, Role::time, kind_t::uint64},
        KnownKey{property::finalizationTimeEnd, Role::time, kind_t::uint64},
        KnownKey{std::string(vesta2::section::variables) + "/" + dateVariable, Role::time,
                 kind_t::str},
        KnownKey{key::exitCode, Role::fact, kind_t::int32},
        KnownKey{key::exitSignal, Role::fact, kind_t::int32},
        KnownKey{key::limitAddressSpace, Role::fact, kind_t::uint64},
        KnownKey{key::limitCpu, Role::fact, kind_t::uint64},
        KnownKey{key::limitData, Role::fact, kind_t::uint64},
        KnownKey{key::limitFileSize, Role::fact, kind_t::uint64},
        KnownKey{key::limitFiles, Role::fact, kind_t::uint64},
        KnownKey{key::limitProcesses, Role::fact, kind_t::uint64},
        KnownKey{key::limitStack, Role::fact, kind_t::uint64},
        KnownKey{key::limitLocked, Role::fact, kind_t::uint64},
        KnownKey{key::limitCore, Role::fact, kind_t::uint64},
        KnownKey{key::elapsed, Role::measurement, kind_t::uint64},
        KnownKey{key::userTime, Role::measurement, kind_t::uint64},
        KnownKey{key::systemTime, Role::measurement, kind_t::uint64},
        KnownKey{key::peakMemory, Role::measurement, kind_t::uint64},
        KnownKey{key::readBytes, Role::measurement, kind_t::uint64},
        KnownKey{key::writtenBytes, Role::measurement, kind_t::uint64},
        KnownKey{key::sampleCount, Role::measurement, kind_t::uint64},
        KnownKey{key::tags, Role::remark, kind_t::str},
        KnownKey{key::note, Role::remark, kind_t::str},
        KnownKey{key::pinned, Role::remark, kind_t::str},
    };
    const auto* found = std::find_if(keys.begin(), keys.end(),
                                     [&](const KnownKey& entry) { return entry.key == key; });
    return found != keys.end() ? *found : KnownKey{std::string(key), Role::fact, kind_t::str};
}

std::string pathOf(const std::string& key) {
    return std::string(vesta2::section::vesta) + "/" + key;
}

void flatten(const basekit2::variant_bag_t& bag, const std::string& prefix,
             std::vector<Property>& out) {
    for (const auto& [name, value] : bag) {
        if (const basekit2::variant_bag_t* nested = value.as_bag()) {
            flatten(*nested, prefix + name + "/", out);
        } else {
            out.push_back({prefix + name, value});
        }
    }
}

}  // namespace

Role roleOf(std::string_view key) { return known(key).role; }

bool isTime(std::string_view key) {
    return key == vesta2::property::timestamp ||
           (roleOf(key) == Role::time && usualKind(key) != kind_t::str);
}

kind_t usualKind(std::string_view key) { return known(key).kind; }

std::vector<Property> properties(vesta2::INode& node) {
    const basekit2::variant_bag_t* section = vestaSection(node);
    return section ? propertiesIn(*section) : std::vector<Property>();
}

std::vector<Property> propertiesIn(const basekit2::variant_bag_t& section) {
    std::vector<Property> all;
    flatten(section, "", all);
    return all;
}

std::string valueText(const basekit2::variant_t& value) {
    if (const std::string* text = value.as_string()) {
        return *text;
    }
    if (value.kind() == kind_t::uint64) {
        return std::to_string(static_cast<std::uint64_t>(value.to_int64()));
    }
    return std::to_string(value.to_int64());
}

basekit2::variant_t getProperty(vesta2::INode& node, const std::string& key) {
    return node.getPropertyStorage()->getProperty(pathOf(key).c_str());
}

bool putProperty(vesta2::INode& node, const std::string& key, const basekit2::variant_t& value) {
    return node.getPropertyStorage()->setProperty(pathOf(key).c_str(), value);
}

void saveProperties(vesta2::INode& node) {
    // `save` returns true also after a failed write.
    node.save();
    const vesta2::error_t status = vesta2::ResultDirectoryManager::getLastError();
    if (status == vesta2::eOK) {
        return;
    }
    throw Failure::fromWriting(status, node.getMarkerFilePath(), node.getPath());
}

}  // namespace cli

#include <boost/thread/lock_guard.hpp>

#include "vesta2/node.h"
#include "vesta2/property_names.h"

namespace vesta2 {

using basekit2::variant_t;
using Lock = boost::lock_guard<boost::recursive_mutex>;

basekit2::variant_bag_t* Node::getVestaBag() { return &m_properties.put_bag(section::vesta); }

void Node::setRdPropInt(const char* name, int value) {
    getVestaBag()->put(name, std::int32_t{value});
}

void Node::setRdPropLong(const char* name, long long value) {
    getVestaBag()->put(name, std::int64_t{value});
}

void Node::setRdPropStr(const char* name, const char* value) { getVestaBag()->put(name, value); }

void Node::setRdPropTime(const char* name, long value) {
    getVestaBag()->put(name, static_cast<std::uint64_t>(value));
}

const variant_t* Node::findRdProp(const char* name) const {
    const basekit2::variant_bag_t* vesta = m_properties.get_bag(section::vesta);
    return vesta ? vesta->find(name) : nullptr;
}

int Node::getRdPropInt(const char* name, int def) const {
    const variant_t* value = findRdProp(name);
    return value ? static_cast<int>(value->to_int64()) : def;
}

long long Node::getRdPropLong(const char* name, long long def) const {
    const variant_t* value = findRdProp(name);
    return value ? value->to_int64() : def;
}

const char* Node::getRdPropStr(const char* name, const char* def) const {
    const variant_t* value = findRdProp(name);
    return value && value->as_string() ? value->as_string()->c_str() : def;
}

long Node::getRdPropTime(const char* name, long def) const {
    const variant_t* value = findRdProp(name);
    return value ? value->to_int64() : def;
}

long Node::getCreationTime() { return getRdPropTime(property::timestamp, 0); }

std::string Node::currentPath() const {
    const Lock lock(s_recursiveMutex);
    return m_path;
}

std::string Node::getOutputDirectory() {
    const Lock lock(s_recursiveMutex);
    return m_outputDirectory.empty() ? m_path : m_outputDirectory;
}

void Node::setOutputDirectory(const char* directory) {
    const Lock lock(s_recursiveMutex);
    m_outputDirectory = directory ? directory : "";
    if (basekit2::variant_bag_t* vesta = m_properties.get_bag(section::vesta)) {
        vesta->put(property::outputDirectory, m_outputDirectory);
        setStatus(saveProperties());
    }
}

}  // namespace vesta2

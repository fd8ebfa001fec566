#include "vesta2/flag_look.h"

#include <boost/filesystem/operations.hpp>
#include <set>
#include <string_view>

#include "basekit2/path.h"
#include "flag_record.h"
#include "glance.h"
#include "vesta2/names.h"

namespace vesta2::util {

namespace fs = boost::filesystem;

namespace {

/// `name` without `extension`; empty when it has another.
std::string stripped(const std::string& name, std::string_view extension) {
    const bool hasIt = name.size() > extension.size() &&
                       std::string_view(name).substr(name.size() - extension.size()) == extension;
    return hasIt ? name.substr(0, name.size() - extension.size()) : "";
}

}  // namespace

FlagLook lookAtFlag(const std::string& directory, const std::string& name) {
    FlagLook look;
    look.name = name;
    const std::string path = basekit2::path_t(directory).join(name).text();
    const bool isLocked = Glance(path + getFlagLockExtension()).isLocked();
    switch (Glance(path + getFlagInfoExtension()).read(look.record)) {
    case eOK:
        look.state =
            isLocked || !isReclaimable(look.record) ? flag_state_t::held : flag_state_t::stale;
        break;
    case eNotFound:
    case eSerializationError:
        look.state = isLocked ? flag_state_t::held : flag_state_t::free;
        break;
    default:
        look.state = flag_state_t::held;
    }
    return look;
}

std::vector<FlagLook> lookAtFlags(const std::string& directory) {
    std::set<std::string> names;
    for (const fs::directory_entry& entry : fs::directory_iterator(directory)) {
        const std::string file = entry.path().filename().native();
        names.insert(stripped(file, getFlagLockExtension()));
        names.insert(stripped(file, getFlagInfoExtension()));
    }
    names.erase("");
    std::vector<FlagLook> looks;
    for (const std::string& name : names) {
        looks.push_back(lookAtFlag(directory, name));
    }
    return looks;
}

}  // namespace vesta2::util

/// Claims flags as it is told: each line of its input is a command, and is answered with a line.

#include <functional>
#include <iostream>
#include <map>
#include <string>

#include "vesta2/flag_look.h"
#include "vesta2/flag_manager.h"

using namespace vesta2::util;

namespace {

FlagManager flags;

/// "PID HOST", which is "0 " without a record.
std::string ownerIn(const basekit2::variant_bag_t& record) {
    return std::to_string(record.get_variant("pid").to_int64()) + ' ' +
           *record.get_variant("host", "").as_string();
}

void claim(const char* flag, bool force) {
    basekit2::variant_bag_t record;
    std::cout << flags.writeFlag(flag, force, &record) << ' ' << ownerIn(record);
}

void look(const std::string& path) {
    const char* const states[] = {"free", "held", "stale"};
    const std::size_t slash = path.rfind('/');
    const FlagLook found = lookAtFlag(path.substr(0, slash), path.substr(slash + 1));
    std::cout << states[static_cast<int>(found.state())] << ' ' << ownerIn(found.record());
}

}  // namespace

int main() {
    const std::map<std::string, std::function<void(const char*)>> commands{
        {"write", [](auto flag) { claim(flag, false); }},
        {"force", [](auto flag) { claim(flag, true); }},
        {"own", [](auto flag) { std::cout << flags.isFlagOwner(flag); }},
        {"remove", [](auto flag) { std::cout << flags.removeFlag(flag, true, false); }},
        {"look", look},
    };
    for (std::string command, path; std::cin >> command >> path;) {
        commands.at(command)(path.c_str());
        std::cout << std::endl;
    }
}

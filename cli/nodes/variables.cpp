#include "nodes/variables.h"

#include <pwd.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <ctime>

#include "basekit2/path.h"
#include "failure.h"
#include "output/text.h"
#include "vesta2/names.h"
#include "vesta2/result_directory_manager.h"

namespace cli {
namespace {

std::string userName() {
    std::array<char, 4096> buffer{};
    passwd entry{};
    passwd* found = nullptr;
    const uid_t user = ::geteuid();
    if (::getpwuid_r(user, &entry, buffer.data(), buffer.size(), &found) == 0 && found) {
        return found->pw_name;
    }
    return std::to_string(user);
}

}  // namespace

vesta2::ResultVariableBag nameVariables(const std::vector<std::string>& given,
                                        const std::string& program) {
    vesta2::ResultVariableBag variables;
    variables.putVariable("user", userName());
    variables.putVariable("host", vesta2::getFQDN());
    if (!program.empty()) {
        variables.putVariable("app", std::string(basekit2::path_t(program).last_component()));
    }
    variables.putVariable("date", localDay(std::time(nullptr)));
    variables.putVariable(
        "rank", std::to_string(std::max(vesta2::ResultDirectoryManager::getCurrentMpiRank(), 0)));
    for (const std::string& definition : given) {
        const std::size_t equals = definition.find('=');
        if (equals == std::string::npos || equals == 0) {
            throw Failure(exitUsage, {}, "--var " + shellQuote(definition) + " is no definition",
                          "write it as --var NAME=VALUE");
        }
        variables.putVariable(definition.substr(0, equals).c_str(), definition.substr(equals + 1));
    }
    return variables;
}

}  // namespace cli

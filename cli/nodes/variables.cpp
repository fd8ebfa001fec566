#include "nodes/variables.h"

#include <pwd.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <boost/filesystem/path.hpp>
#include <cstdlib>
#include <ctime>
#include <string_view>

#include "base/failure.h"
#include "base/text.h"
#include "basekit2/files.h"
#include "basekit2/path.h"
#include "vesta2/discovery.h"
#include "vesta2/names.h"
#include "vesta2/property_names.h"
#include "vesta2/result_directory_manager.h"

namespace cli {
namespace {

/// A name service may be far away, and is asked only when the session does not tell: its login is
/// by this user, so that its $LOGNAME is this user's name.
std::string userName() {
    std::string login;
    const char* const name = std::getenv("LOGNAME");
    if (name && *name && basekit2::read_file("/proc/self/loginuid", 32, login) &&
        login == std::to_string(::geteuid())) {
        return name;
    }
    std::array<char, 4096> buffer{};
    passwd entry{};
    passwd* found = nullptr;
    const uid_t user = ::geteuid();
    if (::getpwuid_r(user, &entry, buffer.data(), buffer.size(), &found) == 0 && found) {
        return found->pw_name;
    }
    return std::to_string(user);
}

/// `text` with all replaced that a name must not have.
std::string asName(std::string text) {
    constexpr std::string_view reserved("<>:\"/\\|?*\0", 10);
    std::replace_if(
        text.begin(), text.end(), [&](char c) { return reserved.find(c) != reserved.npos; }, '_');
    if (!text.empty() && (text.back() == '.' || text.back() == ' ')) {
        text.back() = '_';
    }
    return text;
}

/// Those that a name may have, for people.
std::string listOf(const vesta2::ResultVariableBag& variables) {
    std::string list;
    for (const auto& [name, value] :
         *variables.get_bag(vesta2::section::vesta)->get_bag(vesta2::section::variables)) {
        list += (list.empty() ? "{" : ", {") + name + "}";
    }
    return list;
}

}  // namespace

void requireKnownVariables(const std::string& path, const vesta2::ResultVariableBag& variables) {
    std::string directory;
    std::string marker;
    vesta2::splitDirPatternAndFileName(path, vesta2::resultMarkerFileExt(), directory, marker);
    const std::string name = boost::filesystem::path(directory).filename().native();
    for (std::size_t at = 0; (at = name.find('{', at)) != std::string::npos;) {
        const std::size_t end = name.find('}', at);
        if (end == std::string::npos) {
            return;
        }
        const std::string variable = name.substr(at + 1, end - at - 1);
        if (!variables.hasVariable(variable.c_str())) {
            throw Failure(exitUsage, path, "there is no variable {" + variable + "}",
                          "known are " + listOf(variables) + "; --var defines others");
        }
        at = end;
    }
}

vesta2::ResultVariableBag nameVariables(const std::vector<std::string>& given,
                                        const std::string& program) {
    vesta2::ResultVariableBag variables;
    variables.putVariable("user", asName(userName()));
    variables.putVariable("host", asName(vesta2::getFQDN()));
    if (!program.empty()) {
        variables.putVariable("app",
                              asName(std::string(basekit2::path_t(program).last_component())));
    }
    variables.putVariable(dateVariable, localDay(std::time(nullptr)));
    variables.putVariable(
        "rank", std::to_string(std::max(vesta2::ResultDirectoryManager::getCurrentMpiRank(), 0)));
    for (const std::string& definition : given) {
        const auto assignment = splitAssignment(definition);
        if (!assignment) {
            throw Failure(exitUsage, {}, "--var " + shellQuote(definition) + " is no definition",
                          "write it as --var NAME=VALUE");
        }
        variables.putVariable(assignment->first.c_str(), assignment->second);
    }
    return variables;
}

}  // namespace cli

#include "vesta2/names.h"

#include <unistd.h>

#include <array>
#include <string_view>

#include "log.h"
#include "optstore2/product_locations.h"
#include "platkit/strings.h"
#include "reserved_names.h"

namespace vesta2 {
namespace {

std::string shortName() {
    return optstore2::IProductLocations::get().query(optstore2::IProductLocations::short_name);
}

std::string getResultExtensionInternal() { return "." + shortName(); }

std::string getProjectExtensionInternal() { return getResultExtensionInternal() + "proj"; }

std::string getExperimentExtensionInternal() { return getResultExtensionInternal() + "exp"; }

std::string getFlagLockExtensionInternal() { return ".dflg" + shortName(); }

std::string getFlagInfoExtensionInternal() { return ".info" + shortName(); }

// Computed at load and never destroyed: nodes may still be looked up while the process ends.
const std::string& s_resultExtension = *new std::string(getResultExtensionInternal());
const std::string& s_projectExtension = *new std::string(getProjectExtensionInternal());
const std::string& s_experimentExtension = *new std::string(getExperimentExtensionInternal());
const std::string& s_flagLockExtension = *new std::string(getFlagLockExtensionInternal());
const std::string& s_flagInfoExtension = *new std::string(getFlagInfoExtensionInternal());

constexpr std::string_view reservedCharacters = "<>:\"/\\|?*";

bool isReservedBaseName(const std::string& upperCaseName) {
    if (isReservedDeviceName(upperCaseName)) {
        return true;
    }
    // An instance of a pattern such as COM@ would name a device.
    if (upperCaseName.size() > 1 && upperCaseName.back() == '@') {
        std::string first = upperCaseName;
        first.back() = '1';
        return isReservedDeviceName(first);
    }
    return false;
}

}  // namespace

const char* getResultExtension() { return s_resultExtension.c_str(); }
const char* getProjectExtension() { return s_projectExtension.c_str(); }
const char* getExperimentExtension() { return s_experimentExtension.c_str(); }

std::string resultMarkerFileExt() { return getResultExtension(); }
std::string projectMarkerFileExt() { return getProjectExtension(); }
std::string experimentMarkerFileExt() { return getExperimentExtension(); }

std::string linkSuffix() { return "link"; }
std::string resultLinkExt() { return resultMarkerFileExt() + linkSuffix(); }
std::string projectLinkExt() { return projectMarkerFileExt() + linkSuffix(); }
std::string experimentLinkExt() { return experimentMarkerFileExt() + linkSuffix(); }

const char* getFlagLockExtension() { return s_flagLockExtension.c_str(); }
const char* getFlagInfoExtension() { return s_flagInfoExtension.c_str(); }

basekit2::string_span_t flagFilePatterns() {
    static const auto& patterns =
        *new std::array{"*" + s_flagLockExtension, "*" + s_flagInfoExtension};
    return {patterns.data(), patterns.size()};
}

const char* getCollectorDataDirectoryPrefix() { return "data."; }

std::string makeDataFolderName(int number) {
    return getCollectorDataDirectoryPrefix() + std::to_string(number);
}

std::string getFQDN() {
    std::array<char, 256> name{};
    return ::gethostname(name.data(), name.size() - 1) == 0 ? name.data() : "";
}

error_t validateFileName(const char* name) {
    if (!name || !*name) {
        logWarning(eReservedDeviceName, nullptr);
        return eEmptyPattern;
    }
    const std::string_view text = name;
    if (text == "." || text == "..") {
        return eOK;
    }
    if (isReservedBaseName(platkit::strings::to_upper(text.substr(0, text.find('.'))))) {
        logWarning(eReservedDeviceName, name);
        return eReservedDeviceName;
    }
    if (text.find_first_of(reservedCharacters) != std::string_view::npos) {
        logWarning(eReservedCharacters, name);
        return eReservedCharacters;
    }
    if (text.back() == '.' || text.back() == ' ') {
        logWarning(eInvalidLastCharacter, name);
        return eInvalidLastCharacter;
    }
    return eOK;
}

}  // namespace vesta2

#include <string>
#include <string_view>

#include "log.h"
#include "platkit/strings.h"
#include "reserved_names.h"
#include "vesta2/names.h"

namespace vesta2 {
namespace {

constexpr std::string_view reservedCharacters = "<>:\"/\\|?*";

bool isReservedBaseName(const std::string& upperCaseName) {
    if (isReservedDeviceName(upperCaseName)) {
        return true;
    }
    // A pattern such as COM@ can come to name a device.
    if (upperCaseName.size() > 1 && upperCaseName.back() == '@') {
        std::string first = upperCaseName;
        first.back() = '1';
        return isReservedDeviceName(first);
    }
    return false;
}

}  // namespace

error_t validateFileName(const char* name) {
    if (!name || !*name) {
        VESTA_LOG_WARN(eReservedDeviceName, nullptr);
        return eEmptyPattern;
    }
    const std::string_view text = name;
    if (text == "." || text == "..") {
        return eOK;
    }
    if (isReservedBaseName(platkit::strings::to_upper(text.substr(0, text.find('.'))))) {
        VESTA_LOG_WARN(eReservedDeviceName, name);
        return eReservedDeviceName;
    }
    if (text.find_first_of(reservedCharacters) != std::string_view::npos) {
        VESTA_LOG_WARN(eReservedCharacters, name);
        return eReservedCharacters;
    }
    if (text.back() == '.' || text.back() == ' ') {
        VESTA_LOG_WARN(eInvalidLastCharacter, name);
        return eInvalidLastCharacter;
    }
    return eOK;
}

}  // namespace vesta2

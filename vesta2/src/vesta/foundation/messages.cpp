#include <map>
#include <string>
#include <string_view>

#include "optstore2/message_catalog.h"
#include "vesta2/error.h"

namespace vesta2 {
namespace {

const char* messageKey(error_t code) {
    switch (code) {
    case eOK:
        return "%OK";
    case eNotImplemented:
        return "%NotImplemented";
    case eInsufficientPermissions:
        return "%InsufficientPermissions";
    case eAlreadyExists:
        return "%AlreadyExists";
    case eNotFound:
        return "%NotFound";
    case eParameterError:
        return "%ParameterError";
    case eInvalidPath:
        return "%InvalidPath";
    case eTooManyPlaceholderGroups:
        return "%TooManyPlaceholderGroups";
    case eTooLongPlaceholder:
        return "%TooLongPlaceholder";
    case eReservedCharacters:
        return "%ReservedCharacters";
    case eReservedDeviceName:
        return "%ReservedDeviceName";
    case eInvalidLastCharacter:
        return "%InvalidLastCharacter";
    case eEmptyPattern:
        return "%EmptyPattern";
    case eFileLocked:
        return "%FileLocked";
    case eFileError:
        return "%FileError";
    case eFileAccessDenied:
    case eTooManyOpenFiles:
    case eSerializationError:
    case eNotOwner:
    case eUnknown:
        break;
    }
    return "%Unknown";
}

using Texts = std::map<std::string_view, std::string>;

Texts render(const platkit::i18n::catalog_t& catalog) {
    Texts texts;
    for (int code = eOK; code <= eUnknown; ++code) {
        const char* key = messageKey(static_cast<error_t>(code));
        texts[key] = catalog.message(key).as_ustring(platkit::i18n::varg_list());
    }
    return texts;
}

}  // namespace

const char* toString(error_t code) {
    const char* key = messageKey(code);
    const platkit::i18n::catalog_t* catalog = optstore2::getMessageCatalog("vesta2");
    if (!catalog) {
        return key;
    }
    // Rendered once and never destroyed: no call can touch a text that another one gave, and
    // threads and the process may still ask while they end.
    static const Texts& texts = *new Texts(render(*catalog));
    return texts.at(key).c_str();
}

}  // namespace vesta2

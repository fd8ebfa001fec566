#include <string>

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

}  // namespace

const char* toString(error_t code) {
    static std::string buffer;
    buffer = messageKey(code);
    if (const platkit::i18n::catalog_t* catalog = optstore2::getMessageCatalog("vesta2")) {
        buffer = catalog->message(buffer).as_ustring(platkit::i18n::varg_list());
    }
    return buffer.c_str();
}

}  // namespace vesta2

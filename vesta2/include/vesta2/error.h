#pragma once
/// Error codes, the status that each thread keeps of its last call, and messages for people.
///
/// Every public operation tells its outcome twice: by its own result, and by the calling thread's
/// status. The status is strictly per thread. Everything here is safe from any thread, also while
/// the thread or the process ends.

#include <cstdint>

#include "vesta2/boost_fwd.h"
#include "vesta2/export.h"

namespace vesta2 {

/// The values are stored and compared by callers: they never change. 19 and 20 stay free.
enum error_t : std::int32_t {
    eOK = 0,
    eNotImplemented = 1,
    eInsufficientPermissions = 2,
    eAlreadyExists = 3,
    eNotFound = 4,
    eParameterError = 5,
    eInvalidPath = 6,
    eTooManyPlaceholderGroups = 7,
    eTooLongPlaceholder = 8,
    eReservedCharacters = 9,
    eReservedDeviceName = 10,
    eInvalidLastCharacter = 11,
    eEmptyPattern = 12,
    eFileAccessDenied = 13,
    eTooManyOpenFiles = 14,
    eFileLocked = 15,
    eFileError = 16,
    eSerializationError = 17,
    eNotOwner = 18,
    eUnknown = 21,
};

/// Stores `code` as the calling thread's status. True exactly when it is `eOK`.
VESTA2_API bool setStatus(error_t code);

/// The calling thread's status; `eOK` on a thread that never set one.
VESTA2_API error_t getStatus();

/// The message for `code` from the catalog "vesta2", or its key (such as "%NotFound") without a
/// catalog. The text lives as long as the process, and nothing changes it.
/// Deliberate: codes 13, 14, 17 and 18 have no message of their own and give that of `eUnknown`.
VESTA2_API const char* toString(error_t code);

/// For the result of loading or saving a bag: 1 gives `eOK`, anything else `eUnknown`.
VESTA2_API error_t errorFromObxError(int result);

/// EACCES and EROFS give `eInsufficientPermissions`, ENOENT `eNotFound`, EEXIST `eAlreadyExists`.
/// Deliberate: everything else, ENOTEMPTY and ENOSPC included, gives `eUnknown`.
VESTA2_API error_t errorFromBoostError(const boost::system::system_error& e);

}  // namespace vesta2

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

/// How an operation ended. The values are stored and compared by callers: they never change. 19 and
/// 20 stay free.
enum error_t : std::int32_t {
    /// Success.
    eOK = 0,
    /// The operation does not exist for this kind of node.
    eNotImplemented = 1,
    /// The file system denies the access, or is read-only.
    eInsufficientPermissions = 2,
    /// Something has that name, or this process has that flag.
    eAlreadyExists = 3,
    /// There is certainly no such node, file or flag.
    eNotFound = 4,
    /// An argument is null, empty or contradicts another.
    eParameterError = 5,
    /// The path can never name a node, such as the root.
    eInvalidPath = 6,
    /// A pattern with two runs of "@".
    eTooManyPlaceholderGroups = 7,
    /// A pattern with more than 8 placeholders.
    eTooLongPlaceholder = 8,
    /// A name with one of < > : " / \ | ? *.
    eReservedCharacters = 9,
    /// A name of a device; none on this platform.
    eReservedDeviceName = 10,
    /// A name that ends with a dot or a space.
    eInvalidLastCharacter = 11,
    /// A name that is null or empty.
    eEmptyPattern = 12,
    /// A flag's file may not be opened.
    eFileAccessDenied = 13,
    /// A flag's file could not be opened: no descriptors.
    eTooManyOpenFiles = 14,
    /// Another process holds the flag.
    eFileLocked = 15,
    /// A copy was cancelled or failed as a whole; a flag's file failed.
    eFileError = 16,
    /// A record that cannot be parsed, or not be written.
    eSerializationError = 17,
    /// Another process holds the flag; this one does not.
    eNotOwner = 18,
    /// Any other failure: the disk, the space, what is in a file.
    eUnknown = 21,
};

/// Stores `code` as the calling thread's status.
/// Returns: true exactly when it is `eOK`.
VESTA2_API bool setStatus(error_t code);

/// Returns: the calling thread's status; `eOK` on a thread that never set one.
VESTA2_API error_t getStatus();

/// Returns: the message for `code` from the catalog "vesta2", in UTF-8, or its key (such as
/// "%NotFound") without a catalog. Never null.
/// Lifetime: the process; nothing changes a text that was returned.
/// Deliberate: codes 13, 14, 17 and 18 have no message of their own and give that of `eUnknown`.
VESTA2_API const char* toString(error_t code);

/// For the result of loading or saving a bag (`basekit2::bag_result_t`).
/// Returns: `eOK` for 1, `eUnknown` for anything else.
/// Status: stays as it is.
VESTA2_API error_t errorFromObxError(int result);

/// For a failed call of the file system.
/// Returns: `eInsufficientPermissions` for EACCES and EROFS, `eNotFound` for ENOENT,
/// `eAlreadyExists` for EEXIST.
/// Status: stays as it is.
/// Deliberate: everything else, ENOTEMPTY and ENOSPC included, gives `eUnknown`.
VESTA2_API error_t errorFromBoostError(const boost::system::system_error& e);

}  // namespace vesta2

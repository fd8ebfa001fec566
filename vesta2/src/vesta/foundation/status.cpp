#include <boost/system/system_error.hpp>
#include <boost/thread/tss.hpp>

#include "vesta2/error.h"

namespace vesta2 {
namespace {

/// The calling thread's status. Never destroyed: threads may still fail while the process ends.
boost::thread_specific_ptr<error_t>& vesta_statusPtr = *new boost::thread_specific_ptr<error_t>();

}  // namespace

bool setStatus(error_t code) {
    if (error_t* const status = vesta_statusPtr.get()) {
        *status = code;
    } else {
        vesta_statusPtr.reset(new error_t(code));
    }
    return code == eOK;
}

error_t getStatus() {
    const error_t* status = vesta_statusPtr.get();
    return status ? *status : eOK;
}

error_t errorFromObxError(int result) { return result == 1 ? eOK : eUnknown; }

error_t errorFromBoostError(const boost::system::system_error& e) {
    const boost::system::error_code& code = e.code();
    switch (code.category().default_error_condition(code.value()).value()) {
    case boost::system::errc::permission_denied:
    case boost::system::errc::read_only_file_system:
        return eInsufficientPermissions;
    case boost::system::errc::no_such_file_or_directory:
        return eNotFound;
    case boost::system::errc::file_exists:
        return eAlreadyExists;
    default:
        return eUnknown;
    }
}

}  // namespace vesta2

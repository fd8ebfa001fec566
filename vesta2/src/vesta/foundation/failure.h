#pragma once

#include <boost/system/system_error.hpp>

#include "log.h"

namespace vesta2 {

/// Makes `e` the status of the thread and logs it. Always false, for the caller to return.
inline bool failWith(const boost::system::system_error& e, int line) {
    const error_t code = errorFromBoostError(e);
    logError(Severity::error, code, e.what(), line);
    return setStatus(code);
}

}  // namespace vesta2

/// To be called where a file system error is caught.
#define VESTA_FAIL_WITH(e) ::vesta2::failWith((e), __LINE__)

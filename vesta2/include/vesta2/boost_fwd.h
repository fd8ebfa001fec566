#pragma once
/// Names of Boost's types that signatures of this library mention.
///
/// Whoever calls such an operation includes Boost's header: <boost/filesystem/path.hpp>,
/// <boost/system/system_error.hpp>. All other programs need no Boost.

namespace boost {
class recursive_mutex;  // NOLINT(bugprone-forward-declaration-namespace): Boost's own
namespace filesystem {
class path;  // NOLINT(bugprone-forward-declaration-namespace)
}
namespace system {
class system_error;
}
}  // namespace boost

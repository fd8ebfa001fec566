#pragma once
/// The types of Boost that appear in the signatures of a few functions, declared but not defined:
/// who calls those functions includes Boost's headers himself, and nobody else needs them.

namespace boost {
class recursive_mutex;
}

namespace boost::filesystem {
class path;
}

namespace boost::system {
class system_error;
}

#pragma once

#include <fcntl.h>

#include "../foundation/directory_listing.h"
#include "../foundation/file_error.h"
#include "directory_chain.h"

namespace vesta2 {

/// Calls `visit` with a listing that stands at each entry of the directory at the end of `chain` in
/// turn. Throws `boost::filesystem::filesystem_error` when it cannot be listed.
template <class Visit>
void forEachEntry(const DirectoryChain& chain, const Visit& visit) {
    // A listing closes what it lists.
    basekit2::descriptor_t own(::fcntl(chain.descriptor(), F_DUPFD_CLOEXEC, 0));
    if (!own) {
        throwFileError("cannot list the directory", chain.path());
    }
    DirectoryListing listing(chain.path(), std::move(own));
    while (listing.next()) {
        visit(static_cast<const DirectoryListing&>(listing));
    }
}

}  // namespace vesta2

#pragma once

#include "basekit2/directory_listing.h"
#include "basekit2/file_error.h"
#include "directory_chain.h"

namespace vesta2 {

/// Calls `visit` with a listing that stands at each entry of the directory at the end of `chain` in
/// turn. Throws `boost::filesystem::filesystem_error` when it cannot be listed.
template <class Visit>
void forEachEntry(const DirectoryChain& chain, const Visit& visit) {
    // A listing closes what it lists.
    basekit2::descriptor_t own = chain.duplicate();
    if (!own) {
        basekit2::throw_file_error("cannot list the directory", chain.path());
    }
    basekit2::directory_listing_t listing(chain.path(), std::move(own));
    while (listing.next()) {
        visit(static_cast<const basekit2::directory_listing_t&>(listing));
    }
}

}  // namespace vesta2

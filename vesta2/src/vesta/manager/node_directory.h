#pragma once
/// Makes the directories of new nodes: chooses the number and claims it by an exclusive mkdir.

#include <string>

#include "basekit2/variant.h"
#include "vesta2/error.h"

namespace vesta2 {

/// Makes the directory of a new node. `path` lies in the output directory of the group at
/// `baseDir`; its last component may be a pattern (the next free number is taken) and may name
/// variables of the section "vesta" of `bag`; with `literal` "@" stands for itself. Nothing is made
/// when the name with its variables filled in is not one that a node may have. `overwrite` deletes
/// what has that name first. On success `createdDir` is the new directory; for a name that is taken
/// (`eAlreadyExists`) it is what took it. Returns the outcome; the status is of no meaning
/// afterwards. Throws `boost::system::system_error`.
error_t makeNodeDirectory(const std::string& path, const char* baseDir, bool overwrite,
                          const basekit2::variant_bag_t* bag, std::string& createdDir,
                          bool literal);

/// As `makeNodeDirectory`, but every failure is logged and returned.
error_t createDirectoryInternal(const std::string& path, const char* baseDir, bool overwrite,
                                const basekit2::variant_bag_t* bag, std::string& createdDir,
                                bool literal);

}  // namespace vesta2

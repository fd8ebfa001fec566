#pragma once
/// Where results come from: creating, getting and opening them.
///
///     using vesta2::ResultDirectoryManager;
///     auto result = ResultDirectoryManager::create("/runs/r@@@", false, nullptr, false, nullptr);
///     if (!result)
///         fail(vesta2::toString(ResultDirectoryManager::getLastError()));
///     result->setCollectorCommand("app --fast");
///     result->save();
///
/// Safe from any thread and with other processes at work in the same directory: the file system
/// decides who gets a number. On failure a handle is empty and the thread's status says why.

#include "basekit2/object.h"
#include "basekit2/variant.h"
#include "vesta2/error.h"
#include "vesta2/export.h"
#include "vesta2/i_node_group.h"
#include "vesta2/i_result_directory.h"

namespace vesta2 {

class VESTA2_API ResultDirectoryManager {
public:
    /// Makes a result and opens it.
    /// `path` is its directory or, by its extension, the marker file in it; its last component may
    /// be a pattern, which takes the next free number, and may name variables of `variables` (a
    /// property bag, see `ResultVariableBag`; null for none). With `literal` the name is taken as
    /// it stands. A relative path lies below the group at `baseDir`, or in the working directory.
    /// `overwrite` deletes a directory of that name first; it does not go with a pattern
    /// (`eParameterError`).
    /// When the marker file cannot be written the new directory stays, and `get` repairs it.
    static basekit2::sptr_t<IResultDirectory> create(const char* path, bool overwrite,
                                                     const basekit2::variant_bag_t* variables,
                                                     bool literal, const char* baseDir);

    /// The result at `path`: opened when it is there, made when it is not, and a directory without
    /// marker file gets one with an empty bag. A pattern always makes a new result.
    static basekit2::sptr_t<IResultDirectory>
    get(const char* path, const basekit2::variant_bag_t* variables, bool literal);

    /// Opens the result that `path` denotes: its directory, its marker file, a link file, or a
    /// pattern, of which the greatest match in file-name order is taken. A relative path lies in
    /// the working directory. Deliberate: `baseDir` takes no part in the search; it becomes the
    /// parent group. A result whose marker file cannot be read is opened all the same, with no
    /// properties, and the status is `eUnknown`.
    static basekit2::sptr_t<IResultDirectory> open(const char* path, bool literal,
                                                   const char* baseDir);

    /// Opens the two results to compare: the greatest match of each. When both are the same one,
    /// the second becomes the one before it. False when there is no such pair. Deliberate: true
    /// also when one of the two could not be opened; check the handles.
    static bool openForDiff(const char* first, const char* second,
                            basekit2::sptr_t<IResultDirectory>* firstOut,
                            basekit2::sptr_t<IResultDirectory>* secondOut, bool literal);

    /// Opens a result of another product, whose marker files have `extension` (without the dot).
    static basekit2::sptr_t<IResultDirectory> openForImport(const char* path,
                                                            const char* extension);

    /// "r@@@".
    static const char* getDefaultResultDirectoryName();
    /// Whether the last component of `path` is a valid pattern with placeholders.
    static bool isPathPatterned(const char* path);
    /// `eOK`, or what is wrong with `name` as a name or pattern.
    static error_t validateResultDirectoryPattern(const char* name);
    /// Whether an upper-cased base name is reserved for a device. Deliberate: on this platform none
    /// is.
    static bool isReservedDirectoryName(const char* upperCaseName);
    /// The rank of this process under MPI, -1 without MPI.
    static int getCurrentMpiRank();
    /// The calling thread's status.
    static error_t getLastError();
};

}  // namespace vesta2

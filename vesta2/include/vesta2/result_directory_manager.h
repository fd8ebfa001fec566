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
    ///
    /// `path` is its directory or, by its extension, the marker file in it; its last component may
    /// be a pattern, which takes the next free number, and may name variables of `variables` (a
    /// property bag, see `ResultVariableBag`; null for none). With `literal` "@" stands for itself.
    /// The name is checked with its variables filled in, before anything is made: `eInvalidPath`
    /// for one that is no single component, or the code of `validateFileName`.
    /// A relative path lies in the output directory of the group at `baseDir`, or in the working
    /// directory when that is null. A base or a parent that is not there is made; `eNotFound` for
    /// one that is no directory. In a group whose nodes are made elsewhere, the numbers of both
    /// places are taken.
    /// `overwrite` deletes what has that name first, of a symbolic link the link; it does not go
    /// with a pattern. An object that is open on what is deleted is as after `INode::remove`.
    ///
    /// Returns: the result; empty on failure.
    /// Status: `eParameterError` for null, "" and a pattern with `overwrite`; `eInvalidPath` (also
    /// for `overwrite` of "." and "..") or the code of `validateFileName` for the name; the code of
    /// `Pattern::set` for a bad pattern; `eAlreadyExists` for a name that is taken; `eNotFound` for
    /// a base or parent that is no directory; `eInsufficientPermissions`; `eUnknown`, also when the
    /// numbers are used up. Disk: makes missing parents, the directory by an exclusive mkdir, and
    /// the marker file, which is not flushed. When the marker file cannot be written the new
    /// directory stays, and `get` repairs it.
    static basekit2::sptr_t<IResultDirectory> create(const char* path, bool overwrite,
                                                     const basekit2::variant_bag_t* variables,
                                                     bool literal, const char* baseDir);

    /// Opens the result at `path`, or makes it when it is not there. A directory without marker
    /// file gets one with an empty bag. Of a new directory the marker file is waited for, up to 0.2
    /// seconds: its creator may still be at work. A creator that is slower puts its record in the
    /// place of the empty bag, unless that has been saved since. No marker file is ever replaced
    /// otherwise. A pattern always makes a new result. Returns: the result; empty on failure.
    /// Status: as `create`; `eAlreadyExists` when something else than a directory has the name.
    static basekit2::sptr_t<IResultDirectory>
    get(const char* path, const basekit2::variant_bag_t* variables, bool literal);

    /// Opens the result that `path` denotes: its directory, its marker file, a link file, or a
    /// pattern, of which the greatest match in file-name order is taken. A relative path lies in
    /// the working directory.
    /// Deliberate: `baseDir` takes no part in the search; it becomes the parent group.
    /// Returns: the result; empty when there is none.
    /// Status: as `findLastMatching`. A result whose marker file cannot be read is opened all the
    /// same, with no properties, and the status is `eUnknown`.
    static basekit2::sptr_t<IResultDirectory> open(const char* path, bool literal,
                                                   const char* baseDir);

    /// Opens the two results to compare: the greatest match of each. When both are the same one,
    /// the second becomes the one before it.
    /// Returns: false when there is no such pair; both handles are empty then.
    /// Deliberate: true also when one of the two could not be opened; check the handles.
    /// Status: `eNotFound`, `eParameterError` for null, or that of the searches.
    static bool openForDiff(const char* first, const char* second,
                            basekit2::sptr_t<IResultDirectory>* firstOut,
                            basekit2::sptr_t<IResultDirectory>* secondOut, bool literal);

    /// Opens a result of another product, whose marker files have `extension` (without the dot).
    /// Returns: the result that `path` denotes, as `open`; empty when there is none.
    static basekit2::sptr_t<IResultDirectory> openForImport(const char* path,
                                                            const char* extension);

    /// Returns: "r@@@". Lifetime: the process.
    static const char* getDefaultResultDirectoryName();
    /// Returns: whether the last component of `path` is a valid pattern with placeholders.
    static bool isPathPatterned(const char* path);
    /// Returns: `eOK`, or what is wrong with `name` as a name or pattern.
    /// Status: stays as it is.
    static error_t validateResultDirectoryPattern(const char* name);
    /// Returns: whether an upper-cased base name is reserved for a device.
    /// Deliberate: on this platform none is.
    static bool isReservedDirectoryName(const char* upperCaseName);
    /// Returns: the rank of this process, as the MPI launcher set it in the environment; -1 without
    /// one, 0 for a value that is no number.
    static int getCurrentMpiRank();
    /// Returns: the calling thread's status: how its last operation of this library ended.
    static error_t getLastError();
};

}  // namespace vesta2

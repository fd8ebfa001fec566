#pragma once
/// Helpers on files and directories.
///
/// Any thread may call any function. But for `find_files`, a failure is `false`, with `errno`.

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "basekit2/export.h"
#include "basekit2/path.h"

struct stat;

namespace basekit2 {

/// Calls `found` with `context` for the entries of `directory`, of any kind but directories, whose
/// names match `mask` (see `path_t::match`), in byte order of their paths; with `recursive` also
/// for those of its subdirectories. Symbolic links to directories are not followed.
/// Throws `boost::filesystem::filesystem_error` when a directory cannot be listed; `found` was not
/// called then.
BASEKIT2_API void find_files(const path_t& directory, std::string_view mask, bool recursive,
                             void (*found)(const path_t& path, void* context), void* context);

/// Finds the same.
/// Returns: the paths.
inline std::vector<path_t> find_files(const path_t& directory, std::string_view mask,
                                      bool recursive) {
    std::vector<path_t> all;
    find_files(
        directory, mask, recursive,
        [](const path_t& path, void* to) {
            static_cast<std::vector<path_t>*>(to)->push_back(path);
        },
        &all);
    return all;
}

/// Reads a regular file, one of /proc too, without ever blocking.
/// Returns: false, with an empty `text`, when that failed: EINVAL for what is no regular file,
/// EFBIG for more than `limit` bytes.
BASEKIT2_API bool read_file(const std::string& path, std::size_t limit, std::string& text);
/// The same; `file`, which may be null, gets what the system tells of what was read.
bool read_file(const std::string& path, std::size_t limit, std::string& text, struct stat* file);

/// Deletes a file or a symbolic link.
/// Returns: false when that failed, as for a directory.
BASEKIT2_API bool remove_file(const path_t& path);

/// Gives the file `from` in the open directory the name `to`, which nothing may have.
/// Returns: false, with the file as it was, when that failed: EEXIST for a name that is taken.
BASEKIT2_API bool rename_exclusively(int directory, const char* from, const char* to);

}  // namespace basekit2

#pragma once
/// Bags as text and as files.
///
/// Any thread may call any function. A bag is for one thread at a time; a file may be read and
/// saved by several threads and processes at once.
///
/// The text is UTF-8 XML: one element a value, the element's name is its kind, its attribute `n`
/// the value's name. Any byte string comes back exactly; what XML cannot hold is written with C
/// escapes. The reader is strict: it accepts what the writer writes, in any layout and with either
/// quote. Reader and writer keep to the limits below, so that no file costs more than 256 MiB of
/// memory to read.
///
/// Functions that save or load return a `bag_result_t`: 1 for success, else a code with bit 30 set.
/// A load that fails leaves the bag empty. None throws but for want of memory.

#include <cstddef>
#include <string>
#include <string_view>

#include "basekit2/export.h"
#include "basekit2/variant.h"

struct stat;

namespace basekit2 {

/// What a bag's text may hold at most.
inline constexpr std::size_t max_bag_levels = 64;
inline constexpr std::size_t max_bag_bytes = std::size_t{16} << 20;
/// In all levels together. A value takes more memory than its text: "<bag n='a'/>" is one.
inline constexpr std::size_t max_bag_values = std::size_t{1} << 18;

/// Outcomes. The values never change.
enum bag_result_t : int {
    bag_ok = 1,
    bag_failed_bit = 1 << 30,
    /// The file is there but cannot be read, or is no regular file.
    bag_unreadable = bag_failed_bit | 1,
    bag_too_large = bag_failed_bit | 2,   ///< more bytes or values than the limits allow
    bag_malformed = bag_failed_bit | 3,   ///< not a bag's text
    bag_unwritable = bag_failed_bit | 4,  ///< the file cannot be written
    bag_absent = bag_failed_bit | 5,      ///< there is no such file
    bag_exists = bag_failed_bit | 6,      ///< something is there already
    bag_misplaced = bag_failed_bit | 7,   ///< the directory is not the one that is meant
};

/// Returns: whether an outcome is a failure.
[[nodiscard]] constexpr bool bag_failed(int result) { return (result & bag_failed_bit) != 0; }

/// Whether a saved file must outlive a power cut at once.
enum class durability_t {
    lasting,   ///< flushed before the call returns
    whenever,  ///< written back when the kernel likes; a file that is replaced is flushed all the
               ///< same
};

/// What a save does with a symbolic link.
enum class symlinks_t {
    followed,  ///< writes the file that it leads to
    refused,   ///< fails, and touches nothing behind it
};

/// The root element where none is named.
inline constexpr const char* default_root = "bag";

/// Writes `bag` to `text`, with the root element `root`: letters, digits, "_", "-" and ".".
/// Returns: `bag_ok`; `bag_malformed` for another root or a bag that is too deep; `bag_too_large`.
/// `text` is empty after a failure.
BASEKIT2_API int save_variant_bag_to_string(const variant_bag_t& bag, std::string& text,
                                            const char* root = default_root);
/// Reads `text` into `bag`. An empty `root` accepts any root element.
/// Returns: `bag_ok`; `bag_malformed` for what is no bag's text; `bag_too_large`.
BASEKIT2_API int load_variant_bag_from_string(variant_bag_t& bag, std::string_view text,
                                              const char* root = "");

/// Saves atomically: whoever reads, at any moment and after any crash, finds the old file or the
/// new one.
/// Returns: `bag_ok`; `bag_unwritable`; the failures of `save_variant_bag_to_string`.
/// Disk: writes a temporary file in the same directory and renames it. The old file's mode and,
/// where allowed, its owner are kept. After a failure the old file is intact and no temporary file
/// stays; only when the directory could not be flushed is the new file in place. A file that holds
/// just this bag already is flushed with its directory, and stays as it is.
BASEKIT2_API int save_variant_bag2(const variant_bag_t& bag, const std::string& path,
                                   const char* root,
                                   durability_t durability = durability_t::lasting,
                                   symlinks_t symlinks = symlinks_t::followed);
/// The same with the root element `default_root`, through symbolic links.
inline int save_variant_bag(const variant_bag_t& bag, const std::string& path,
                            durability_t durability = durability_t::lasting) {
    return save_variant_bag2(bag, path, default_root, durability);
}

/// The same for a bag that has changed since it was loaded or saved: the file is not compared.
BASEKIT2_API int save_changed_bag(const variant_bag_t& bag, const std::string& path);

/// Tells a directory from all others as long as it exists.
struct directory_id_t {
    unsigned long long device = 0;
    unsigned long long inode = 0;
};

/// As `save_variant_bag` or, when `is_changed`, as `save_changed_bag`, but only into that
/// directory, whatever stands at its path by now. A symbolic link in the file's place is followed
/// from there. Returns: the same; `bag_misplaced`, and nothing changed, for another directory.
BASEKIT2_API int save_variant_bag_in(const directory_id_t& directory, const variant_bag_t& bag,
                                     const std::string& path, bool is_changed);

/// Writes a file that is not there yet: of several that create one file, in whatever process, one
/// succeeds.
/// Returns: as `save_variant_bag2`; `bag_exists`, and nothing changed, when anything has that name,
/// be it a symbolic link that leads nowhere.
/// Disk: an exclusive rename; whoever reads finds the whole bag or no file.
[[nodiscard]] BASEKIT2_API int create_variant_bag(const variant_bag_t& bag, const std::string& path,
                                                  durability_t durability = durability_t::whenever);

/// The same with the text of a bag, for a caller that needs that as well.
[[nodiscard]] BASEKIT2_API int create_bag_file(std::string_view text, const std::string& path,
                                               durability_t durability = durability_t::whenever);

/// Writes `bag` to a file that holds an empty one.
/// Returns: as `save_variant_bag2`, with `bag_unwritable` also on a file system that cannot make
/// two files change places; `bag_exists`, and nothing changed, when the file holds anything else,
/// and when another process saves it at that very moment: what it saved stays. Disk: nothing is
/// flushed.
[[nodiscard]] BASEKIT2_API int fill_variant_bag(const variant_bag_t& bag, const std::string& path);

/// Loads a regular file. Opening never blocks, whatever the path names.
/// Returns: `bag_ok`; `bag_absent`; `bag_unreadable`; the failures of
/// `load_variant_bag_from_string`.
BASEKIT2_API int load_variant_bag(variant_bag_t& bag, const std::string& path, const char* root);
/// As `load_variant_bag`. No flags are defined: pass 0.
BASEKIT2_API int load_variant_bag2(variant_bag_t& bag, const std::string& path, const char* root,
                                   int flags);

/// Reads the text of a bag file, for a caller that needs its bytes as well as its bag.
/// Returns: `bag_ok`; `bag_absent`; `bag_too_large`; `bag_unreadable`. `text` is empty after a
/// failure.
BASEKIT2_API int read_bag_text(const std::string& path, std::string& text);
/// The same; `file`, which may be null, gets what the system tells of what was read.
BASEKIT2_API int read_bag_text(const std::string& path, std::string& text, struct stat* file);

/// Names a file that will get its own name by a rename.
/// Returns: a name that is unique among all hosts and processes that write to one directory, and
/// short: the file's own may be as long as the file system allows.
BASEKIT2_API std::string make_bag_temporary();
/// Ends the names of those that tell that their directory is being deleted.
inline constexpr std::string_view removal_suffix = "-removal";
/// Returns: whether `name` is one of `make_bag_temporary`. A file of such a name that stays was
/// left by a process that was killed.
BASEKIT2_API bool is_bag_temporary(std::string_view name);
/// Returns: whether `name` is one of `make_bag_temporary` whose process has certainly ended: one of
/// this host that its kernel does not know any more. From within a container, processes outside
/// seem to have ended.
BASEKIT2_API bool is_left_bag_temporary(std::string_view name);

}  // namespace basekit2

#pragma once
/// Bags as text and as files.
///
/// The text is UTF-8 XML: one element a value, the element's name is its kind, its attribute `n`
/// the value's name. Any byte string comes back exactly; what XML cannot hold is written with C
/// escapes. The reader is strict: it accepts what the writer writes, in any layout and with either
/// quote, and leaves the bag empty when it refuses. Reader and writer refuse more than 64 levels,
/// 16 MiB of text or 262144 values in all, so that no file costs more than 256 MiB of memory to
/// read.
///
/// Every function returns 1 on success and a code with bit 30 set on failure. All are safe to call
/// from several threads on different bags.

#include <string>
#include <string_view>

#include "basekit2/export.h"
#include "basekit2/variant.h"

namespace basekit2 {

enum bag_result_t : int {
    bag_ok = 1,
    bag_failed_bit = 1 << 30,
    bag_unreadable =
        bag_failed_bit | 1,  ///< the file is there but cannot be read, or is no regular file
    bag_too_large = bag_failed_bit | 2,   ///< more than 16 MiB, or than 262144 values
    bag_malformed = bag_failed_bit | 3,   ///< not a bag's text
    bag_unwritable = bag_failed_bit | 4,  ///< the file cannot be written
    bag_absent = bag_failed_bit | 5,      ///< there is no such file
    bag_exists = bag_failed_bit | 6,      ///< something is there already
};

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
/// `bag_malformed` for another root or a bag that is too deep; `text` is empty after a failure.
BASEKIT2_API int save_variant_bag_to_string(const variant_bag_t& bag, std::string& text,
                                            const char* root = default_root);
/// Reads `text` into `bag`. An empty `root` accepts any root element.
BASEKIT2_API int load_variant_bag_from_string(variant_bag_t& bag, std::string_view text,
                                              const char* root = "");

/// Saves atomically: whoever reads, at any moment and after any crash, finds the old file or the
/// new one. The old file's mode and, where allowed, its owner are kept; a symbolic link is written
/// through unless `symlinks` says otherwise. On failure the old file is intact and no temporary
/// file stays behind; only when the directory could not be flushed, which is a failure too, is the
/// new file in place.
BASEKIT2_API int save_variant_bag(const variant_bag_t& bag, const std::string& path,
                                  durability_t durability = durability_t::lasting);
BASEKIT2_API int save_variant_bag2(const variant_bag_t& bag, const std::string& path,
                                   const char* root,
                                   durability_t durability = durability_t::lasting,
                                   symlinks_t symlinks = symlinks_t::followed);

/// Writes a file that is not there yet. `bag_exists`, and nothing changed, when anything
/// has that name, be it a symbolic link that leads nowhere: of several that create one file, in
/// whatever process, one succeeds. Whoever reads finds the whole bag or no file.
[[nodiscard]] BASEKIT2_API int create_variant_bag(const variant_bag_t& bag, const std::string& path,
                                                  durability_t durability = durability_t::whenever);

/// Writes `bag` to a file that holds an empty one, unflushed. `bag_exists`, and nothing changed,
/// when it holds anything else; also when another process saves it at that very moment: what it
/// saved stays. Fails with `bag_unwritable` on file systems that cannot make two files change
/// places.
[[nodiscard]] BASEKIT2_API int fill_variant_bag(const variant_bag_t& bag, const std::string& path);

/// Loads a regular file; opening never blocks, whatever the path names.
BASEKIT2_API int load_variant_bag(variant_bag_t& bag, const std::string& path, const char* root);
/// As `load_variant_bag`. No flags are defined: pass 0.
BASEKIT2_API int load_variant_bag2(variant_bag_t& bag, const std::string& path, const char* root,
                                   int flags);

/// The text of a bag file, for a caller that needs its bytes as well as its bag.
BASEKIT2_API int read_bag_text(const std::string& path, std::string& text);

/// A name for a file that takes its own by a rename: unique among all hosts and processes that
/// write to the same directory, and short, since the own name may be as long as the file system
/// allows.
BASEKIT2_API std::string make_bag_temporary();
/// Whether `name` is one of `make_bag_temporary`, as `save_variant_bag` gives its temporary files.
/// One that is still there was left by a process that was killed.
BASEKIT2_API bool is_bag_temporary(std::string_view name);

}  // namespace basekit2

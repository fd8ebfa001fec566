#pragma once
/// A look at the flags of others, for listings.
///
/// It makes, changes and deletes no file, and drops no lock of this process. What it tells may have
/// changed meanwhile; who needs to be sure claims the flag. Safe from any thread; what is returned
/// is plain data.

#include <cstddef>
#include <memory>
#include <string>

#include "basekit2/variant.h"
#include "vesta2/export.h"

namespace vesta2::util {

/// What the files of a flag tell.
enum class flag_state_t {
    free,   ///< there is no such flag, or nothing tells that anybody has it
    held,   ///< its owner lives, perhaps it is this process; or its files cannot be read
    stale,  ///< its owner has ended without giving it up; the next claim takes it over
};

/// What a look at one flag found. Layout: one pointer.
class VESTA2_API FlagLook {
public:
    /// For those who make up an answer of their own, such as tests.
    FlagLook(std::string name, flag_state_t state, basekit2::variant_bag_t record);
    FlagLook(const FlagLook& other);
    FlagLook& operator=(const FlagLook& other);
    ~FlagLook();

    // Lifetime: what is returned is valid as long as the object, and until it is assigned to.

    /// Returns: the name by which the flag was asked for, or found.
    [[nodiscard]] const std::string& name() const;
    /// Returns: whether somebody has the flag, as far as this process can tell.
    [[nodiscard]] flag_state_t state() const;
    /// Returns: who has the flag or had it, as "timestamp" (seconds since the Epoch), "pid",
    /// "ppid", "host", "user" and "os"; empty when that cannot be read.
    [[nodiscard]] const basekit2::variant_bag_t& record() const;

private:
    struct VESTA2_LOCAL Found;
    std::unique_ptr<Found> m_found;
};

/// What looks at several flags found, in the order of their names. Used like a constant vector.
/// Lifetime: elements and iterators are valid as long as the object. Layout: one pointer.
class VESTA2_API FlagLooks {
public:
    using value_type = FlagLook;
    using const_iterator = const FlagLook*;
    using iterator = const_iterator;

    FlagLooks(FlagLooks&& other) noexcept;
    ~FlagLooks();

    [[nodiscard]] bool empty() const { return size() == 0; }
    [[nodiscard]] std::size_t size() const { return static_cast<std::size_t>(end() - begin()); }
    [[nodiscard]] const_iterator begin() const;
    [[nodiscard]] const_iterator end() const;
    const FlagLook& operator[](std::size_t index) const { return begin()[index]; }

private:
    friend VESTA2_API FlagLooks lookAtFlags(const std::string& directory);
    struct VESTA2_LOCAL List;
    explicit FlagLooks(std::unique_ptr<List> list);

    std::unique_ptr<List> m_list;
};

/// Looks at one flag.
/// Returns: what is known of the flag `name` of the node in `directory`; `free` also for a
/// directory that is not there. Status: stays as it is. Disk: two files are opened for reading,
/// unless this process has them locked.
VESTA2_API FlagLook lookAtFlag(const std::string& directory, const std::string& name);

/// Looks at all flags of a node.
/// Returns: those that have a file in `directory`, by name.
/// Status: stays as it is.
/// Throws `boost::filesystem::filesystem_error` when it cannot be listed.
VESTA2_API FlagLooks lookAtFlags(const std::string& directory);

}  // namespace vesta2::util

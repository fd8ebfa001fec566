#pragma once
/// The entries of one directory, read with the fewest calls: the kind that the kernel reports with
/// a name is trusted, and a path is built only when it is asked for. For one thread.

#include <dirent.h>

#include <boost/filesystem/exception.hpp>
#include <boost/filesystem/path.hpp>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "basekit2/descriptor.h"

namespace basekit2 {

class directory_listing_t {
public:
    /// Throws `boost::filesystem::filesystem_error` when the directory cannot be opened.
    explicit directory_listing_t(boost::filesystem::path directory);
    /// Of a directory that is open already; `directory` is how its entries are named.
    directory_listing_t(boost::filesystem::path directory, descriptor_t descriptor);
    /// Of `path`; nothing when there is no directory. Throws as the constructor for any other
    /// error.
    static std::optional<directory_listing_t> if_directory(boost::filesystem::path path);

    /// Of the directory that is the current entry, or that it leads to. Throws as the constructor.
    [[nodiscard]] directory_listing_t of_entry() const;

    /// On to the next entry ("." and ".." are left out); false at the end. Throws as the
    /// constructor.
    bool next();

    /// The name of the entry, valid until `next`.
    [[nodiscard]] std::string_view name() const { return m_entry->d_name; }
    [[nodiscard]] std::string path() const;
    [[nodiscard]] const boost::filesystem::path& directory() const { return m_directory; }
    /// Of the directory; open as long as this object lives.
    [[nodiscard]] int descriptor() const { return m_descriptor.get(); }
    /// What the entry itself is, as a DT_ value; DT_UNKNOWN when it has just gone. Throws when that
    /// cannot be told.
    [[nodiscard]] unsigned char kind() const;
    /// What the entry is; of a symbolic link, what it leads to. Throws when that cannot be told.
    [[nodiscard]] bool is_directory() const { return target_kind() == DT_DIR; }
    [[nodiscard]] bool is_regular_file() const { return target_kind() == DT_REG; }
    /// Whether the entry itself is a regular file, and no link to one.
    [[nodiscard]] bool is_plain_file() const { return m_entry->d_type == DT_REG; }
    /// Whether `error`, raised by a look at this entry or into it, says nothing of the others: it
    /// has just gone, or this process may not look at it, while it may look at the rest.
    [[nodiscard]] bool concerns_entry_alone(const boost::filesystem::filesystem_error& error) const;

private:
    [[nodiscard]] unsigned char look_up(int flags) const;
    [[nodiscard]] unsigned char target_kind() const;

    /// Keeps one buffer for the next listing.
    struct recycler_t {
        void operator()(std::byte* buffer) const noexcept;
    };

    /// On to the next entry, whatever it is; false at the end.
    bool advance();

    boost::filesystem::path m_directory;
    descriptor_t m_descriptor;
    /// What one call of the kernel brings: entries of different lengths, one behind the other.
    std::unique_ptr<std::byte[], recycler_t> m_buffer;
    std::size_t m_filled = 0;
    std::size_t m_next = 0;  ///< where the next entry begins
    const dirent64* m_entry = nullptr;
};

}  // namespace basekit2

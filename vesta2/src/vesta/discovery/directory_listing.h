#pragma once
/// The entries of one directory, read with the fewest calls: the kind that the kernel reports with
/// a name is trusted, and a path is built only when it is asked for. For one thread.

#include <dirent.h>

#include <boost/filesystem/path.hpp>
#include <memory>
#include <string>
#include <string_view>

namespace vesta2 {

class DirectoryListing {
public:
    /// Throws `boost::filesystem::filesystem_error` when the directory cannot be opened.
    explicit DirectoryListing(boost::filesystem::path directory);

    /// On to the next entry ("." and ".." are left out); false at the end. Throws as the
    /// constructor.
    bool next();

    /// The name of the entry, valid until `next`.
    [[nodiscard]] std::string_view name() const { return m_entry->d_name; }
    [[nodiscard]] std::string path() const;
    /// What the entry is; of a symbolic link, what it leads to.
    [[nodiscard]] bool isDirectory() const;
    [[nodiscard]] bool isRegularFile() const;
    /// Whether the entry itself is a regular file, and no link to one.
    [[nodiscard]] bool isPlainFile() const { return m_entry->d_type == DT_REG; }

private:
    struct Closer {
        void operator()(DIR* stream) const { ::closedir(stream); }
    };

    boost::filesystem::path m_directory;
    std::unique_ptr<DIR, Closer> m_stream;
    const dirent* m_entry = nullptr;
};

}  // namespace vesta2

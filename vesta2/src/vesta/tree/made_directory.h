#pragma once

#include <boost/filesystem/path.hpp>

#include "basekit2/descriptor.h"
#include "file_id.h"

namespace vesta2 {

/// A directory that this process has just made for a copy. It is opened once: whoever may change
/// the directory that it lies in can put something else in its place, but nothing is written there.
/// It is deleted again unless the copy succeeds. Until then a temporary file in it tells that it is
/// being made, or what made it was killed.
class MadeDirectory {
public:
    /// Takes hold of `path`, and takes from it the permissions of others that the directory `model`
    /// does not give them. Throws `boost::filesystem::filesystem_error` when it cannot be opened,
    /// or when what is there is none of this user's, or not empty (EEXIST).
    MadeDirectory(boost::filesystem::path path, const boost::filesystem::path& model);
    ~MadeDirectory();
    MadeDirectory(const MadeDirectory&) = delete;
    MadeDirectory& operator=(const MadeDirectory&) = delete;

    [[nodiscard]] const boost::filesystem::path& path() const { return m_path; }
    /// A path that leads to this very directory as long as this object lives; where the system has
    /// none, `path()`.
    [[nodiscard]] boost::filesystem::path certainPath() const;
    [[nodiscard]] int descriptor() const { return m_directory.get(); }
    [[nodiscard]] const FileId& id() const { return m_id; }
    /// For a copy to work in. Throws as the constructor.
    [[nodiscard]] basekit2::descriptor_t duplicate() const;
    void keep();

private:
    void open(const boost::filesystem::path& model);
    void requireOwn();
    void requireEmpty() const;
    void restrictLike(const boost::filesystem::path& model) const;
    void noteUnfinished();

    boost::filesystem::path m_path;
    basekit2::descriptor_t m_directory;
    FileId m_id;
    std::string m_unfinished;  ///< the name of that file
    bool m_isKept = false;
};

}  // namespace vesta2

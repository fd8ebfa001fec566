#pragma once
/// The groups whose nodes the calling thread deletes. Each object counts while it lives.

#include <sys/types.h>

#include <boost/filesystem/path.hpp>
#include <utility>
#include <vector>

namespace vesta2 {

/// A group whose nodes this thread deletes. Links can lead out of a group and upwards: neither the
/// group's directory nor any above it is deleted as one of its nodes.
class GroupBeingEmptied {
public:
    /// Throws `boost::filesystem::filesystem_error` when the directory cannot be looked at.
    explicit GroupBeingEmptied(const boost::filesystem::path& directory);
    ~GroupBeingEmptied();
    GroupBeingEmptied(const GroupBeingEmptied&) = delete;
    GroupBeingEmptied& operator=(const GroupBeingEmptied&) = delete;

    /// Whether a group that is being emptied is `directory` or lies below it. Throws as the
    /// constructor.
    static bool liesIn(const boost::filesystem::path& directory);

private:
    std::vector<std::pair<dev_t, ino_t>> m_directories;  ///< the group's, and all above it
    const GroupBeingEmptied* m_outer;
};

}  // namespace vesta2

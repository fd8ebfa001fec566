#pragma once
/// The groups whose nodes the calling thread deletes. Each object counts while it lives.

#include <vector>

#include "../tree/file_id.h"

namespace vesta2 {

/// A group whose nodes this thread deletes. Links can lead out of a group and upwards: neither the
/// group's directory nor any above it is deleted as one of its nodes.
class GroupBeingEmptied {
public:
    /// One whose `id` is not known is what is there now. Throws
    /// `boost::filesystem::filesystem_error` when the directory cannot be looked at.
    explicit GroupBeingEmptied(const KnownDirectory& directory);
    ~GroupBeingEmptied();
    GroupBeingEmptied(const GroupBeingEmptied&) = delete;
    GroupBeingEmptied& operator=(const GroupBeingEmptied&) = delete;

    /// Whether a group that is being emptied is `directory` or lies below it. Throws as the
    /// constructor.
    static bool liesIn(const boost::filesystem::path& directory);
    /// The outermost such group that has `place` below it by its path; empty when there is none.
    static KnownDirectory outermostAround(const boost::filesystem::path& place);

private:
    KnownDirectory m_group;
    std::vector<FileId> m_directories;  ///< the group's, and all above it
    const GroupBeingEmptied* m_outer;
};

}  // namespace vesta2

#pragma once

#include <string>
#include <string_view>

#include "basekit2/descriptor.h"
#include "file_id.h"

namespace vesta2 {

/// A temporary file in a directory that is being deleted with all that is in it. It goes last, so
/// that as long as something else is left, it tells that not all is: also when what deletes is
/// killed. A directory that no file can be made in, or a full disk, does not keep it from being
/// deleted: then there is none.
class RemovalNote {
public:
    /// In `directory`.
    explicit RemovalNote(basekit2::descriptor_t directory);
    /// None in another directory than is meant.
    explicit RemovalNote(const KnownDirectory& directory);
    /// Deletes it, if it is still there: then the directory stays whole.
    ~RemovalNote();
    RemovalNote(const RemovalNote&) = delete;
    RemovalNote& operator=(const RemovalNote&) = delete;

    /// It stays, because the directory stays with a part of what was in it.
    void keep() { m_directory.close(); }

    static bool isOne(std::string_view name);

private:
    basekit2::descriptor_t m_directory;
    std::string m_name;
};

}  // namespace vesta2

#pragma once

#include <sys/stat.h>

#include <map>
#include <mutex>
#include <string>

#include "file_id.h"

namespace vesta2 {

/// What of a tree was copied: whoever deletes it afterwards deletes nothing else. A file that has
/// changed since may not be in the copy as it is. Several threads may add to it.
class TreeRecord {
public:
    /// A directory, which has a marker file or not.
    void addDirectory(const FileId& id, bool isNode);
    /// A regular file, as it was when it was opened.
    void addFile(const struct stat& info);

    [[nodiscard]] bool holdsDirectory(const FileId& id) const { return m_directories.contains(id); }
    /// Whether nothing is lost by the deletion of the entry `name`, which is no directory, of the
    /// directory `parent`. What is named like a flag's file, or like a temporary one, and was left
    /// out by that, is the node's only beside a marker file.
    [[nodiscard]] bool mayBeDeleted(const std::string& name, const struct stat& info,
                                    const FileId& parent) const;

private:
    struct Version {
        off_t size;
        timespec changed;
    };

    std::mutex m_mutex;
    std::map<FileId, bool> m_directories;  ///< whether it is a node's
    std::map<FileId, Version> m_files;
};

}  // namespace vesta2

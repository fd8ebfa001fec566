#include "tree_record.h"

#include "basekit2/bag_io.h"
#include "vesta2/names.h"
#include "vesta2/tree_copy.h"

namespace vesta2 {

void TreeRecord::addDirectory(const FileId& id, bool isNode) { m_directories[id] = isNode; }

void TreeRecord::addFile(const struct stat& info) {
    const std::lock_guard guard(m_mutex);
    m_files[FileId(info)] = {info.st_size, info.st_mtim};
}

bool TreeRecord::mayBeDeleted(const std::string& name, const struct stat& info,
                              const FileId& parent) const {
    if (!S_ISREG(info.st_mode)) {
        return true;
    }
    const auto file = m_files.find(FileId(info));
    if (file == m_files.end()) {
        const auto directory = m_directories.find(parent);
        const bool isNode = directory != m_directories.end() && directory->second;
        return isNode &&
               (basekit2::is_bag_temporary(name) || skipOnExport(name, flagFilePatterns()));
    }
    return file->second.size == info.st_size &&
           file->second.changed.tv_sec == info.st_mtim.tv_sec &&
           file->second.changed.tv_nsec == info.st_mtim.tv_nsec;
}

}  // namespace vesta2

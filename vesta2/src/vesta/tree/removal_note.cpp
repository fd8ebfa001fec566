#include "removal_note.h"

#include <fcntl.h>
#include <unistd.h>

#include "basekit2/bag_io.h"

namespace vesta2 {

using basekit2::descriptor_t;

namespace {

descriptor_t openKnown(const KnownDirectory& known) {
    descriptor_t directory(
        ::open(known.path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    return directory && isAnother(directory.get(), known.id) ? descriptor_t()
                                                             : std::move(directory);
}

}  // namespace

RemovalNote::RemovalNote(descriptor_t directory)
    : m_directory(std::move(directory)),
      m_name(basekit2::make_bag_temporary().append(basekit2::removal_suffix)) {
    const descriptor_t file(::openat(m_directory.get(), m_name.c_str(),
                                     O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
}

RemovalNote::RemovalNote(const KnownDirectory& directory) : RemovalNote(openKnown(directory)) {}

RemovalNote::~RemovalNote() {
    if (m_directory) {
        ::unlinkat(m_directory.get(), m_name.c_str(), 0);
    }
}

bool RemovalNote::isOne(std::string_view name) {
    return basekit2::is_bag_temporary(name) && name.ends_with(basekit2::removal_suffix);
}

}  // namespace vesta2

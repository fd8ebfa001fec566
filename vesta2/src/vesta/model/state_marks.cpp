#include "state_marks.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "../tree/flush.h"
#include "basekit2/descriptor.h"
#include "basekit2/file_error.h"

namespace vesta2 {

namespace fs = boost::filesystem;
using basekit2::descriptor_t;

namespace {

descriptor_t open(const KnownDirectory& directory) {
    descriptor_t opened(::open(directory.path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!opened) {
        basekit2::throw_file_error("cannot open the directory", directory.path);
    }
    if (isAnother(opened.get(), directory.id)) {
        basekit2::throw_file_error("another directory is in the place of", directory.path, ENOENT);
    }
    return opened;
}

}  // namespace

void makeMark(const KnownDirectory& directory, const char* mark) {
    const fs::path path = directory.path / mark;
    const descriptor_t place = open(directory);
    constexpr mode_t mode = S_IRUSR | S_IWUSR | S_IRGRP | S_IWGRP | S_IROTH | S_IWOTH;
    const descriptor_t file(
        ::openat(place.get(), mark,
                 O_WRONLY | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC, mode));
    struct stat info {};
    if (!file || ::fstat(file.get(), &info) != 0) {
        basekit2::throw_file_error("cannot make", path);
    }
    if (!S_ISREG(info.st_mode)) {
        errno = EINVAL;
        basekit2::throw_file_error("is no regular file", path);
    }
    flush(file.get(), path);
    flush(place.get(), directory.path);
}

void removeMark(const KnownDirectory& directory, const char* mark) {
    const descriptor_t place = open(directory);
    // A directory of that name is a mark as well.
    if (::unlinkat(place.get(), mark, 0) != 0 && errno != ENOENT &&
        (errno != EISDIR || ::unlinkat(place.get(), mark, AT_REMOVEDIR) != 0)) {
        basekit2::throw_file_error("cannot delete", directory.path / mark);
    }
    flush(place.get(), directory.path);
}

}  // namespace vesta2

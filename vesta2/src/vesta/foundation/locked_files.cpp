#include "locked_files.h"

#include <pthread.h>
#include <unistd.h>

#include <algorithm>

namespace vesta2 {

namespace {

using Guard = std::lock_guard<std::mutex>;

}  // namespace

LockedFiles::LockedFiles() {
    // A child must find the mutex free, whatever the other threads of its parent were doing.
    ::pthread_atfork([] { get().mutex().lock(); }, [] { get().mutex().unlock(); },
                     [] { get().mutex().unlock(); });
}

LockedFiles& LockedFiles::get() {
    static LockedFiles& files = *new LockedFiles();
    return files;
}

void LockedFiles::add(int descriptor, const struct stat& file, Place place) {
    Entry& entry = m_files[{file.st_dev, file.st_ino}];
    entry.descriptor = descriptor;
    entry.process = ::getpid();
    entry.place = place;
}

void LockedFiles::remove(int descriptor) {
    const auto found = entryOf(descriptor);
    for (const int kept : found->second.kept) {
        ::close(kept);
    }
    m_files.erase(found);
}

LockedFiles::Entries::const_iterator LockedFiles::entryOf(int descriptor) const {
    return std::find_if(m_files.begin(), m_files.end(),
                        [&](const auto& file) { return file.second.descriptor == descriptor; });
}

LockedFiles::Place LockedFiles::placeOf(int descriptor) const {
    const auto found = entryOf(descriptor);
    return found == m_files.end() ? Place{false, false} : found->second.place;
}

bool LockedFiles::isOf(int descriptor, const struct stat& file) const {
    const auto found = m_files.find({file.st_dev, file.st_ino});
    return found != m_files.end() && found->second.descriptor == descriptor;
}

int LockedFiles::find(const struct stat& file) const {
    const auto found = m_files.find({file.st_dev, file.st_ino});
    const bool isOurs = found != m_files.end() && found->second.process == ::getpid();
    return isOurs ? found->second.descriptor : -1;
}

void LockedFiles::close(int descriptor) {
    struct stat file {};
    // What cannot be identified cannot be kept for anybody.
    const bool isKnown = !m_files.empty() && ::fstat(descriptor, &file) == 0;
    if (isKnown && find(file) >= 0) {
        m_files[{file.st_dev, file.st_ino}].kept.push_back(descriptor);
    } else {
        ::close(descriptor);
    }
}

bool isLockedByThisProcess(dev_t device, ino_t inode) {
    struct stat file {};
    file.st_dev = device;
    file.st_ino = inode;
    LockedFiles& files = LockedFiles::get();
    const Guard guard(files.mutex());
    return files.find(file) >= 0;
}

void closeBesideLocks(int descriptor) {
    LockedFiles& files = LockedFiles::get();
    const Guard guard(files.mutex());
    files.close(descriptor);
}

}  // namespace vesta2

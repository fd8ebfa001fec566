#include "vesta2/result_directory.h"

#include <sys/stat.h>

#include <cerrno>
#include <optional>
#include <string_view>

#include "../foundation/file_checks.h"
#include "../foundation/log.h"
#include "../tree/new_directory.h"
#include "basekit2/directory_listing.h"
#include "basekit2/file_error.h"
#include "basekit2/files.h"
#include "marker_io.h"
#include "node_state.h"
#include "state_marks.h"
#include "vesta2/names.h"
#include "vesta2/result_files.h"

namespace vesta2 {

namespace fs = boost::filesystem;
using basekit2::sptr_t;

namespace {

/// Whether anything of that name is there; nothing when that cannot be told. A directory that has
/// just been made holds none.
std::optional<bool> findMark(const fs::path& directory, const char* mark) {
    if (MarkerInHand::hasMade(directory)) {
        return false;
    }
    struct stat info {};
    if (::stat((directory.native() + '/' + mark).c_str(), &info) == 0) {
        return true;
    }
    return basekit2::means_absent(errno) ? std::optional(false) : std::nullopt;
}

/// A mask or directory that is not given as people write it.
std::string searchText(const char* text) {
    if (!text) {
        return {};
    }
    // Deliberate: this one text stands for any single character.
    return std::string_view(text) == "-1" ? "?" : text;
}

void appendFiles(ResultFiles& found, const std::string& directory, const std::string& mask) {
    for (const basekit2::path_t& file :
         basekit2::find_files(basekit2::path_t(directory), mask, false)) {
        found.append(file.text());
    }
}

void appendEntries(ResultFiles& found, const std::string& directory) {
    basekit2::directory_listing_t entries(directory);
    while (entries.next()) {
        found.append(entries.path());
    }
}

}  // namespace

ResultDirectory::ResultDirectory(std::string path, const char* parentGroupPath)
    : NodeFacade(std::move(path), parentGroupPath), m_finalized(false), m_valid(true) {
    const std::optional<bool> invalid = findMark(directory(), mark::invalid);
    const std::optional<bool> finalized = findMark(directory(), mark::finalized);
    // Deliberate: what cannot be told counts as absent.
    m_valid = !invalid.value_or(false);
    m_finalized = finalized.value_or(false);
    if (!invalid || !finalized) {
        noteUnknownMarks();
    }
}

bool ResultDirectory::remove() {
    m_valid = false;
    return Node::remove();
}

bool ResultDirectory::isFinalized() { return m_finalized; }

bool ResultDirectory::setFinalized(bool finalized) {
    setStatus(eOK);
    if (finalized == m_finalized) {
        return true;
    }
    try {
        if (finalized) {
            makeMark({directory(), NodeState::homeOf(*this)}, mark::finalized);
        } else {
            removeMark({directory(), NodeState::homeOf(*this)}, mark::finalized);
        }
        m_finalized = finalized;
    } catch (const boost::system::system_error& e) {
        failWith(e);
    }
    return true;
}

bool ResultDirectory::isValid() { return m_valid; }

void ResultDirectory::setInvalid() {
    m_valid = false;
    setStatus(eOK);
    error_t marked = markInvalid();
    // Out of the way of patterns. Where that fails the mark alone has to do.
    const fs::path old = directory();
    const std::string aside = std::string(getPath()) + invalidSuffix;
    move(aside.c_str(), true, nullptr);
    if (marked != eOK && directory() != old) {
        marked = markInvalid();
    }
    if (marked != eOK) {
        setStatus(marked);
    }
}

error_t ResultDirectory::markInvalid() {
    try {
        makeMark({directory(), NodeState::homeOf(*this)}, mark::invalid);
        return eOK;
    } catch (const boost::system::system_error& e) {
        failWith(e);
        return getStatus();
    }
}

const char* ResultDirectory::createCollectorDataDir() {
    for (int number = 0;; ++number) {
        const fs::path candidate = directory() / makeDataFolderName(number);
        const error_t code = createNewDirectory(candidate.native());
        if (code == eAlreadyExists) {
            continue;
        }
        if (!setStatus(code)) {
            return nullptr;
        }
        m_collectorDataDir = candidate.native();
        return m_collectorDataDir.c_str();
    }
}

sptr_t<IPathIterator> ResultDirectory::getCollectorDataDirectories() {
    const std::string_view prefix = getCollectorDataDirectoryPrefix();
    try {
        const sptr_t<ResultFiles> found(new ResultFiles());
        basekit2::directory_listing_t entries(directory());
        while (entries.next()) {
            if (entries.name().starts_with(prefix) && entries.is_directory()) {
                found->append(entries.path());
            }
        }
        found->rewind();
        return found;
    } catch (const fs::filesystem_error&) {
        return {};
    }
}

sptr_t<IPathIterator> ResultDirectory::getResultFiles(const char* mask) {
    const sptr_t<IPathIterator> directories = getCollectorDataDirectories();
    if (!directories) {
        return {};
    }
    const sptr_t<ResultFiles> found(new ResultFiles());
    while (const char* path = directories->next()) {
        if (mask) {
            appendFiles(*found, searchText(path), searchText(mask));
        } else {
            appendEntries(*found, path);
        }
    }
    found->rewind();
    return found;
}

const char* ResultDirectory::getSubdir(const char* name) {
    if (!setStatus(name ? eOK : eParameterError)) {
        return nullptr;
    }
    try {
        const fs::path path = directory() / name;
        fs::create_directories(path);
        m_subdir = path.native();
        return m_subdir.c_str();
    } catch (const fs::filesystem_error& e) {
        failWith(e);
        return nullptr;
    }
}

const char* ResultDirectory::getSubdir(standard_dir_t directory) {
    switch (directory) {
    case sourceDir:
        return getSubdir(result_file::sourceDirectory);
    case configDir:
        return getSubdir(result_file::configDirectory);
    }
    return nullptr;
}

sptr_t<IResultDirectory> IResultDirectory::cast(const sptr_t<INode>& node) {
    return sptr_t<IResultDirectory>(dynamic_cast<ResultDirectory*>(node.get()));
}

std::string IResultDirectory::generateCollectorDataDirName(const std::string& directory) {
    for (int number = 0;; ++number) {
        std::string name = makeDataFolderName(number);
        if (!isThere(fs::path(directory) / name)) {
            return name;
        }
    }
}

}  // namespace vesta2

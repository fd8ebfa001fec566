#include "vesta2/result_directory_manager.h"

#include <chrono>
#include <ctime>
#include <optional>
#include <thread>

#include "../discovery/directory_memory.h"
#include "../foundation/file_checks.h"
#include "../foundation/log.h"
#include "../foundation/reserved_names.h"
#include "../model/creation_record.h"
#include "../model/marker_io.h"
#include "basekit2/host.h"
#include "node_directory.h"
#include "opening.h"
#include "platkit/strings.h"
#include "vesta2/discovery.h"
#include "vesta2/names.h"
#include "vesta2/path_completion.h"
#include "vesta2/pattern.h"
#include "vesta2/property_names.h"

namespace vesta2 {

namespace fs = boost::filesystem;
using basekit2::sptr_t;
using basekit2::variant_bag_t;

namespace {

FileSet findTwoGreatest(const char* path, bool literal) {
    FileSet found;
    findPatternedMarkerFileOrLink(path, nullptr, FileSet(resultMarkerFileExt()), found, 2, literal);
    return found;
}

/// The entry before the greatest; empty when there is none.
std::string secondGreatest(const FileSet& found) {
    return found.size() == 2 ? *found.begin() : std::string();
}

struct NewResult {
    std::string directory;
    std::string markerName;
    std::string marker{};
    std::optional<MarkerInHand> inHand{};
};

/// The outcome of writing the first marker file of a result; one that another process has written
/// serves as well.
error_t orPresent(error_t written) { return written == eAlreadyExists ? eOK : written; }

/// Makes the directory of a result and its marker file. Of a name that is taken (`eAlreadyExists`)
/// the directory and the marker file's name are told all the same.
error_t makeResult(const char* path, bool overwrite, const variant_bag_t* variables, bool literal,
                   const char* baseDir, NewResult& made) {
    variant_bag_t bag = variables ? *variables : variant_bag_t();
    fillCreationRecord(bag);
    const int rank = ResultDirectoryManager::getCurrentMpiRank();
    if (rank >= 0) {
        bag.put_bag(section::vesta).put(property::mpiRank, std::int32_t{rank});
    }
    std::string pattern;
    splitDirPatternAndFileName(path, resultMarkerFileExt(), pattern, made.markerName);
    const error_t code =
        makeNodeDirectory(pattern, baseDir, overwrite, &bag, made.directory, literal);
    if (code != eOK) {
        return code;
    }
    made.marker = markerFileIn(made.directory, made.markerName).native();
    std::string text;
    const error_t written = writeFirstMarkerFile(made.marker, bag, &text);
    if (written == eOK) {
        made.inHand.emplace(made.marker, std::move(text), std::move(bag));
    }
    return orPresent(written);
}

/// Opens what was made, or tells why nothing was. It is opened by its marker file: its name is no
/// pattern, whatever a variable may have brought into it.
sptr_t<IResultDirectory> openMade(error_t code, const char* path, const NewResult& made,
                                  const char* baseDir) {
    if (!setStatus(code)) {
        logError(code, path);
        return {};
    }
    return openFound<IResultDirectory>(made.marker, baseDir);
}

/// The marker file of a directory that another process has made. A creator makes the directory
/// first and the marker file a moment later; a repair in between would cost the result its creation
/// record. So a new directory gets some time.
std::string awaitMarker(const std::string& directory) {
    using namespace std::chrono;
    constexpr std::time_t isNew = 1;
    const auto deadline = steady_clock::now() + milliseconds(200);
    for (;;) {
        std::string marker = findMarkerFileInDir(directory, FileSet(resultMarkerFileExt()));
        if (!marker.empty() || std::time(nullptr) - fs::last_write_time(directory) > isNew ||
            steady_clock::now() > deadline) {
            return marker;
        }
        std::this_thread::sleep_for(milliseconds(1));
    }
}

/// Opens the result in a directory that is there, and repairs it when it has no marker file.
sptr_t<IResultDirectory> openOrRepair(const NewResult& present) {
    if (!fs::is_directory(lookAt(present.directory))) {
        logError(eAlreadyExists, present.directory.c_str());
        setStatus(eAlreadyExists);
        return {};
    }
    std::string marker = awaitMarker(present.directory);
    if (marker.empty()) {
        marker = markerFileIn(present.directory, present.markerName).native();
        if (!setStatus(orPresent(writeFirstMarkerFile(marker, variant_bag_t())))) {
            return {};
        }
    } else if (present.markerName != resultMarkerFileExt()) {
        marker = findMarkerFileOrLink(present.directory + '/' + present.markerName,
                                      FileSet(resultMarkerFileExt()), true);
    }
    return openFound<IResultDirectory>(marker, nullptr);
}

}  // namespace

const char* ResultDirectoryManager::getDefaultResultDirectoryName() { return "r@@@"; }

bool ResultDirectoryManager::isPathPatterned(const char* path) {
    Pattern pattern;
    return path && pattern.set(completePath(path, nullptr).filename().native(), nullptr) == eOK &&
           pattern.width() > 0;
}

error_t ResultDirectoryManager::validateResultDirectoryPattern(const char* name) {
    const error_t code = validateFileName(name);
    return code == eOK ? Pattern().set(name, nullptr) : code;
}

bool ResultDirectoryManager::isReservedDirectoryName(const char* upperCaseName) {
    return upperCaseName && isReservedDeviceName(upperCaseName);
}

int ResultDirectoryManager::getCurrentMpiRank() {
    // What the launchers set; the first that is there decides.
    for (const char* name : {"PMI_RANK", "PMI_ID", "OMPI_COMM_WORLD_RANK"}) {
        const std::string value = basekit2::get_environ_value(name);
        if (!value.empty()) {
            return platkit::generic_convert(value);
        }
    }
    return -1;
}

error_t ResultDirectoryManager::getLastError() { return getStatus(); }

sptr_t<IResultDirectory> ResultDirectoryManager::create(const char* path, bool overwrite,
                                                        const variant_bag_t* variables,
                                                        bool literal, const char* baseDir) {
    if (!path || !*path) {
        setStatus(eParameterError);
        return {};
    }
    try {
        const GroupMarkerScope scope;
        NewResult made;
        const error_t code = makeResult(path, overwrite, variables, literal, baseDir, made);
        return openMade(code, path, made, baseDir);
    } catch (const boost::system::system_error& e) {
        failWith(e);
        return {};
    }
}

sptr_t<IResultDirectory> ResultDirectoryManager::get(const char* path,
                                                     const variant_bag_t* variables, bool literal) {
    if (!path || !*path) {
        setStatus(eParameterError);
        return {};
    }
    try {
        Pattern pattern;
        if (!setStatus(pattern.set(completePath(path, nullptr).filename().native(), nullptr))) {
            return {};
        }
        const GroupMarkerScope scope;
        NewResult made;
        const error_t code = makeResult(path, false, variables, literal, nullptr, made);
        const bool isNumbered = pattern.width() > 0 && !literal;
        return code == eAlreadyExists && !isNumbered ? openOrRepair(made)
                                                     : openMade(code, path, made, nullptr);
    } catch (const boost::system::system_error& e) {
        failWith(e);
        return {};
    }
}

sptr_t<IResultDirectory> ResultDirectoryManager::open(const char* path, bool literal,
                                                      const char* baseDir) {
    if (!path) {
        setStatus(eParameterError);
        return {};
    }
    return openFound<IResultDirectory>(findLastMatching(path, "", resultMarkerFileExt(), literal),
                                       baseDir);
}

bool ResultDirectoryManager::openForDiff(const char* first, const char* second,
                                         sptr_t<IResultDirectory>* firstOut,
                                         sptr_t<IResultDirectory>* secondOut, bool literal) {
    for (sptr_t<IResultDirectory>* out : {firstOut, secondOut}) {
        if (out) {
            out->reset();
        }
    }
    if (!first || !second || !firstOut || !secondOut) {
        return setStatus(eParameterError);
    }
    const FileSet foundFirst = findTwoGreatest(first, literal);
    if (foundFirst.empty()) {
        return false;
    }
    const FileSet foundSecond = findTwoGreatest(second, literal);
    if (foundSecond.empty()) {
        return false;
    }
    const std::string latest = *foundFirst.rbegin();
    std::string other = *foundSecond.rbegin();
    if (latest == other) {
        other = secondGreatest(foundSecond);
        other = other.empty() ? secondGreatest(foundFirst) : other;
        if (other.empty()) {
            return setStatus(eNotFound);
        }
    }
    // Both are files that were found: their names are no patterns any more.
    *firstOut = open(latest.c_str(), true, nullptr);
    *secondOut = open(other.c_str(), true, nullptr);
    return true;
}

sptr_t<IResultDirectory> ResultDirectoryManager::openForImport(const char* path,
                                                               const char* extension) {
    if (!path || !extension) {
        setStatus(eParameterError);
        return {};
    }
    return openFound<IResultDirectory>(
        findLastMatching(path, "", std::string(".") + extension, false), nullptr);
}

bool IResultDirectory::probe(const char* path) {
    return path && !findMarkerFileOrLink(path, FileSet(resultMarkerFileExt()), true).empty();
}

}  // namespace vesta2

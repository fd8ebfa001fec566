#include "vesta2/discovery.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "../foundation/file_checks.h"
#include "../foundation/path_parts.h"
#include "basekit2/directory_listing.h"
#include "entry_search.h"
#include "extensions.h"
#include "vesta2/error.h"
#include "vesta2/names.h"
#include "vesta2/path_completion.h"
#include "vesta2/pattern.h"

namespace vesta2 {

namespace fs = boost::filesystem;

namespace {

std::string_view extensionOfPath(std::string_view path) {
    return extensionOf(path.substr(path.rfind('/') + 1));
}

char toLower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

void insertHit(FileSet& found, std::string path) {
    if (!path.empty()) {
        found.insert(std::move(path));
    }
}

/// Adds the hits of every entry of `directory` that `pattern`, if any, matches.
void searchEntries(const fs::path& directory, const Pattern* pattern, const FileSet& extensions,
                   FileSet& found) {
    std::vector<std::string> hits;
    basekit2::directory_listing_t listing(directory);
    while (listing.next()) {
        int number = 0;
        if (!pattern || pattern->match(std::string(listing.name()), &number)) {
            hits.push_back(findInEntry(listing, extensions, false));
        }
    }
    // In order they are added in less time than they are sorted one by one. Of two of one name the
    // first stays.
    std::stable_sort(hits.begin(), hits.end(), FileSetBaseFilenameCompare());
    for (std::string& hit : hits) {
        insertHit(found, std::move(hit));
    }
}

/// What the last component of a path to search for is.
enum class Leaf { all, name, pattern, none };

Leaf parseLeaf(const std::string& leaf, bool literal, Pattern& pattern) {
    if (leaf == "*") {
        return Leaf::all;
    }
    if (!setStatus(validateFileName(leaf.c_str()))) {
        return Leaf::none;
    }
    if (pattern.set(leaf, nullptr) != eOK) {
        setStatus(eParameterError);
        return Leaf::none;
    }
    return pattern.width() == 0 || literal ? Leaf::name : Leaf::pattern;
}

}  // namespace

bool hasExtension(const fs::path& path, const std::string& extension) {
    return extensionOfPath(path.native()) == extension;
}

bool hasExtension(const fs::path& path, const FileSet& extensions) {
    return isOneOf(extensionOfPath(path.native()), extensions);
}

bool hasLinkExtension(const fs::path& path, const FileSet& extensions) {
    return isLinkOfOneOf(extensionOfPath(path.native()), extensions);
}

bool hasLinkExtension(const fs::path& path) { return isAnyLink(extensionOfPath(path.native())); }

bool isLink(const std::string& path) {
    // Longer than a dot, the suffix and a short name of three letters.
    constexpr std::size_t leastName = 4;
    const std::string suffix = linkSuffix();
    const std::string_view extension = extensionOfPath(path);
    if (extension.size() <= suffix.size() + leastName) {
        return false;
    }
    const std::string_view tail = extension.substr(extension.size() - suffix.size());
    return std::equal(tail.begin(), tail.end(), suffix.begin(),
                      [](char a, char b) { return toLower(a) == b; });
}

std::string findMarkerFileInDir(const fs::path& directory, const FileSet& extensions) {
    setStatus(eOK);
    basekit2::directory_listing_t listing(directory);
    return findMarkerFile(listing, extensions);
}

std::string findMarkerFileOrLink(const std::string& path, const FileSet& extensions,
                                 bool acceptMarkerFile) {
    setStatus(eOK);
    const fs::path asPath = path;
    fs::path directory = asPath;
    removeEndingSlash(directory);
    if (directory.empty()) {
        directory = asPath;
    }
    if (auto listing = basekit2::directory_listing_t::if_directory(std::move(directory))) {
        return findMarkerFile(*listing, extensions);
    }
    const fs::file_status status = lookAt(asPath);
    if (fs::is_regular_file(status) && ((acceptMarkerFile && hasExtension(asPath, extensions)) ||
                                        hasLinkExtension(asPath, extensions))) {
        return path;
    }
    if (!asPath.has_extension()) {
        for (const std::string& extension : extensions) {
            std::string link = path + extension + linkSuffix();
            if (fs::is_regular_file(lookAt(link))) {
                return link;
            }
        }
    }
    return {};
}

void findPatternedMarkerFileOrLink(const std::string& path, const char* baseDir,
                                   const FileSet& extensions, FileSet& found, int maxCount,
                                   bool literal) {
    setStatus(eOK);
    const fs::path completed = completePath(path.empty() ? "*" : path, baseDir);
    // The root is in no directory.
    if (isRoot(normalPath(completed))) {
        setStatus(eInvalidPath);
        return;
    }
    const std::string name(nameIn(completed.native()));
    Pattern pattern;
    const Leaf leaf = parseLeaf(name, literal, pattern);
    // Where a name is searched for, what is found tells of the directory as well.
    if (leaf != Leaf::name && !fs::exists(lookAt(parentOf(completed)))) {
        setStatus(eNotFound);
        return;
    }
    switch (leaf) {
    case Leaf::none:
        return;
    case Leaf::name:
        insertHit(found, findMarkerFileOrLink(completed.native(), extensions, true));
        break;
    case Leaf::all:
    case Leaf::pattern:
        searchEntries(parentOf(completed), leaf == Leaf::all ? nullptr : &pattern, extensions,
                      found);
        break;
    }
    while (maxCount > 0 && found.size() > static_cast<std::size_t>(maxCount)) {
        found.erase(found.begin());
    }
    setStatus(found.empty() ? eNotFound : eOK);
}

std::string findLastMatching(const std::string& path, const char* baseDir,
                             const std::string& extension, bool literal) {
    FileSet found;
    findPatternedMarkerFileOrLink(path, baseDir, FileSet(extension), found, 1, literal);
    return found.empty() ? std::string() : *found.rbegin();
}

void splitDirPatternAndFileName(const fs::path& path, const std::string& extension,
                                std::string& directory, std::string& fileName) {
    if (hasExtension(path, extension)) {
        directory = path.parent_path().native();
        fileName = path.filename().native();
    } else {
        directory = path.native();
        fileName = extension;
    }
}

}  // namespace vesta2

#include "compare/file_comparison.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <boost/filesystem/path.hpp>
#include <cerrno>
#include <filesystem>
#include <map>

#include "base/failure.h"
#include "basekit2/bag_io.h"
#include "basekit2/descriptor.h"
#include "vesta2/discovery.h"
#include "vesta2/names.h"

namespace cli {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t pieceSize = 131072;

/// The library's own files: what they say is compared as properties and state.
bool isBookkeeping(const std::string& name) {
    static const vesta2::FileSet extensions = [] {
        vesta2::FileSet set(vesta2::resultMarkerFileExt(), vesta2::getFlagLockExtension(),
                            vesta2::getFlagInfoExtension());
        return set;
    }();
    return name == vesta2::mark::finalized || name == vesta2::mark::invalid ||
           vesta2::hasExtension(name, extensions) || basekit2::is_bag_temporary(name);
}

std::map<std::string, fs::directory_entry> entriesBelow(const std::string& directory) {
    std::map<std::string, fs::directory_entry> entries;
    for (auto entry = fs::recursive_directory_iterator(directory);
         entry != fs::recursive_directory_iterator(); ++entry) {
        if (entry.depth() > 0 || !isBookkeeping(entry->path().filename().native())) {
            entries.emplace(entry->path().native().substr(directory.size() + 1), *entry);
        }
    }
    return entries;
}

basekit2::variant_t summaryOf(const fs::directory_entry& entry) {
    switch (entry.symlink_status().type()) {
    case fs::file_type::regular:
        return std::uint64_t{entry.file_size()};
    case fs::file_type::directory:
        return "directory";
    case fs::file_type::symlink:
        return "link to " + fs::read_symlink(entry.path()).native();
    default:
        return "special file";
    }
}

basekit2::descriptor_t openForReading(const fs::path& path) {
    basekit2::descriptor_t file(
        ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
    if (!file) {
        throw Failure::fromErrno(errno, path.native());
    }
    return file;
}

std::size_t readPiece(const basekit2::descriptor_t& file, char* piece, const fs::path& path) {
    std::size_t filled = 0;
    while (filled < pieceSize) {
        const ssize_t got = ::read(file.get(), piece + filled, pieceSize - filled);
        if (got == 0) {
            break;
        }
        if (got < 0 && errno != EINTR) {
            throw Failure::fromErrno(errno, path.native());
        }
        filled += got > 0 ? static_cast<std::size_t>(got) : 0;
    }
    return filled;
}

/// Where the contents of two files part.
struct Parting {
    bool isSame = false;
    std::int64_t line = 0;  ///< as `FileDifference::firstLine`
};

Parting compareContents(const fs::path& a, const fs::path& b) {
    const basekit2::descriptor_t fileA = openForReading(a);
    const basekit2::descriptor_t fileB = openForReading(b);
    std::vector<char> pieceA(pieceSize);
    std::vector<char> pieceB(pieceSize);
    Parting parting{false, 1};
    while (true) {
        const std::size_t sizeA = readPiece(fileA, pieceA.data(), a);
        const std::size_t sizeB = readPiece(fileB, pieceB.data(), b);
        const auto endA = pieceA.begin() + static_cast<std::ptrdiff_t>(sizeA);
        const auto endB = pieceB.begin() + static_cast<std::ptrdiff_t>(sizeB);
        const auto [atA, atB] = std::mismatch(pieceA.begin(), endA, pieceB.begin(), endB);
        const bool isText = std::find(pieceA.begin(), endA, '\0') == endA &&
                            std::find(pieceB.begin(), endB, '\0') == endB;
        if (!isText) {
            parting.line = 0;
        } else if (parting.line > 0) {
            parting.line += std::count(pieceA.begin(), atA, '\n');
        }
        if (atA != endA || atB != endB) {
            return parting;
        }
        if (sizeA < pieceSize) {
            return {true, 0};
        }
    }
}

}  // namespace

std::vector<FileDifference> compareFiles(const std::string& before, const std::string& after) {
    std::vector<FileDifference> differences;
    const auto old = entriesBelow(before);
    auto added = entriesBelow(after);
    for (const auto& [path, entry] : old) {
        const auto match = added.find(path);
        if (match == added.end()) {
            differences.push_back({path, summaryOf(entry), {}, 0});
            continue;
        }
        const basekit2::variant_t kind = summaryOf(entry);
        const basekit2::variant_t newKind = summaryOf(match->second);
        const bool isFile = entry.symlink_status().type() == fs::file_type::regular;
        const bool areFiles =
            isFile && match->second.symlink_status().type() == fs::file_type::regular;
        const Parting parting = areFiles ? compareContents(entry.path(), match->second.path())
                                         : Parting{kind == newKind, 0};
        if (!parting.isSame) {
            differences.push_back({path, kind, newKind, parting.line});
        }
        added.erase(match);
    }
    for (const auto& [path, entry] : added) {
        differences.push_back({path, {}, summaryOf(entry), 0});
    }
    return differences;
}

}  // namespace cli

// What the commands promise when they say that they have done their work.

#include <algorithm>
#include <filesystem>
#include <functional>
#include <map>
#include <sstream>

#include "cases.h"

namespace torture {
namespace {

namespace fs = std::filesystem;

// Columns of a listing; the second stands in the long one alone, before the last.
constexpr std::size_t state = 2;
constexpr std::size_t size = 6;

bool printsTheSame(const Scene& scene) { return scene.run.out == scene.undisturbed.out; }

/// The node, perhaps without its group.
bool showsAll(const Scene& scene) {
    return printsTheSame(scene) || scene.run.out.find("\nparent\tunknown\n") != std::string::npos;
}

std::vector<Words> rowsOf(const std::string& table) {
    std::vector<Words> rows;
    std::istringstream lines(table);
    for (std::string line, cell; std::getline(lines, line);) {
        std::istringstream cells(line);
        for (rows.emplace_back(); std::getline(cells, cell, '\t');) {
            rows.back().push_back(cell);
        }
    }
    return rows;
}

/// Every row is there as it should be, or says that its node, or its size alone, could not be read.
bool listsAll(const Scene& scene) {
    const auto expected = rowsOf(scene.undisturbed.out);
    const auto rows = rowsOf(scene.run.out);
    return std::equal(expected.begin(), expected.end(), rows.begin(), rows.end(),
                      [](auto wanted, const auto& row) {
                          if (row.size() > size + 1 && row[size] == "-") {
                              wanted[size] = "-";
                          }
                          if (row.size() > size + 1 && row[size + 1] == "unknown") {
                              wanted[size + 1] = "unknown";
                          }
                          return row == wanted || (row[0] == wanted[0] && row[1] == wanted[1] &&
                                                   row[state] == "unreadable");
                      });
}

bool isGone(const Scene& scene, const std::string& path) {
    return scene.after.all.count(path) == 0;
}

bool isLinked(const Scene& scene, const std::string& directory) {
    return scene.after.isLinked(scene.root, "p", directory);
}

/// The node that was in `from` is in `to`, with all its properties and files.
bool isWhole(const Scene& scene, const std::string& from, const std::string& to) {
    const FoundNode* was = scene.before.at(from);
    const FoundNode* now = scene.after.at(to);
    return was && now && was->isFinalized == now->isFinalized && isSameNode(*was, *now);
}

/// Whether all that was made and written below `place` was on the disk when the first file at
/// `mark` was made or deleted.
bool isFlushedBefore(const Scene& scene, const std::string& place, const std::string& mark) {
    std::set<std::string> dirty;
    for (const FileCall& call : scene.run.calls) {
        if (call.is(names) && call.path.rfind(mark, 0) == 0) {
            break;
        }
        if (call.name == "syncfs") {
            dirty.clear();
        } else if (call.is(flushes)) {
            dirty.erase(call.path);
        } else if (call.is(changes) && call.path.rfind(place, 0) == 0) {
            dirty.insert(call.is(writes) ? call.path : fs::path(call.path).parent_path().native());
        }
    }
    // Temporary files have other names now, and flags are not for long.
    std::erase_if(dirty, [&](const auto& path) { return isGone(scene, path) || isFlag(path); });
    return dirty.empty();
}

/// What it says that it has made is there.
bool isMade(const Scene& scene) {
    const std::string path = scene.run.out.substr(0, scene.run.out.find('\n'));
    const FoundNode* node = scene.after.at(fs::path(path).lexically_relative(scene.root));
    return node && text(*node, "os") == "linux";
}

/// Marked where it was or beside, but in one piece.
bool isInvalid(const Scene& scene, const std::string& from) {
    const auto isHere = [&](const std::string& place) {
        return isWhole(scene, from, place) && !isGone(scene, place + "/.bad");
    };
    return isHere(from + "-bad") || isHere(from);
}

bool isCollected(const Scene& scene) {
    // The next number is taken when a directory could not be made.
    const FoundNode* node = scene.after.at("p/r002");
    node = node ? node : scene.after.at("p/r003");
    if (!node || node->files.count("data.0/samples.csv") == 0) {
        return false;
    }
    const std::string& samples = node->files.at("data.0/samples.csv");
    return node->isFinalized && text(*node, "exitCode") == "0" &&
           text(*node, "collectionCommand") == "true" &&
           !text(*node, "collectionTimeEnd").empty() &&
           std::count(samples.begin(), samples.end(), '\n') > 2 &&
           isFlushedBefore(scene, node->directory, node->directory + "/.norun");
}

}  // namespace

bool isKept(const Words& promise, const Scene& scene) {
    using S = const Scene&;
    using W = const Words&;
    const auto mayBe = [](S, W) { return true; };
    static const std::map<std::string, std::function<bool(S, W)>> kinds{
        {"lists-all", [](S s, W) { return listsAll(s); }},
        {"shows-all", [](S s, W) { return showsAll(s); }},
        {"prints-the-same", [](S s, W) { return printsTheSame(s); }},
        {"has", [](S s, W w) { return text(*s.after.at(w[1]), w[2]) == w[3]; }},
        {"there", [](S s, W w) { return !isGone(s, w[1]); }},
        {"gone", [](S s, W w) { return isGone(s, w[1]); }},
        {"whole", [](S s, W w) { return isWhole(s, w[1], w[2]); }},
        {"linked", [](S s, W w) { return isLinked(s, w[1]); }},
        {"not-linked", [](S s, W w) { return !isLinked(s, w[1]); }},
        {"names-link", [](S s, W w) { return s.after.at(w[1])->backLink == s.root + "/" + w[2]; }},
        {"flushed", [](S s, W w) { return isFlushedBefore(s, w[1], w[2]); }},
        {"made", [](S s, W) { return isMade(s); }},
        {"invalid", [](S s, W w) { return isInvalid(s, w[1]); }},
        {"collected", [](S s, W) { return isCollected(s); }},
        {"makes", mayBe},
        {"repairable", mayBe},
        {"leaves-out", mayBe},
        {"changes", mayBe},
        {"deletes", mayBe},
        {"moved", mayBe},
        {"falls-back", mayBe},
    };
    return kinds.at(promise[0])(scene, promise);
}

}  // namespace torture

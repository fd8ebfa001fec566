#include "cases.h"

#include <algorithm>
#include <filesystem>
#include <sstream>
#include <stdexcept>

#include "support/command.h"
#include "support/temp_directory.h"

namespace torture {
namespace {

namespace fs = std::filesystem;

// Columns of a listing; the second stands in the long one alone, before the last.
constexpr std::size_t state = 2;
constexpr std::size_t size = 6;

/// The node, perhaps without its group.
bool showsAll(const Scene& scene) {
    return scene.run.out == scene.undisturbed.out ||
           scene.run.out.find("\nparent\tunknown\n") != std::string::npos;
}

bool printsTheSame(const Scene& scene) { return scene.run.out == scene.undisturbed.out; }

/// Whether all that was made and written below `place` was on the disk when the first file at
/// `mark` was made or deleted.
bool isFlushedBefore(const Scene& scene, const std::string& place, const std::string& mark) {
    static const std::set<std::string> writing{"write",           "writev",   "pwrite64",
                                               "copy_file_range", "sendfile", "ioctl(FICLONE)"};
    static const std::set<std::string> flushing{"fsync", "fdatasync"};
    std::set<std::string> dirty;
    for (const FileCall& call : scene.run.calls) {
        const bool isInPlace = call.isChange && call.path.rfind(place, 0) == 0;
        const bool isName =
            call.name == std::string("openat") || std::string(call.name).rfind("unlink", 0) == 0;
        if (call.isChange && isName && call.path.rfind(mark, 0) == 0) {
            break;
        }
        if (call.name == std::string("syncfs")) {
            dirty.clear();
        } else if (flushing.count(call.name) != 0) {
            dirty.erase(call.path);
        } else if (isInPlace && writing.count(call.name) != 0) {
            dirty.insert(call.path);
        } else if (isInPlace) {
            dirty.insert(fs::path(call.path).parent_path());
        }
    }
    // Temporary files have other names now, and flags are not for long.
    std::erase_if(dirty,
                  [&](const std::string& path) { return scene.isGone(path) || isFlag(path); });
    return dirty.empty();
}

std::vector<std::vector<std::string>> rowsOf(const std::string& table) {
    std::vector<std::vector<std::string>> rows;
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

/// What it says that it has made is there.
bool isMade(const Scene& scene) {
    const std::string path = scene.run.out.substr(0, scene.run.out.find('\n'));
    const FoundNode* node = scene.after.at(fs::path(path).lexically_relative(scene.root));
    return node && text(*node, "os") == "linux";
}

/// Marked where it was or beside, but in one piece.
bool isInvalid(const Scene& scene) {
    const auto isHere = [&](const std::string& place) {
        return scene.isWhole("p/open", place) && !scene.isGone(place + "/.bad");
    };
    return isHere("p/open-bad") || isHere("p/open");
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

bool Scene::isWhole(const std::string& from, const std::string& to) const {
    const FoundNode* was = before.at(from);
    const FoundNode* now = after.at(to);
    return was && now && was->isFinalized == now->isFinalized && isSameNode(*was, *now);
}

bool Scene::isLinked(const std::string& directory) const {
    return after.isLinked(root, "p", directory);
}

const std::vector<Case>& cases() {
    using S = const Scene&;
    static const std::vector<Case> all{
        {.name = "list", .arguments = {"list", "-r", "p"}, .promise = listsAll},
        {.name = "list-long", .arguments = {"list", "-l", "p"}, .promise = listsAll},
        {.name = "show", .arguments = {"show", "p/r000"}, .promise = showsAll},
        {.name = "show-linked", .arguments = {"show", "p/x0.zentorlink"}, .promise = showsAll},
        {.name = "diff", .arguments = {"diff", "p/r000", "p/r001"}, .promise = printsTheSame},
        {.name = "files", .arguments = {"files", "p/r000"}, .promise = printsTheSame},
        {.name = "import",
         .arguments = {"import", "p/r000", "--ext", "zentor"},
         .promise = printsTheSame},
        {.name = "flag",
         .arguments = {"flag", "run", "p/r000", "busy", "--", "true"},
         .promise = printsTheSame},
        {.name = "set",
         .arguments = {"set", "p/r000", "key=new"},
         .promise = [](S s) { return text(*s.after.at("p/r000"), "key") == "new"; }},
        {.name = "set-linked",
         .arguments = {"set", "p/x0.zentorlink", "key=new"},
         .promise = [](S s) { return text(*s.after.at("far/x0"), "key") == "new"; },
         .subjects = {"linked"}},
        {.name = "add",
         .arguments = {"add", "far/y0", "--to", "p"},
         .promise =
             [](S s) {
                 return s.isLinked("far/y0") &&
                        s.after.at("far/y0")->backLink == s.root + "/p/y0.zentorlink";
             },
         .subjects = {"free"}},
        {.name = "copy",
         .arguments = {"copy", "p/r000", "p/c0", "--rename"},
         .promise = [](S s) { return s.isWhole("p/r000", "p/c0"); },
         .made = "p/c0"},
        {.name = "copy-linked",
         .arguments = {"copy", "far/x0", "far/c0"},
         .promise = [](S s) { return s.isWhole("far/x0", "far/c0") && s.isLinked("far/c0"); },
         .made = "far/c0",
         .subjects = {"linked"}},
        {.name = "move",
         .arguments = {"move", "p/r001", "far/m0"},
         .promise =
             [](S s) {
                 return s.isWhole("p/r001", "far/m0") && s.isGone("p/r001") &&
                        s.isLinked("far/m0") && isFlushedBefore(s, "far/m0", "p/r001/");
             },
         .subjects = {"inside1"}},
        {.name = "move-linked",
         .arguments = {"move", "far/x0", "far/m0"},
         .promise =
             [](S s) {
                 return s.isWhole("far/x0", "far/m0") && s.isGone("far/x0") && s.isLinked("far/m0");
             },
         .subjects = {"linked"}},
        {.name = "duplicate",
         .arguments = {"duplicate", "p/r000", "far/d0"},
         .promise = [](S s) { return s.isWhole("p/r000", "far/d0") && !s.isLinked("far/d0"); },
         .made = "far/d0"},
        {.name = "duplicate-group",
         .arguments = {"duplicate", "p/e", "far/d0"},
         .promise =
             [](S s) { return s.isWhole("p/e", "far/d0") && s.isWhole("p/e/r000", "far/d0/r000"); },
         .made = "far/d0"},
        {.name = "export",
         .arguments = {"export", "p/r000", "far/ex", "--exclude", "*.csv"},
         .promise = [](S s) { return s.after.at("far/ex") != nullptr; },
         .made = "far/ex",
         .leavesOut = "samples.csv"},
        {.name = "remove",
         .arguments = {"remove", "-y", "p/r001"},
         .promise = [](S s) { return s.isGone("p/r001"); },
         .deleted = {"inside1"}},
        {.name = "remove-linked",
         .arguments = {"remove", "-y", "far/x0"},
         .promise = [](S s) { return s.isGone("far/x0") && s.isGone("p/x0.zentorlink"); },
         .deleted = {"linked"}},
        {.name = "remove-group",
         .arguments = {"remove", "-y", "p/e"},
         .promise = [](S s) { return s.isGone("p/e"); },
         .deleted = {"group", "nested"}},
        {.name = "purge",
         .arguments = {"purge", "p", "--keep", "1", "-y"},
         .promise = [](S s) { return s.isGone("p/r000"); },
         .deleted = {"inside0"}},
        {.name = "finalize",
         .arguments = {"finalize", "p/open"},
         .promise = [](S s) { return s.after.at("p/open")->isFinalized; },
         .subjects = {"open"}},
        {.name = "invalidate",
         .arguments = {"invalidate", "p/open"},
         .promise = isInvalid,
         .subjects = {"open"}},
        {.name = "collect",
         .arguments = {"collect", "-q", "--interval", "3600000", "--into", "p", "--", "true"},
         .promise = isCollected},
        {.name = "create",
         .arguments = {"create", "result", "r@@@", "--into", "p"},
         .promise = isMade,
         .made = "p/r002",
         .mayLeaveDirectory = true},
        {.name = "create-project",
         .arguments = {"create", "project", "far/n"},
         .promise = isMade,
         .made = "far/n",
         .mayLeaveDirectory = true},
        {.name = "get",
         .arguments = {"get", "p/n"},
         .promise = isMade,
         .made = "p/n",
         .mayLeaveDirectory = true},
        {.name = "rename",
         .arguments = {"rename", "p/r000", "q"},
         .promise = [](S s) { return !s.isGone("p/r000/q.zentor"); },
         .subjects = {"inside0"}},
        {.name = "rename-linked",
         .arguments = {"rename", "far/x0", "q"},
         .promise =
             [](S s) {
                 return !s.isGone("far/x0/q.zentor") && s.isLinked("far/x0") &&
                        s.isGone("p/x0.zentorlink");
             },
         .subjects = {"linked"}},
        {.name = "relink",
         .arguments = {"relink", "p/x0.zentorlink", "far/x9"},
         .promise = [](S s) { return s.isLinked("far/x9"); },
         .subjects = {"linked"},
         .prepare = [](auto& root) { fs::rename(root + "/far/x0", root + "/far/x9"); }},
    };
    return all;
}

void makeSample(const std::string& root) {
    const auto run = [&](const std::vector<std::string>& arguments) {
        const support::CommandResult result = support::run(root, arguments);
        if (result.code != 0) {
            throw std::runtime_error("cannot make the sample: " + result.err);
        }
    };
    const auto identify = [&](const std::string& directory, const std::string& identity) {
        run({"set", directory, std::string(identityKey) + "=" + identity, "key=old"});
        support::writeFile(root + "/" + directory + "/data.0/payload",
                           std::string(10000, identity[0]) + identity);
    };
    const auto collect = [&](const std::string& group, const std::string& name,
                             const std::string& identity) {
        run({"collect", "-q", "--into", group, "--name", name, "--", "true"});
        identify(group + "/" + name, identity);
    };
    fs::create_directory(root + "/far");
    run({"create", "project", "p"});
    run({"create", "experiment", "e", "--into", "p"});
    run({"create", "result", "open", "--into", "p"});
    run({"set", "p", std::string(identityKey) + "=project"});
    run({"set", "p/e", std::string(identityKey) + "=group"});
    identify("p/open", "open");
    collect("p", "r000", "inside0");
    collect("p", "r001", "inside1");
    collect("p/e", "r000", "nested");
    collect("far", "x0", "linked");
    collect("far", "y0", "free");
    run({"add", "far/x0", "--to", "p"});
    // Brings the link in line with what was saved last.
    run({"list", "-r", "p"});
}

}  // namespace torture

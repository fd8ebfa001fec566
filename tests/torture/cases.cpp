#include "cases.h"

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <sstream>
#include <stdexcept>

#include "support/command.h"
#include "support/temp_directory.h"

namespace torture {
namespace {

namespace fs = std::filesystem;

struct Row {
    const char* name;
    const char* command;
    const char* expectations;
};

// "makes" tells where there must be nothing after a failure, unless the library keeps a directory
// that `get` repairs ("repairable"), and "leaves-out" which files are not copied there. "changes"
// and "deletes" name nodes by their identity; "moved" prepares the sample. "falls-back": what could
// not be flushed is made up for in another place.
constexpr Row table[] = {
    {"list", "list -r p", "lists-all"},
    {"list-long", "list -l p", "lists-all"},
    {"show", "show p/r000", "shows-all"},
    {"show-linked", "show p/x0.zentorlink", "shows-all"},
    {"diff", "diff p/r000 p/r001", "prints-the-same"},
    {"files", "files p/r000", "prints-the-same"},
    {"import", "import p/r000 --ext zentor", "prints-the-same"},
    {"flag", "flag run p/r000 busy -- true", "prints-the-same"},
    {"set", "set p/r000 key=new", "has p/r000 key new"},
    {"set-linked", "set p/x0.zentorlink key=new", "has far/x0 key new; changes linked"},
    {"add", "add far/y0 --to p", "linked far/y0; names-link far/y0 p/y0.zentorlink; changes free"},
    {"copy", "copy p/r000 p/c0 --rename", "whole p/r000 p/c0; makes p/c0"},
    {"copy-linked", "copy far/x0 far/c0",
     "whole far/x0 far/c0; linked far/c0; makes far/c0; changes linked"},
    {"move", "move p/r001 far/m0",
     "whole p/r001 far/m0; gone p/r001; linked far/m0; flushed far/m0 p/r001/; changes inside1"},
    {"move-linked", "move far/x0 far/m0",
     "whole far/x0 far/m0; gone far/x0; linked far/m0; changes linked"},
    {"duplicate", "duplicate p/r000 far/d0",
     "whole p/r000 far/d0; not-linked far/d0; makes far/d0"},
    {"duplicate-group", "duplicate p/e far/d0",
     "whole p/e far/d0; whole p/e/r000 far/d0/r000; makes far/d0"},
    {"export", "export p/r000 far/ex --exclude *.csv",
     "there far/ex; makes far/ex; leaves-out samples.csv"},
    {"remove", "remove -y p/r001", "gone p/r001; deletes inside1"},
    {"remove-linked", "remove -y far/x0", "gone far/x0; gone p/x0.zentorlink; deletes linked"},
    {"remove-group", "remove -y p/e", "gone p/e; deletes group nested"},
    {"purge", "purge p --keep 1 -y", "gone p/r000; deletes inside0"},
    {"finalize", "finalize p/open", "there p/open/.norun; changes open"},
    {"invalidate", "invalidate p/open", "invalid p/open; falls-back; changes open"},
    {"collect", "collect -q --interval 3600000 --into p -- true", "collected"},
    {"create", "create result r@@@ --into p", "made; makes p/r002; repairable"},
    {"create-project", "create project far/n", "made; makes far/n; repairable"},
    {"get", "get p/n", "made; makes p/n; repairable"},
    {"rename", "rename p/r000 q", "there p/r000/q.zentor; changes inside0"},
    {"rename-linked", "rename far/x0 q",
     "there far/x0/q.zentor; linked far/x0; gone p/x0.zentorlink; changes linked"},
    {"relink", "relink p/x0.zentorlink far/x9",
     "moved far/x0 far/x9; linked far/x9; changes linked"},
};

Words wordsOf(const std::string& text) {
    std::istringstream words(text);
    return {std::istream_iterator<std::string>(words), {}};
}

std::vector<Case> readTable() {
    std::vector<Case> all;
    for (const Row& row : table) {
        Case& each = all.emplace_back(Case{row.name, wordsOf(row.command), {}});
        std::istringstream expectations(row.expectations);
        for (std::string text; std::getline(expectations, text, ';');) {
            each.expectations.push_back(wordsOf(text));
        }
    }
    return all;
}

}  // namespace

Words Case::about(const std::string& word) const {
    for (const Words& expectation : expectations) {
        if (expectation[0] == word) {
            return {expectation.begin() + 1, expectation.end()};
        }
    }
    return {};
}

bool Case::says(const std::string& word, const std::string& what) const {
    return std::ranges::any_of(expectations, [&](const Words& each) {
        return each[0] == word && (what.empty() || std::ranges::count(each, what) != 0);
    });
}

const std::vector<Case>& cases() {
    static const std::vector<Case> all = readTable();
    return all;
}

void makeSample(const std::string& root) {
    const auto run = [&](const std::string& command) {
        const support::CommandResult result = support::run(root, wordsOf(command));
        if (result.code != 0) {
            throw std::runtime_error("cannot make the sample: " + result.err);
        }
    };
    const auto identify = [&](const std::string& directory, const std::string& identity) {
        run("set " + directory + " key=old " + identityKey + "=" + identity);
        support::writeFile(root + "/" + directory + "/data.0/payload",
                           std::string(10000, identity[0]) + identity);
    };
    fs::create_directory(root + "/far");
    run("create project p");
    run("create experiment e --into p");
    run("create result open --into p");
    run("set p " + std::string(identityKey) + "=project");
    run("set p/e " + std::string(identityKey) + "=group");
    identify("p/open", "open");
    for (const auto& [group, name, identity] : {std::tuple{"p", "r000", "inside0"},
                                                {"p", "r001", "inside1"},
                                                {"p/e", "r000", "nested"},
                                                {"far", "x0", "linked"},
                                                {"far", "y0", "free"}}) {
        run(std::string("collect -q --into ") + group + " --name " + name + " -- true");
        identify(std::string(group) + "/" + name, identity);
    }
    run("add far/x0 --to p");
    // Brings the link in line with what was saved last.
    run("list -r p");
}

}  // namespace torture

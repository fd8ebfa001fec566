#include "operations.h"

#include <filesystem>
#include <set>

#include "basekit2/bag_io.h"
#include "support/temp_directory.h"
#include "vesta2/flag_look.h"
#include "vesta2/vesta2.h"

namespace torture {
namespace {

namespace fs = std::filesystem;
using namespace vesta2;
using basekit2::sptr_t;
using Results = ResultDirectoryManager;
using Result = sptr_t<IResultDirectory>;

Result open(const char* path) { return Results::open(path, true, nullptr); }

bool remove(const sptr_t<INode>& node) { return node && node->remove(); }

/// Moves it there and back.
bool moveThereAndBack(const char* here, const char* there) {
    const Result result = open(here);
    return result && result->move(there, true, nullptr) && result->move(here, true, nullptr);
}

bool saveChange() {
    static long changes = 0;
    const Result result = open("p/r000");
    if (result) {
        result->setCollectionTimeBegin(++changes);
        result->save();
    }
    return result && Results::getLastError() == eOK;
}

bool iterate() {
    int count = 0;
    for (auto nodes = INodeGroup::open("p")->getNodes("*", 0); !nodes.at_end(); nodes.next()) {
        count += nodes.current() ? 1 : 0;
    }
    return count == 2;
}

bool purge() {
    for (int i = 0; i < 3; ++i) {
        Results::create("series/r@@@", false, nullptr, false, nullptr);
    }
    INodeGroup::open("series")->purge("*", 0);
    return fs::is_empty("series");
}

bool invalidate() {
    const Result made = Results::create("far/spoiled", false, nullptr, true, nullptr);
    if (made) {
        made->setInvalid();
    }
    return made && !made->isValid() && remove(made);
}

bool addAndLeave() {
    const sptr_t<INode> node = INodeGroup::open("p")->addNode("far/y0");
    return node && node->setParent("far");
}

bool rename() {
    const Result result = open("p/r000");
    return result && result->changeUserVisibleName("other") &&
           result->changeUserVisibleName("r000");
}

bool diff() {
    Result first;
    Result second;
    return Results::openForDiff("p/r000", "far/y0", &first, &second, true) && first && second;
}

}  // namespace

const std::vector<Operation>& operations() {
    static const std::vector<Operation> all{
        {"open", [] { return static_cast<bool>(open("p/r000")); }},
        {"open linked", [] { return open("far/x0")->isLinked(); }},
        {"open newest", [] { return static_cast<bool>(Results::open("p/r@@@", false, nullptr)); }},
        {"create",
         [] { return remove(Results::create("p/n@@@", false, nullptr, false, nullptr)); }},
        {"get", [] { return remove(Results::get("p/got", nullptr, true)); }},
        {"save", saveChange},
        {"flag",
         [] {
             const Result result = open("p/r000");
             return result && result->setFlag("busy") && result->clearFlag("busy", false);
         }},
        {"look at flags", [] { return util::lookAtFlags("p/r000").empty(); }},
        {"list", iterate},
        {"add", addAndLeave},
        {"rename", rename},
        {"copy",
         [] {
             const Result result = open("p/r000");
             return result && result->copy("far/c", true, nullptr) && remove(open("far/c"));
         }},
        {"move", [] { return moveThereAndBack("p/r000", "far/m"); }},
        {"move linked", [] { return moveThereAndBack("far/x0", "far/m"); }},
        {"duplicate", [] { return remove(open("p/r000")->duplicate("far/d")); }},
        {"export", [] { return remove(open("p/r000")->exportTo("far/ex", "")); }},
        {"finalize",
         [] {
             const Result result = open("p/r000");
             return result && result->setFinalized(true) && result->isFinalized() &&
                    result->setFinalized(false);
         }},
        {"invalidate", invalidate},
        {"purge", purge},
        {"diff", diff},
        {"import", [] { return static_cast<bool>(Results::openForImport("p/r000", "zentor")); }},
        {"size", [] { return open("p/r000")->getSize() > 1000; }},
        {"projects", [] { return static_cast<bool>(INodeGroup::findProjects(".")); }},
        {"make a project", [] { return remove(IProject::create("far/np", nullptr, false)); }},
    };
    return all;
}

void makeTree() {
    IProject::create("p", nullptr, false);
    fs::create_directory("series");
    for (const char* place : {"p/r000", "far/x0", "far/y0"}) {
        const Result result = Results::create(place, false, nullptr, true, nullptr);
        result->setApplicationLog(place);
        result->save();
        support::writeFile(std::string(place) + "/data.0/payload", std::string(1000, place[0]));
    }
    INodeGroup::open("p")->addNode("far/x0");
}

std::vector<std::string> examineTree() {
    std::vector<std::string> wrong;
    std::set<std::string> missing{"p/r000", "far/x0", "far/y0"};
    for (const auto& entry : fs::recursive_directory_iterator(".")) {
        const std::string extension = entry.path().extension();
        if (basekit2::is_bag_temporary(entry.path().filename().native()) ||
            extension == ".dflgzentor" || extension == ".infozentor") {
            wrong.push_back("left: " + entry.path().native());
        } else if (extension == ".zentor" || extension == ".zentorproj") {
            basekit2::variant_bag_t bag;
            if (basekit2::bag_failed(basekit2::load_variant_bag(bag, entry.path(), ""))) {
                wrong.push_back("cannot be read: " + entry.path().native());
                continue;
            }
            const auto log = bag.put_bag("vesta").get_variant("applicationLog", "");
            const std::string payload =
                support::readFile((entry.path().parent_path() / "data.0/payload").native());
            if (!log.as_string()->empty() && payload == std::string(1000, (*log.as_string())[0])) {
                missing.erase(*log.as_string());
            }
        }
    }
    for (const std::string& lost : missing) {
        wrong.push_back("lost: " + lost);
    }
    return wrong;
}

}  // namespace torture

/// What the library does, as a table of operations that can be repeated. Each is repeated often,
/// and what the process has open and allocated stays as it is; and each is done without memory: the
/// n-th allocation fails, for every n, once and from then on. Then nothing may be lost or be
/// missing in the process, and it works again.

#include <malloc.h>
#include <unistd.h>

#include <cerrno>

#include "nodes.h"

namespace torture {
namespace {

/// Those that are left until one fails; negative when none does.
std::atomic<long> allocationsLeft{-1};
bool isLasting = false;

[[maybe_unused]] bool isRefused() {
    if (allocationsLeft < 0 || allocationsLeft-- > 0) {
        return false;
    }
    allocationsLeft = isLasting ? 0 : -1;
    errno = ENOMEM;
    return true;
}

}  // namespace
}  // namespace torture

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
#define VESTA2_REFUSES_MEMORY
extern "C" {
void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);
void* __libc_realloc(void* old, size_t size);

void* malloc(size_t size) { return torture::isRefused() ? nullptr : __libc_malloc(size); }
void* calloc(size_t count, size_t size) {
    return torture::isRefused() ? nullptr : __libc_calloc(count, size);
}
void* realloc(void* old, size_t size) {
    return torture::isRefused() ? nullptr : __libc_realloc(old, size);
}
}
#endif

namespace torture {
namespace {

struct Operation {
    const char* name;
    std::function<bool()> act;  ///< whether it succeeded; the tree is as it was then
};

bool remove(const NodeHandle& node) { return node && node->remove(); }

bool moveThereAndBack(const char* here) {
    const Result result = open(here);
    return result->move("far/m", true, nullptr) && result->move(here, true, nullptr);
}

const std::vector<Operation>& operations() {
    static const std::vector<Operation> all{
        {"open", [] { return bool(open("p/r000")); }},
        {"open linked", [] { return open("far/x0")->isLinked(); }},
        {"open newest", [] { return bool(Results::open("p/r@@@", false, nullptr)); }},
        {"create",
         [] { return remove(Results::create("p/n@@@", false, nullptr, false, nullptr)); }},
        {"get", [] { return remove(Results::get("p/got", nullptr, true)); }},
        {"save",
         [] {
             static long changes = 0;
             const Result result = open("p/r000");
             result->setCollectionTimeBegin(++changes);
             result->save();
             return isDone();
         }},
        {"flag",
         [] {
             const Result result = open("p/r000");
             return result->setFlag("busy") && result->clearFlag("busy", false);
         }},
        {"look at flags", [] { return util::lookAtFlags("p/r000").empty(); }},
        {"list",
         [] {
             int count = 0;
             for (auto i = INodeGroup::open("p")->getNodes("*", 0); !i.at_end(); i.next()) {
                 count += i.current() ? 1 : 0;
             }
             return count == 2;
         }},
        {"add",
         [] {
             const NodeHandle node = INodeGroup::open("p")->addNode("far/y0");
             return node && node->setParent("far");
         }},
        {"rename",
         [] {
             const Result result = open("p/r000");
             return result->changeUserVisibleName("other") && result->changeUserVisibleName("r000");
         }},
        {"copy",
         [] { return open("p/r000")->copy("far/c", true, nullptr) && remove(open("far/c")); }},
        {"move", [] { return moveThereAndBack("p/r000"); }},
        {"move linked", [] { return moveThereAndBack("far/x0"); }},
        {"duplicate", [] { return remove(open("p/r000")->duplicate("far/d")); }},
        {"export", [] { return remove(open("p/r000")->exportTo("far/ex", "")); }},
        {"finalize",
         [] {
             const Result result = open("p/r000");
             return result->setFinalized(true) && result->isFinalized() &&
                    result->setFinalized(false);
         }},
        {"invalidate",
         [] {
             const Result made = Results::create("far/spoiled", false, nullptr, true, nullptr);
             made ? made->setInvalid() : void();
             return made && !made->isValid() && remove(made);
         }},
        {"purge",
         [] {
             for (int i = 0; i < 3; ++i) {
                 Results::create("series/r@@@", false, nullptr, false, nullptr);
             }
             INodeGroup::open("series")->purge("*", 0);
             return fs::is_empty("series");
         }},
        {"diff",
         [] {
             Result first;
             Result second;
             return Results::openForDiff("p/r000", "far/y0", &first, &second, true) && second;
         }},
        {"import", [] { return bool(Results::openForImport("p/r000", "zentor")); }},
        {"size", [] { return open("p/r000")->getSize() > 0; }},
        {"projects", [] { return bool(INodeGroup::findProjects(".")); }},
        {"make a project", [] { return remove(IProject::create("far/np", nullptr, false)); }},
    };
    return all;
}

const std::set<std::string> places{"p/r000", "far/x0", "far/y0"};

void makeTree() {
    IProject::create("p", nullptr, false);
    fs::create_directory("series");
    for (const std::string& place : places) {
        make(place, place);
    }
    INodeGroup::open("p")->addNode("far/x0");
}

/// What is wrong with the tree. What is left by name can be told even if it takes memory to delete,
/// and what was deleted in part keeps what tells of it.
std::vector<std::string> examineTree(bool hasSucceeded) {
    std::vector<std::string> wrong;
    std::set<std::string> missing = places;
    for (const auto& entry : fs::recursive_directory_iterator(".")) {
        const std::string extension = entry.path().extension();
        const std::string name = entry.path().filename().native();
        const bool isTold = !hasSucceeded && name.ends_with(basekit2::removal_suffix);
        const bool isPassing = (basekit2::is_bag_temporary(name) && !isTold) ||
                               extension == ".dflgzentor" || extension == ".infozentor";
        if (isPassing && !isLasting) {
            wrong.push_back("left: " + entry.path().native());
        } else if (extension == ".zentor" || extension == ".zentorproj") {
            basekit2::variant_bag_t bag;
            if (basekit2::bag_failed(basekit2::load_variant_bag(bag, entry.path(), ""))) {
                wrong.push_back("cannot be read: " + entry.path().native());
            }
            missing.erase(
                support::readFile((entry.path().parent_path() / "data.0/payload").native()));
        }
    }
    for (const std::string& lost : missing) {
        wrong.push_back("lost: " + lost);
    }
    return wrong;
}

std::size_t openDescriptors() { return support::namesIn("/proc/self/fd").size(); }

/// In a process of its own: what is wrong; empty when there was no such allocation.
std::optional<std::vector<std::string>> doWithout(Run& run, const Operation& operation,
                                                  long allocation) {
    const Workplace place;
    makeTree();
    operation.act();  // what is made but once is there
    const std::size_t descriptors = openDescriptors();
    bool hasSucceeded = false;
    allocationsLeft = allocation;
    try {
        hasSucceeded = operation.act();
    } catch (const std::exception&) {
        ++run.report["exceptions"];
    }
    const bool wasRefused = isLasting ? allocationsLeft == 0 : allocationsLeft < 0;
    allocationsLeft = -1;
    std::vector<std::string> wrong = examineTree(hasSucceeded);
    if (openDescriptors() != descriptors) {
        wrong.emplace_back("descriptors are left open");
    }
    // What it made so far would be in its way.
    for (const auto& entry : fs::directory_iterator(".")) {
        fs::remove_all(entry);
    }
    makeTree();
    if (!operation.act()) {
        wrong.emplace_back("does not work any more");
    }
    return wasRefused ? std::optional(wrong) : std::nullopt;
}

}  // namespace

void failAllocations(Run& run) {
#ifndef VESTA2_REFUSES_MEMORY
    throw Unavailable("a sanitizer allocates itself");
#endif
    const long step = run.options.isWhole ? 1 : 40;
    for (const Operation& operation : operations()) {
        for (const bool isLast : {false, true}) {
            isLasting = isLast;
            int code = 1;
            for (long i = run.below(static_cast<std::size_t>(step)); code != 0 && !run.isOver();
                 i += step) {
                const auto blame = [&](const std::string& what) {
                    run.report.blame("{}: {} (allocation {}{})", operation.name, what, i,
                                     isLast ? " and all that follow" : "");
                };
                support::ChildProcess child([&] {
                    const auto wrong = doWithout(run, operation, i);
                    std::ranges::for_each(wrong.value_or(std::vector<std::string>()), blame);
                    return wrong ? 2 : 0;
                });
                code = child.wait(std::chrono::seconds(30));
                ++run.report["refusals"];
                code != 0 && code != 2 ? blame("ends with " + std::to_string(code)) : void();
            }
        }
    }
}

/// Again and again: what a process has open and allocated stays as it is.
void repeatOperations(Run& run) {
    const long rounds = run.options.isWhole ? 100'000 : 500;
    constexpr std::size_t someBytes = 16 << 10;
    const Workplace place;
    makeTree();
    for (const Operation& operation : operations()) {
        std::size_t descriptors = 0;
        std::size_t bytes = 0;
        for (long i = -rounds / 10; i < rounds && !run.isOver(); ++i) {
            if (i == 0) {
                descriptors = openDescriptors();
                bytes = ::mallinfo2().uordblks;
            }
            if (!operation.act()) {
                run.report.blame("{} fails", operation.name);
                break;
            }
            ++run.report["operations"];
        }
        if (descriptors > 0 &&
            (openDescriptors() > descriptors || ::mallinfo2().uordblks > bytes + someBytes)) {
            run.report.blame("{} leaves descriptors or memory", operation.name);
        }
    }
}

}  // namespace torture

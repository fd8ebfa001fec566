/// Results are made by many at once: by processes, threads, ranks, through several mounts. Each
/// number is given once, on one host without gaps, and each result has its marker with the record.

#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>

#include <cstdlib>
#include <thread>

#include "nodes.h"

namespace torture {
namespace {

/// Makes results, and gets some that all make; whose a result is shows by a file in it.
void create(Run& run, const std::string& place, long count) {
    for (long i = 0; i < count; ++i) {
        const auto result = Results::create("r@@@", false, nullptr, false, place.c_str());
        if (!result) {
            run.report.blame("not made: {}", static_cast<int>(Results::getLastError()));
            continue;
        }
        const std::string owner = std::string(result->getPath()) + "/owner";
        if (!basekit2::descriptor_t(::open(owner.c_str(), O_CREAT | O_EXCL | O_CLOEXEC, 0600))) {
            run.report.blame("given twice: {}", owner);
        }
        const std::string shared = place + "/shared/x" + std::to_string(i);
        if (!Results::get(shared.c_str(), nullptr, false)) {
            run.report.blame("not there for all: {}", shared);
        }
    }
}

void expectMarkers(Run& run, const std::string& place, char beginning, long count) {
    std::set<long> numbers;
    for (const auto& entry : fs::directory_iterator(place)) {
        const std::string name = entry.path().filename();
        basekit2::variant_bag_t bag;
        if (name[0] == beginning && entry.is_directory()) {
            basekit2::load_variant_bag(bag, entry.path() / (name + ".zentor"), "");
            numbers.insert(bag.put_bag("vesta").has("timestamp") ? std::stol(name.substr(1)) : -1);
        }
    }
    // What a client of a network file system remembers may make it pass over a number.
    const bool hasGaps = *numbers.rbegin() != count - 1 && !run.isRemote();
    if (static_cast<long>(numbers.size()) != count || *numbers.begin() < 0 || hasGaps) {
        run.report.blame("{} results with records, from {} to {}, instead of {} in {}",
                         numbers.size(), *numbers.begin(), *numbers.rbegin(), count, place);
    }
    run.report["results"] += static_cast<long>(numbers.size());
}

/// The same directory at a second place, in a namespace of this process's own.
std::string mountAgain(const std::string& place) {
    const std::string other = place + "-too";
    fs::create_directory(other);
    const bool isMounted = ::unshare(CLONE_NEWNS) == 0 &&
                           ::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
                           ::mount(place.c_str(), other.c_str(), nullptr, MS_BIND, nullptr) == 0;
    return isMounted ? other : place;
}

/// Four ranks, which start this program again.
void createUnder(Run& run, const std::string& launcher, const std::string& place, long each) {
    const std::string command =
        fmt::format("OMPI_ALLOW_RUN_AS_ROOT=1 OMPI_ALLOW_RUN_AS_ROOT_CONFIRM=1 "
                    "OMPI_MCA_rmaps_base_oversubscribe=1 "
                    "{0} -n 4 {1} numbering --at {2} --creations {3} >{2}.log 2>&1",
                    launcher, fs::read_symlink("/proc/self/exe").native(), place, each);
    if (std::system(("command -v " + launcher + " >/dev/null").c_str()) == 0) {
        if (std::system(command.c_str()) != 0) {
            run.report.blame("under {}: {}", launcher, support::readFile(place + ".log"));
        }
        run.report["of them under a launcher"] += 4 * each;
        expectMarkers(run, place, 'r', 4 * each);
    }
}

}  // namespace

void number(Run& run) {
    if (run.options.creations > 0) {
        create(run, run.options.places.front(), run.options.creations);
        return;
    }
    constexpr std::size_t processes = 8;
    const long each = run.options.isWhole ? 504 : 48;  // by one thread to four
    const support::TempDirectory directory;
    std::vector<std::string> places = run.options.places;
    if (places.empty()) {
        places.push_back(directory / "p");
        IProject::create(places.front().c_str(), nullptr, false);
        places.push_back(mountAgain(places.front()));
    }
    inProcesses(processes, [&](std::size_t i) {
        const auto threads = static_cast<long>(1 + i % 4);
        std::vector<std::jthread> all;
        for (long k = 0; k < threads; ++k) {
            all.emplace_back([&] { create(run, places[i % places.size()], each / threads); });
        }
    });
    expectMarkers(run, places.front(), 'r', processes * each);
    expectMarkers(run, places.front() + "/shared", 'x', each);
    for (const char* launcher : {"mpirun.openmpi", "mpirun.mpich"}) {
        if (run.options.isWhole && !run.isRemote()) {
            createUnder(run, launcher, directory / launcher, each);
        }
    }
    ::umount2((directory / "p-too").c_str(), MNT_DETACH);
}

}  // namespace torture

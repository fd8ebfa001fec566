// An MPI program in which each rank leaves a result of its own in one project. All of them take the
// next number of the same pattern at once: each gets another, without a word between them.
//
//     mpirun -n 4 mpi_ranks PROJECT

#include <mpi.h>
#include <vesta2/vesta2.h>

#include <cstdint>
#include <exception>
#include <fstream>
#include <iostream>
#include <stdexcept>
#include <string>

namespace {

using Result = basekit2::sptr_t<vesta2::IResultDirectory>;

// Each operation leaves in the thread's status how it ended, until the next one.
std::runtime_error failure(const std::string& what) {
    return std::runtime_error(what + ": " + vesta2::toString(vesta2::getStatus()));
}

// This rank's strips of the integral that is pi as a whole.
double integrate(int rank, int ranks) {
    constexpr int strips = 1'000'000;
    double sum = 0;
    for (int strip = rank; strip < strips; strip += ranks) {
        const double x = (strip + 0.5) / strips;
        sum += 4 / (1 + x * x);
    }
    return sum / strips;
}

void makeProject(const std::string& path) {
    if (!vesta2::IProject::create(path.c_str(), nullptr, false)) {
        throw failure(path);
    }
}

void leaveResult(const std::string& project, int rank, int ranks) {
    const double begin = MPI_Wtime();
    const double part = integrate(rank, ranks);
    const double seconds = MPI_Wtime() - begin;

    const Result result =
        vesta2::ResultDirectoryManager::create("r@@@", false, nullptr, false, project.c_str());
    if (!result) {
        throw failure(project);
    }
    const std::string path = result->getPath();
    const char* directory = result->createCollectorDataDir();
    if (!directory) {
        throw failure(path);
    }
    std::ofstream file(std::string(directory) + "/part.txt");
    file << part << '\n';
    if (!file.flush()) {
        throw std::runtime_error(path + ": part.txt cannot be written");
    }

    // The rank itself is recorded already: the launcher told it.
    const auto properties = result->getPropertyStorage();
    properties->setProperty("work/ranks", ranks);
    properties->setProperty("work/microseconds", static_cast<std::int64_t>(seconds * 1e6));
    result->save();
    if (vesta2::getStatus() != vesta2::eOK) {
        throw failure(path);
    }
    result->setFinalized(true);
    if (vesta2::getStatus() != vesta2::eOK) {
        throw failure(path);
    }
}

void list(const std::string& project) {
    const auto group = vesta2::INodeGroup::open(project.c_str());
    if (!group) {
        throw failure(project);
    }
    for (auto nodes = group->getNodes("r@@@", 0); !nodes.at_end(); nodes.next()) {
        if (const Result result = vesta2::IResultDirectory::cast(nodes.current())) {
            std::cout << result->getUserVisibleName() << "\trank " << result->getMpiRank() << '\n';
        }
    }
}

// Does one step, and waits for the others. Returns whether all ranks have done theirs: none waits
// for one that failed.
template <class Step>
bool together(const Step& step) {
    int done = 1;
    try {
        step();
    } catch (const std::exception& error) {
        std::cerr << "mpi_ranks: " << error.what() << '\n';
        done = 0;
    }
    int all = 0;
    MPI_Allreduce(&done, &all, 1, MPI_INT, MPI_MIN, MPI_COMM_WORLD);
    return all == 1;
}

}  // namespace

int main(int argc, char** argv) {
    MPI_Init(&argc, &argv);
    int rank = 0;
    int ranks = 1;
    MPI_Comm_rank(MPI_COMM_WORLD, &rank);
    MPI_Comm_size(MPI_COMM_WORLD, &ranks);
    const std::string project = argc == 2 ? argv[1] : "project";
    const auto first = [&](void (*step)(const std::string&)) {
        return together([&] { rank == 0 ? step(project) : void(); });
    };
    const bool done =
        first(makeProject) && together([&] { leaveResult(project, rank, ranks); }) && first(list);
    MPI_Finalize();
    return done ? 0 : 1;
}

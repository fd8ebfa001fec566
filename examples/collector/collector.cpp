// A collector: samples the load of the system, and leaves what it saw as the next result of a
// directory: r000, r001, ...
//
//     collector DIRECTORY [SAMPLES]

#include <vesta2/vesta2.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <ctime>
#include <exception>
#include <fstream>
#include <iostream>
#include <stdexcept>
#include <string>
#include <thread>

namespace {

using Result = basekit2::sptr_t<vesta2::IResultDirectory>;

// While this process has the flag, `vesta2 list` shows the result as "collecting", and nobody
// deletes it. The library gives it up if we do not get so far.
constexpr const char* claim = "collecting";

// Each operation leaves in the thread's status how it ended, until the next one.
std::runtime_error failure(const std::string& what) {
    return std::runtime_error(what + ": " + vesta2::toString(vesta2::getStatus()));
}

// Of operations whose status alone tells whether they failed.
void requireSuccess(const std::string& what) {
    if (vesta2::getStatus() != vesta2::eOK) {
        throw failure(what);
    }
}

double loadOfSystem() {
    double load = 0;
    if (::getloadavg(&load, 1) != 1) {
        throw std::runtime_error("the load of this system is not known");
    }
    return load;
}

void collect(const Result& result, const std::string& path, int samples) {
    result->setCollectionTimeBegin(std::time(nullptr));
    result->save();  // a collector that is killed leaves a result that tells when it began
    requireSuccess(path);

    const char* directory = result->createCollectorDataDir();
    if (!directory) {
        throw failure(path);
    }
    std::ofstream file(std::string(directory) + "/load.csv");
    double greatest = 0;
    file << "sample,load\n";
    for (int sample = 0; sample < samples; ++sample) {
        const double load = loadOfSystem();
        greatest = std::max(greatest, load);
        file << sample << ',' << load << '\n';
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    if (!file.flush()) {
        throw std::runtime_error(path + ": load.csv cannot be written");
    }

    // What the library knows of has a setter; everything else goes into a section of one's own.
    result->setCollectionTimeEnd(std::time(nullptr));
    const auto properties = result->getPropertyStorage();
    properties->setProperty("load/samples", samples);
    properties->setProperty("load/greatest", std::to_string(greatest));
    result->save();
    requireSuccess(path);
    result->setFinalized(true);
    requireSuccess(path);
}

void run(const std::string& directory, int samples) {
    const std::string pattern = directory + "/r@@@";
    const Result result =
        vesta2::ResultDirectoryManager::create(pattern.c_str(), false, nullptr, false, nullptr);
    if (!result) {
        throw failure(pattern);
    }
    const std::string path = result->getPath();
    // The operations on flags return their code instead.
    if (const vesta2::error_t code = result->addFlag(claim, false); code != vesta2::eOK) {
        throw std::runtime_error(path + ": " + vesta2::toString(code));
    }
    try {
        collect(result, path, samples);
    } catch (const std::exception&) {
        // Nobody takes it for a measurement: it moves to r000-bad, or stays with the mark alone
        // where it cannot be moved, as on a full disk.
        result->setInvalid();
        throw;
    }
    result->clearFlag(claim, false);
    std::cout << path << '\n';
}

}  // namespace

int main(int argc, char** argv) {
    const int samples = argc == 3 ? std::atoi(argv[2]) : 10;
    if (argc < 2 || argc > 3 || samples < 1) {
        std::cerr << "usage: collector DIRECTORY [SAMPLES]\n";
        return 2;
    }
    try {
        run(argv[1], samples);
    } catch (const std::exception& error) {
        std::cerr << "collector: " << error.what() << '\n';
        return 1;
    }
}

// Makes or opens one result, with the coverage counters set to zero before: what is counted then is
// the way of that request through the sources. Built and run by scripts/hops.

#include <cstdlib>
#include <string>

#include "vesta2/vesta2.h"

extern "C" void __gcov_reset();  // NOLINT(bugprone-reserved-identifier): as gcov calls it
extern "C" void __gcov_dump();   // NOLINT(bugprone-reserved-identifier)

int main(int argc, char** argv) {
    using vesta2::ResultDirectoryManager;
    if (argc != 3) {
        return 2;
    }
    const std::string directory = argv[2];
    ResultDirectoryManager::create("r@@@", false, nullptr, false, directory.c_str()).reset();
    __gcov_reset();
    const auto result =
        std::string(argv[1]) == "create"
            ? ResultDirectoryManager::create("r@@@", false, nullptr, false, directory.c_str())
            : ResultDirectoryManager::open((directory + "/r@@@").c_str(), false, nullptr);
    __gcov_dump();
    std::_Exit(result ? 0 : 1);
}

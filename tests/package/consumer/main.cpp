// Creates a result in the directory that it is given, and reads it back through a pattern.

#include <iostream>
#include <string>
#include <vesta2/vesta2.h>

using vesta2::ResultDirectoryManager;

int main(int, char** argv) {
    const std::string pattern = std::string(argv[1]) + "/r@@@";
    if (auto made =
            ResultDirectoryManager::create(pattern.c_str(), false, nullptr, false, nullptr)) {
        made->setCollectorCommand("make -j8");
        made->save();
    }
    const auto found = ResultDirectoryManager::open(pattern.c_str(), false, nullptr);
    if (!found || ResultDirectoryManager::getLastError() != vesta2::eOK) {
        std::cerr << vesta2::toString(ResultDirectoryManager::getLastError()) << '\n';
        return 1;
    }
    std::cout << found->getUserVisibleName() << ": " << found->getCollectorCommand() << '\n';
}

// Creates a result in the directory that it is given, reads it back through a pattern, and claims
// it.

#include <iostream>
#include <string>
#include <vesta2/vesta2.h>

using vesta2::ResultDirectoryManager;

int main(int, char** argv) {
    const std::string directory = argv[1];
    const std::string pattern = directory + "/r@@@";
    if (auto made =
            ResultDirectoryManager::create(pattern.c_str(), false, nullptr, false, nullptr)) {
        made->getPropertyStorage()->setProperty("consumer/jobs", 8);
        made->setCollectorCommand("make -j");
        made->save();
    }
    const auto found = ResultDirectoryManager::open(pattern.c_str(), false, nullptr);
    if (!found || ResultDirectoryManager::getLastError() != vesta2::eOK) {
        std::cerr << vesta2::toString(ResultDirectoryManager::getLastError()) << '\n';
        return 1;
    }
    found->setFlag("busy");
    for (const vesta2::util::FlagLook& look : vesta2::util::lookAtFlags(found->getPath())) {
        std::cout << look.name() << " flag of " << look.record().size() << " values\n";
    }
    const auto group = vesta2::INodeGroup::open(directory.c_str());
    for (auto nodes = group->getNodes(nullptr, 0); !nodes.at_end(); nodes.next()) {
        std::cout << nodes.current()->getUserVisibleName() << ": " << found->getCollectorCommand();
    }
    for (const auto& entry : *found->getPropertyStorage()->getBag()->get_bag("consumer")) {
        std::cout << entry.value.to_int64() << '\n';
    }
}

#include "optstore2/message_catalog.h"

#include <map>
#include <memory>
#include <mutex>

#include "basekit2/bag_io.h"
#include "optstore2/data_files.h"

namespace optstore2 {
namespace {

using platkit::i18n::catalog_t;

std::unique_ptr<catalog_t> readCatalog(const std::string& name) {
    basekit2::variant_bag_t bag;
    const std::string file = findDataFile(name + ".catalog.xml");
    if (file.empty() || basekit2::bag_failed(basekit2::load_variant_bag(bag, file, ""))) {
        return nullptr;
    }
    auto catalog = std::make_unique<catalog_t>();
    for (const auto& entry : bag) {
        if (const std::string* text = entry.value.as_string()) {
            catalog->add(entry.name, *text);
        }
    }
    return catalog;
}

}  // namespace

const catalog_t* getMessageCatalog(const std::string& name) {
    // Never destroyed: messages are still asked for while the process ends.
    static auto& mutex = *new std::mutex();
    static auto& catalogs = *new std::map<std::string, std::unique_ptr<catalog_t>>();
    const std::lock_guard lock(mutex);
    auto found = catalogs.find(name);
    if (found == catalogs.end()) {
        found = catalogs.emplace(name, readCatalog(name)).first;
    }
    return found->second.get();
}

}  // namespace optstore2

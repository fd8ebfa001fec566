#include "optstore2/message_catalog.h"

#include <map>
#include <memory>
#include <mutex>

#include "basekit2/bag_io.h"
#include "optstore2/data_files.h"

namespace optstore2 {
namespace {

using platkit::i18n::catalog_t;

/// Null when there is none.
std::unique_ptr<catalog_t> makeCatalog(const basekit2::variant_bag_t& bag) {
    auto catalog = bag.empty() ? nullptr : std::make_unique<catalog_t>();
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
    const auto found = catalogs.find(name);
    if (found != catalogs.end()) {
        return found->second.get();
    }
    basekit2::variant_bag_t bag;
    const std::string file = findDataFile(name + ".catalog.xml");
    const int result = basekit2::load_variant_bag(bag, file, "");
    // A process that has no descriptor left may have one at the next call.
    return result == basekit2::bag_unreadable
               ? nullptr
               : catalogs.emplace(name, makeCatalog(bag)).first->second.get();
}

}  // namespace optstore2

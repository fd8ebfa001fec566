#include "optstore2/message_catalog.h"

#include <map>
#include <memory>
#include <mutex>

#include "basekit2/bag_io.h"
#include "data_texts.h"
#include "optstore2/data_files.h"

namespace optstore2 {

using platkit::i18n::catalog_t;

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

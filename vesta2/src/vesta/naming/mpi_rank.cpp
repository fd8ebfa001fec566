#include "basekit2/host.h"
#include "platkit/strings.h"
#include "vesta2/result_directory_manager.h"

namespace vesta2 {

int ResultDirectoryManager::getCurrentMpiRank() {
    for (const char* name : {"PMI_RANK", "PMI_ID", "OMPI_COMM_WORLD_RANK"}) {
        const std::string value = basekit2::get_environ_value(name);
        if (!value.empty()) {
            return platkit::generic_convert(value);
        }
    }
    return -1;
}

}  // namespace vesta2

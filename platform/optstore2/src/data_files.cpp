#include "optstore2/data_files.h"

#include <unistd.h>

#include "basekit2/host.h"
#include "basekit2/library.h"
#include "basekit2/path.h"

namespace optstore2 {

using basekit2::path_t;

std::string findDataFile(const std::string& name) {
    const path_t library(basekit2::library_directory());
    const path_t candidates[] = {
        path_t(basekit2::get_environ_value("VESTA2_DATA_DIR")),
        // The library is in lib, or in a directory of its architecture in it.
        library.join("../share/vesta2"),
        library.join("../../share/vesta2"),
        path_t(VESTA2_INSTALL_DATA_DIR),
    };
    for (const path_t& directory : candidates) {
        const path_t file = directory.join(name);
        if (!directory.text().empty() && ::access(file.c_str(), R_OK) == 0) {
            return file.text();
        }
    }
    return {};
}

}  // namespace optstore2

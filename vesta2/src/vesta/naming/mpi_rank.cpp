#include "mpi_rank.h"

#include "basekit2/host.h"
#include "platkit/strings.h"

namespace vesta2 {

int currentMpiRank() {
    for (const char* name : {"PMI_RANK", "PMI_ID", "OMPI_COMM_WORLD_RANK"}) {
        const std::string value = basekit2::get_environ_value(name);
        if (!value.empty()) {
            return platkit::generic_convert(value);
        }
    }
    return -1;
}

}  // namespace vesta2

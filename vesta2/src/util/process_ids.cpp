#include "vesta2/process_ids.h"

#include <unistd.h>

#include <array>
#include <cstdlib>
#include <fstream>
#include <string>
#include <string_view>

#include "process_status.h"

namespace vesta2::util {

int getPid() { return ::getpid(); }

int getPPid() { return ::getppid(); }

int getPpidFromProc(int pid) {
    std::ifstream status("/proc/" + std::to_string(static_cast<unsigned>(pid)) + "/status");
    return status ? readPpid(status) : 0;
}

int readPpid(std::istream& status) {
    constexpr std::string_view key = "PPid:";
    std::array<char, 2048> line{};
    while (status.getline(line.data(), line.size())) {
        if (std::string_view(line.data()).substr(0, key.size()) == key) {
            return static_cast<int>(std::strtol(line.data() + key.size(), nullptr, 10));
        }
    }
    return 0;
}

}  // namespace vesta2::util

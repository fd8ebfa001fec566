#include <vector>

#include "fuzz.h"
#include "support/temp_directory.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::judge({reinterpret_cast<const char*>(data), size});
    return 0;
}

#ifndef VESTA2_FUZZ
/// Without the fuzzer: takes the inputs that lie in a directory.
int main(int, char** argv) {
    int count = 0;
    for (const auto& entry : boost::filesystem::directory_iterator(argv[1])) {
        std::fprintf(stderr, "%s\n", entry.path().c_str());
        const std::string text = support::readFile(entry.path());
        // No longer than it is: a sanitizer sees a step behind its end.
        const std::vector<char> bytes(text.begin(), text.end());
        fuzz::judge({bytes.data(), bytes.size()});
        ++count;
    }
    return count > 0 ? 0 : 1;
}
#endif

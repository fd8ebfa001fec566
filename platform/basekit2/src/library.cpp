#include "basekit2/library.h"

#include <dlfcn.h>
#include <link.h>

#include <boost/filesystem/operations.hpp>

#include "basekit2/path.h"

namespace basekit2 {
namespace {

std::string find() {
    Dl_info info{};
    void* object = nullptr;
    if (::dladdr1(reinterpret_cast<void*>(&find), &info, &object, RTLD_DL_LINKMAP) == 0) {
        return {};
    }
    boost::system::error_code error;
    const path_t file(static_cast<const link_map*>(object)->l_name);
    if (file.text().empty()) {
        // The loader has no path for the program, nor need the words that it was called with tell.
        const boost::filesystem::path program =
            boost::filesystem::read_symlink("/proc/self/exe", error);
        return error ? std::string()
                     : path_t(program.native()).parent().join(VESTA2_LIBDIR_FROM_BINDIR).text();
    }
    const path_t directory = file.parent();
    if (directory.text().starts_with('/')) {
        return directory.text();
    }
    const boost::filesystem::path here = boost::filesystem::current_path(error);
    return error ? std::string() : path_t(here.native()).join(directory.text()).text();
}

[[maybe_unused]] const std::string& s_found_at_load = library_directory();

}  // namespace

const std::string& library_directory() {
    static const auto& directory = *new std::string(find());
    return directory;
}

}  // namespace basekit2

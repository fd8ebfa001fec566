#include "basekit2/library.h"

#include <dlfcn.h>

#include <boost/filesystem/operations.hpp>

#include "basekit2/path.h"

namespace basekit2 {
namespace {

std::string find() {
    Dl_info info{};
    if (::dladdr(reinterpret_cast<void*>(&find), &info) == 0 || !info.dli_fname) {
        return {};
    }
    const path_t directory = path_t(info.dli_fname).parent();
    if (directory.text().starts_with('/')) {
        return directory.text();
    }
    boost::system::error_code error;
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

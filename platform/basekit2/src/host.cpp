#include "basekit2/host.h"

#include <sys/utsname.h>

#include <cstdlib>
#include <string_view>

namespace basekit2 {

std::string get_fq_host_name() {
    utsname names{};
    if (::uname(&names) != 0) {
        return {};
    }
    std::string host = names.nodename;
    const std::string_view domain = names.domainname;
    if (host.find('.') == std::string::npos && !domain.empty() && domain != "(none)") {
        host.append(".").append(domain);
    }
    return host;
}

std::string get_environ_value(const char* name) {
    const char* value = name ? std::getenv(name) : nullptr;
    return value ? value : "";
}

}  // namespace basekit2

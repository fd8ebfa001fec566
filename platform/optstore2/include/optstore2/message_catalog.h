#pragma once

#include <string>

#include "platkit/i18n.h"

namespace optstore2 {

/// The message catalog `name`, read from the data file "<name>.catalog.xml" at the first call; null
/// when there is none, and as long as it cannot be read. It lives as long as the process. Safe from
/// any thread.
const platkit::i18n::catalog_t* getMessageCatalog(const std::string& name);

}  // namespace optstore2

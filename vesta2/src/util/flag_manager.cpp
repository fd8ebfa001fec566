#include "vesta2/flag_manager.h"

#include "vesta2/names.h"

namespace vesta2::util {

const char* FlagManager::getFlagLockExtension() { return vesta2::getFlagLockExtension(); }
const char* FlagManager::getFlagInfoExtension() { return vesta2::getFlagInfoExtension(); }

}  // namespace vesta2::util

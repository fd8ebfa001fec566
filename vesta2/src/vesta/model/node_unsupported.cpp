// Claims and copies of nodes are not in this release; each operation says so.

#include "vesta2/node.h"

namespace vesta2 {

bool Node::setFlag(const char* name) {
    basekit2::sptr_t<IFlagData> out;
    return addFlag(name, out, false) == eOK;
}

error_t Node::addFlag(const char* /*name*/, basekit2::sptr_t<IFlagData>& out, bool /*force*/) {
    out.reset();
    setStatus(eNotImplemented);
    return eNotImplemented;
}

error_t Node::addFlag(const char* /*name*/, bool /*force*/) {
    setStatus(eNotImplemented);
    return eNotImplemented;
}

bool Node::clearFlag(const char* name, bool forceErase) {
    return removeFlag(name, forceErase) == eOK;
}

error_t Node::removeFlag(const char* /*name*/, bool /*forceErase*/) {
    setStatus(eNotImplemented);
    return eNotImplemented;
}

error_t Node::ownFlag(const char* /*name*/) {
    setStatus(eNotImplemented);
    return eNotImplemented;
}

bool Node::copy(const char* /*destination*/, bool /*rename*/, notify2::IProgress* /*progress*/) {
    return setStatus(eNotImplemented);
}

bool Node::move(const char* /*destination*/, bool /*rename*/, notify2::IProgress* /*progress*/) {
    return setStatus(eNotImplemented);
}

}  // namespace vesta2

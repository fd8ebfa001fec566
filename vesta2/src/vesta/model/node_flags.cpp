#include "../../util/flag_data.h"
#include "../foundation/failure.h"
#include "vesta2/node.h"

namespace vesta2 {

namespace {

/// Runs a flag operation; what it throws becomes the thread's status.
template <class Operation>
error_t runFlagOperation(const char* name, const Operation& operation) {
    setStatus(eOK);
    if (!name || !*name) {
        setStatus(eParameterError);
        return eParameterError;
    }
    try {
        return operation();
    } catch (const boost::system::system_error& e) {
        VESTA_FAIL_WITH(e);
        return eUnknown;
    }
}

}  // namespace

error_t Node::addFlag(const char* name, basekit2::sptr_t<IFlagData>& out, bool force) {
    basekit2::variant_bag_t record;
    const error_t code = runFlagOperation(
        name, [&] { return isGone() ? eNotFound : m_flagManager.writeFlag(name, force, &record); });
    out = basekit2::sptr_t<IFlagData>(new util::FlagData(std::move(record)));
    return code;
}

error_t Node::addFlag(const char* name, bool force) {
    return runFlagOperation(
        name, [&] { return isGone() ? eNotFound : m_flagManager.writeFlag(name, force, nullptr); });
}

error_t Node::removeFlag(const char* name, bool forceErase) {
    return runFlagOperation(name, [&] { return m_flagManager.removeFlag(name, true, forceErase); });
}

error_t Node::ownFlag(const char* name) {
    return runFlagOperation(name, [&] { return m_flagManager.isFlagOwner(name); });
}

bool Node::setFlag(const char* name) {
    basekit2::sptr_t<IFlagData> out;
    return addFlag(name, out, false) == eOK;
}

bool Node::clearFlag(const char* name, bool forceErase) {
    return removeFlag(name, forceErase) == eOK;
}

}  // namespace vesta2

#include "vesta2/flag_look.h"

#include <set>
#include <string_view>
#include <utility>
#include <vector>

#include "basekit2/directory_listing.h"
#include "basekit2/path.h"
#include "flag_record.h"
#include "glance.h"
#include "vesta2/names.h"

namespace vesta2::util {

namespace {

/// `name` without `extension`; empty when it has another.
std::string stripped(const std::string& name, std::string_view extension) {
    const bool hasIt = name.size() > extension.size() && name.ends_with(extension);
    return hasIt ? name.substr(0, name.size() - extension.size()) : "";
}

}  // namespace

struct FlagLook::Found {
    std::string name;
    flag_state_t state;
    basekit2::variant_bag_t record;
};

FlagLook::FlagLook(std::string name, flag_state_t state, basekit2::variant_bag_t record)
    : m_found(new Found{std::move(name), state, std::move(record)}) {}
FlagLook::FlagLook(const FlagLook& other) : m_found(std::make_unique<Found>(*other.m_found)) {}
FlagLook::~FlagLook() = default;

FlagLook& FlagLook::operator=(const FlagLook& other) {
    *m_found = *other.m_found;
    return *this;
}

const std::string& FlagLook::name() const { return m_found->name; }
flag_state_t FlagLook::state() const { return m_found->state; }
const basekit2::variant_bag_t& FlagLook::record() const { return m_found->record; }

struct FlagLooks::List {
    std::vector<FlagLook> looks;
};

FlagLooks::FlagLooks(std::unique_ptr<List> list) : m_list(std::move(list)) {}
FlagLooks::FlagLooks(FlagLooks&& other) noexcept = default;
FlagLooks::~FlagLooks() = default;

FlagLooks::const_iterator FlagLooks::begin() const { return m_list->looks.data(); }
FlagLooks::const_iterator FlagLooks::end() const { return begin() + m_list->looks.size(); }

FlagLook lookAtFlag(const std::string& directory, const std::string& name) {
    const std::string path = basekit2::path_t(directory).join(name).text();
    const bool isLocked = Glance(path + getFlagLockExtension()).isLocked();
    basekit2::variant_bag_t record;
    flag_state_t state = flag_state_t::held;
    switch (Glance(path + getFlagInfoExtension()).read(record)) {
    case eOK:
        state = isLocked || !isReclaimable(record) ? flag_state_t::held : flag_state_t::stale;
        break;
    case eNotFound:
    case eSerializationError:
        state = isLocked ? flag_state_t::held : flag_state_t::free;
        break;
    default:
        break;
    }
    return {name, state, std::move(record)};
}

FlagLooks lookAtFlags(const std::string& directory) {
    std::set<std::string> names;
    basekit2::directory_listing_t listing(directory);
    while (listing.next()) {
        const std::string file(listing.name());
        names.insert(stripped(file, getFlagLockExtension()));
        names.insert(stripped(file, getFlagInfoExtension()));
    }
    names.erase("");
    auto list = std::make_unique<FlagLooks::List>();
    list->looks.reserve(names.size());
    for (const std::string& name : names) {
        list->looks.push_back(lookAtFlag(directory, name));
    }
    return FlagLooks(std::move(list));
}

}  // namespace vesta2::util

#include "flag_data.h"

#include "flag_record.h"

namespace vesta2::util {

std::int64_t FlagData::getTimestamp() const {
    return m_record.get_variant(timestampKey).to_int64();
}

const char* FlagData::getOwner() const { return text(userKey); }

const char* FlagData::getHostname() const { return text(hostKey); }

const char* FlagData::text(const char* key) const {
    const basekit2::variant_t* value = m_record.find(key);
    const std::string* text = value ? value->as_string() : nullptr;
    return text ? text->c_str() : "";
}

}  // namespace vesta2::util

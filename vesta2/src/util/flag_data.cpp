#include "flag_data.h"

#include "vesta2/property_names.h"

namespace vesta2::util {

std::int64_t FlagData::getTimestamp() const {
    return m_record.get_variant(record_key::timestamp).to_int64();
}

const char* FlagData::getOwner() const { return text(record_key::user); }

const char* FlagData::getHostname() const { return text(record_key::host); }

const char* FlagData::text(const char* key) const {
    const basekit2::variant_t* value = m_record.find(key);
    const std::string* text = value ? value->as_string() : nullptr;
    return text ? text->c_str() : "";
}

}  // namespace vesta2::util

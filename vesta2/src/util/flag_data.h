#pragma once

#include <string>

#include "basekit2/variant.h"
#include "vesta2/i_flag_data.h"

namespace vesta2::util {

/// Tells what a record holds.
class FlagData : public basekit2::ref_counted_t<IFlagData, basekit2::mt_ref_count_impl_t> {
public:
    explicit FlagData(basekit2::variant_bag_t record) : m_record(std::move(record)) {}

    [[nodiscard]] std::int64_t getTimestamp() const override;
    [[nodiscard]] const char* getOwner() const override;
    [[nodiscard]] const char* getHostname() const override;

private:
    [[nodiscard]] const char* text(const char* key) const;

    const basekit2::variant_bag_t m_record;
};

}  // namespace vesta2::util

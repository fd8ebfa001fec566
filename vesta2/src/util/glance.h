#pragma once

#include <string>

#include "basekit2/variant.h"
#include "vesta2/error.h"

namespace vesta2::util {

/// A look at one file of a flag, which changes nothing, takes no lock and drops none of this
/// process.
class Glance {
public:
    explicit Glance(const std::string& path);
    ~Glance();
    Glance(const Glance&) = delete;
    Glance& operator=(const Glance&) = delete;

    /// There is certainly no file of a flag at the path.
    [[nodiscard]] bool isAbsent() const { return m_outcome == eNotFound; }
    /// A process has it locked; also when that could not be found out.
    [[nodiscard]] bool isLocked() const;
    /// The record in it: `eOK`, `eNotFound`, `eSerializationError` for what is no record, or else
    /// why it could not be read.
    [[nodiscard]] error_t read(basekit2::variant_bag_t& record) const;

private:
    void open(const char* path);

    error_t m_outcome = eOK;
    bool m_isOurs = false;  ///< this process has it locked, and the descriptor is that of the lock
    int m_descriptor = -1;
};

}  // namespace vesta2::util

#pragma once
/// The directory that a run is recorded in, as long as other processes leave it where it is.

#include <string>

#include "basekit2/descriptor.h"
#include "basekit2/object.h"
#include "vesta2/i_result_directory.h"

namespace cli {

/// Knows the directory of a new result by more than its path: what comes into its place is another,
/// and is never written to.
class MadeDirectory {
public:
    /// Opens the directory; as `require`.
    explicit MadeDirectory(basekit2::sptr_t<vesta2::IResultDirectory> result);

    /// Raises `Failure`, which tells what was found, when the path of the result does not lead to
    /// the directory that was made.
    void require() const;
    /// As it was made.
    [[nodiscard]] const std::string& path() const { return m_path; }
    [[nodiscard]] int descriptor() const { return m_directory.get(); }
    /// Makes the next data directory. Returns its name.
    [[nodiscard]] std::string makeDataDirectory() const;

private:
    basekit2::sptr_t<vesta2::IResultDirectory> m_result;
    std::string m_path;
    basekit2::descriptor_t m_directory;
};

}  // namespace cli

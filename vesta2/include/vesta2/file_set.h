#pragma once
/// An ordered set of paths or extensions. Plain data.

#include <set>
#include <string>

#include "vesta2/export.h"

namespace vesta2 {

/// Orders by the last path component, byte by byte.
struct VESTA2_API FileSetBaseFilenameCompare {
    bool operator()(const std::string& a, const std::string& b) const;
};

/// Extensions to look for, or the paths that were found.
/// Deliberate: of two paths with the same file name only the first is kept, and the order is not
/// numeric: r1000 comes before r999.
class VESTA2_API FileSet : public std::set<std::string, FileSetBaseFilenameCompare> {
public:
    /// Holds those of the three that are not empty.
    explicit FileSet(std::string a = std::string(), std::string b = std::string(),
                     std::string c = std::string());
};

}  // namespace vesta2

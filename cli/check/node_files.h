#pragma once
/// The files of nodes and groups, read without opening a node.

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "basekit2/bag_io.h"
#include "basekit2/variant.h"

namespace cli {

std::string nameOf(const std::string& path);
std::string directoryOf(const std::string& path);
/// The extension of the marker files that a link file of that name leads to.
std::string markerExtensionOf(const std::string& link);
/// The name with each digit of the number at its end made one; nothing without a number.
std::optional<std::string> seriesOf(std::string name);

struct LinkContent {
    explicit LinkContent(const std::string& path);

    int result;          ///< a `bag_result_t`
    std::string target;  ///< a full path; empty in a link that names none
    std::string checksum;
};

struct MarkerContent {
    explicit MarkerContent(const std::string& path);

    int result;  ///< a `bag_result_t`
    std::string checksum;
    bool tellsOfNode = false;
    std::string backlink;  ///< the full path of the link file that it names; empty when none
};

/// What a directory holds, by what it is for: paths, in order.
struct DirectoryEntries {
    /// Raises `std::filesystem::filesystem_error`.
    explicit DirectoryEntries(const std::string& directory);

    [[nodiscard]] bool holdsGroup() const;

    std::vector<std::string> markers;
    std::vector<std::string> links;
    std::vector<std::string> temporaries;
    std::vector<std::string> directories;
    std::vector<std::string> odd;  ///< what stands where a marker file should, and is none
    bool isEmpty = true;
    bool hasTraces = false;  ///< what a collector leaves in a result
    bool isEnded = false;    ///< finalized, or invalid

private:
    void add(const std::filesystem::directory_entry& entry);
};

}  // namespace cli

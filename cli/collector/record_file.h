#pragma once

#include <string>
#include <string_view>

#include "basekit2/descriptor.h"

namespace cli {

/// A file of a result that grows while the program runs. Each text is on its way to the disk when
/// `append` returns, so nothing is lost when the collector is killed. A failed write must not stop
/// the program that is being collected: it is kept for later.
class RecordFile {
public:
    /// Makes the file, or raises `Failure`.
    explicit RecordFile(std::string path);

    void append(std::string_view text);
    /// Flushes the file and its name, so that they outlive a power cut. Raises the first failure,
    /// if there was one.
    void settle();

private:
    std::string m_path;
    basekit2::descriptor_t m_file;
    int m_error = 0;
};

/// Flushes the names in a directory, or raises `Failure`.
void flushDirectory(const std::string& path);

}  // namespace cli

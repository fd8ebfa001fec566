#pragma once
/// Files that grow during a collection, and flushing.

#include <string>
#include <string_view>

#include "basekit2/descriptor.h"

namespace cli {

/// A file of a result that grows while the program runs. It is not buffered in this process: what
/// was appended stays when the collector is killed. A failed write is raised by `settle`, since it
/// must not stop the program.
class RecordFile {
public:
    /// Makes the file `name` in the open `directory`, which `path` led to; or raises `Failure`.
    RecordFile(int directory, const std::string& path, const std::string& name);

    void append(std::string_view text);
    /// Flushes the file and its directory entry. Raises the first failure, also one of `append`.
    void settle();

private:
    std::string m_path;
    basekit2::descriptor_t m_file;
    int m_error = 0;
};

/// Flushes the entries of a directory, or raises `Failure`.
void flushDirectory(const std::string& path);

}  // namespace cli

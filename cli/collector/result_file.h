#pragma once
/// A file that gets the description of a result, apart from the program's streams.

#include <string>
#include <string_view>

#include "basekit2/descriptor.h"

namespace cli {

/// A regular file is replaced as a whole. Anything else is written straight; "/dev/fd/N" is the
/// descriptor N that the command was started with, and not one of its own.
class ResultFile {
public:
    /// Raises `Failure` for what certainly cannot be written. Changes nothing. To be made before
    /// other files are opened.
    explicit ResultFile(std::string path);

    /// Raises `Failure` when `text` was not written in full.
    void write(std::string_view text) const;

private:
    void replace(std::string_view text) const;

    std::string m_path;
    bool m_isStraight = false;
    basekit2::descriptor_t m_inherited;
};

}  // namespace cli

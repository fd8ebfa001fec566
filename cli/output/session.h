#pragma once
/// What holds for the whole run, whatever the command.

#include <string_view>

#include "output/output.h"

namespace cli {

struct Session {
    Output out;
    bool json = false;
    bool quiet = false;
    bool verbose = false;

    /// Tells people what happened: one line on the standard error stream, unless they want quiet.
    void note(std::string_view line) const {
        if (!quiet) {
            writeMessage(line);
        }
    }
};

}  // namespace cli

#pragma once
/// The output and the options that every command has.

#include <string_view>

#include "output/output.h"

namespace cli {

struct Session {
    Output out;
    bool json = false;
    bool quiet = false;
    bool verbose = false;
    bool noPager = false;

    /// What the command prints is for people to read, and may be long.
    void page() {
        if (!json && !quiet && !noPager) {
            out.page();
        }
    }
    /// Writes one line to the standard error stream, unless "--quiet" was given.
    void note(std::string_view line) const {
        if (!quiet) {
            writeMessage(line);
        }
    }
};

}  // namespace cli

#pragma once
/// The command, run so that one of its file-system calls fails, or never happens because it is
/// killed before.

#include <string>
#include <vector>

namespace torture {

/// What a call may fail with beside EIO, and what it does.
enum Trait : unsigned {
    noSpace = 1,
    tooMany = 2,
    interrupted = 4,
    changes = 8,  ///< something is different on the disk afterwards:
    writes = 16,  ///< what is in a file
    names = 32,   ///< or which entries a directory has
    flushes = 64,
    sized = 128,  ///< it may do less than it was asked for
};

struct FileCall {
    std::string name;
    std::string path;  ///< what it is about
    unsigned traits = 0;
    bool isFailed = false;  ///< it was made to fail

    [[nodiscard]] bool is(Trait trait) const { return (traits & trait) != 0; }
    /// All that it may fail with.
    [[nodiscard]] std::vector<int> errors() const;
};

struct Fault {
    enum class Kind {
        nothing,
        once,     ///< one call fails
        lasting,  ///< it fails, and so do all that follow and can fail with the same error
        halves,   ///< from then on, calls read and write half of what they are asked to
        kill,     ///< the process is killed just before
    } kind = Kind::nothing;
    std::size_t call = 0;  ///< which one, counted from 0
    int error = 0;
};

struct TracedRun {
    std::vector<FileCall> calls;  ///< those that concern the tree, in their order
    bool isHit = false;           ///< whether it came as far as the fault
    int code = -1;                ///< as a shell tells it; -1 when it did not end in time
    std::string out;
    std::string err;
};

/// Runs the command in the directory `root`, and counts the calls that concern what is in there.
/// Raises `std::system_error` when processes cannot be traced here.
TracedRun runTraced(const std::vector<std::string>& arguments, const std::string& root,
                    const Fault& fault);

}  // namespace torture

#pragma once
/// Which system calls look at files or change them, and which of those concern a tree.

#include <sys/types.h>
#include <sys/user.h>

#include <optional>
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
};

struct FileCall {
    std::string name;
    std::string path;  ///< what it is about
    unsigned traits = 0;
    bool isFailed = false;  ///< it was made to fail

    [[nodiscard]] bool is(Trait trait) const { return (traits & trait) != 0; }
    /// Those of EIO, ENOSPC, EMFILE and EINTR that it may fail with.
    [[nodiscard]] std::vector<int> errors() const;
};

/// The numbers of all calls that `fileCall` knows.
std::vector<unsigned> fileCallNumbers();

/// The call that `thread` is about to make, when it concerns the directory `root` or what is below.
std::optional<FileCall> fileCall(pid_t thread, const user_regs_struct& registers,
                                 const std::string& root);

}  // namespace torture

#pragma once
/// Which system calls look at files or change them, and which of those concern a tree.

#include <sys/types.h>
#include <sys/user.h>

#include <optional>
#include <string>
#include <vector>

namespace torture {

struct FileCall {
    const char* name = "";
    std::string path;         ///< what it is about
    std::vector<int> errors;  ///< those of EIO, ENOSPC, EMFILE and EINTR that it may fail with
    bool isChange = false;    ///< whether something is different on the disk afterwards
};

/// The numbers of all calls that `fileCall` knows.
std::vector<unsigned> fileCallNumbers();

/// The call that `thread` is about to make, when it concerns the directory `root` or what is below.
std::optional<FileCall> fileCall(pid_t thread, const user_regs_struct& registers,
                                 const std::string& root);

}  // namespace torture

#pragma once
/// Errors of the command, and its exit codes.

#include <exception>
#include <string>

#include "vesta2/error.h"

namespace cli {

/// Exit codes; they are documented and never change.
enum Exit : int {
    exitOk = 0,
    exitNegative = 1,  ///< a negative answer, or differences
    exitUsage = 2,
    exitNotFound = 3,
    exitExists = 4,
    exitLocked = 5,
    exitPermission = 6,
    exitFailure = 7,
    exitNotExecutable = 126,
    exitNoProgram = 127,
    exitCancelled = 130,  ///< by Ctrl-C or another signal
    exitBrokenPipe = 141,
};

/// An error as the user sees it: a path, what is wrong with it, and what to do about it.
class Failure : public std::exception {
public:
    /// `path` may be empty; so may `remedy`.
    Failure(int code, std::string path, std::string problem, std::string remedy = {});

    [[nodiscard]] const char* what() const noexcept override { return m_problem.c_str(); }
    [[nodiscard]] int code() const { return m_code; }
    [[nodiscard]] const std::string& path() const { return m_path; }
    [[nodiscard]] const std::string& problem() const { return m_problem; }
    [[nodiscard]] const std::string& remedy() const { return m_remedy; }
    /// "path: problem; remedy", safe to print.
    [[nodiscard]] std::string line() const;

    /// From a library status about `path`.
    static Failure fromStatus(vesta2::error_t status, const std::string& path);
    /// From an `errno` value about `path`.
    static Failure fromErrno(int error, const std::string& path);
    /// From a library status about a file in `directory` that could not be written. Checks the
    /// permissions and the free space of `directory`, which the status does not tell apart.
    static Failure fromWriting(vesta2::error_t status, const std::string& path,
                               const std::string& directory);
    /// From the exception that is being handled.
    static Failure current();

private:
    int m_code;
    std::string m_path;
    std::string m_problem;
    std::string m_remedy;
};

/// A remedy: "see 'vesta2 COMMAND PATH'".
std::string seeCommand(const std::string& command, const std::string& path);

/// The reader of the output has closed it. The command ends without a message.
class BrokenPipe : public std::exception {};

}  // namespace cli

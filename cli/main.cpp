#include <fcntl.h>
#include <nlohmann/json.hpp>
#include <unistd.h>

#include "base/failure.h"
#include "base/signals.h"
#include "commands/commands.h"
#include "completion/complete.h"
#include "options/options.h"
#include "output/json.h"

namespace {

using cli::Failure;

/// A file opened later must never become one of the three standard streams. What the caller closed
/// stays unusable: /dev/null is opened the wrong way round.
void occupyStandardStreams() {
    for (int stream = STDIN_FILENO; stream <= STDERR_FILENO; ++stream) {
        if (::fcntl(stream, F_GETFD) < 0) {
            // NOLINTNEXTLINE: a standard stream is inherited by the programs that are run.
            ::open("/dev/null", stream == STDIN_FILENO ? O_WRONLY : O_RDONLY);
        }
    }
}

int report(const Failure& failure, bool json) {
    if (json) {
        const cli::Json error = {{"code", failure.code()},
                                 {"path", cli::jsonTextOrNull(failure.path())},
                                 {"message", cli::jsonText(failure.problem())},
                                 {"remedy", cli::jsonTextOrNull(failure.remedy())}};
        cli::writeRawMessage(cli::withSchema({{"error", error}}).dump(-1, ' ', true));
    } else {
        cli::writeMessage(failure.line());
    }
    return failure.code();
}

int run(int argc, char** argv, cli::Session& session) {
    if (argc > 1 && std::string_view(argv[1]) == cli::completionWord) {
        cli::complete({argv + 2, argv + argc}, cli::commandTable(), session.out);
        return cli::exitOk;
    }
    const cli::Request request = cli::parseCommandLine(argc, argv, cli::commandTable(), session);
    if (!request.action) {
        session.page();
    }
    session.out.write(request.text);
    const int code = request.action ? request.action(session) : cli::exitOk;
    session.out.flush();
    return code;
}

/// What was done before a failure is told all the same.
void flushAfterFailure(cli::Output& out) {
    try {
        out.flush();
    } catch (...) {  // NOLINT(bugprone-empty-catch): the failure before is reported
    }
}

}  // namespace

int main(int argc, char** argv) {  // NOLINT: only a lack of memory while reporting can escape
    occupyStandardStreams();
    cli::outliveFileLimit();
    cli::Session session;
    try {
        return run(argc, argv, session);
    } catch (const cli::BrokenPipe&) {
        return cli::exitBrokenPipe;
    } catch (...) {
        const Failure failure = Failure::current();
        flushAfterFailure(session.out);
        return report(failure, session.json);
    }
}

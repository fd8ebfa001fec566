// "flag": claims on nodes. A claim lives only as long as the process that made it.

#include <nlohmann/json.hpp>
#include <poll.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <memory>

#include "base/signals.h"
#include "base/text.h"
#include "basekit2/descriptor.h"
#include "collector/spawn.h"
#include "commands/arguments.h"
#include "nodes/flags.h"
#include "nodes/node_argument.h"
#include "output/table.h"
#include "vesta2/names.h"

namespace cli {
namespace {

using vesta2::util::flag_state_t;
using vesta2::util::FlagLook;

struct Arguments {
    std::string node;
    std::string name;
    bool force = false;
    int wait = 0;
    std::vector<std::string> program;
};

/// Where a flag of a node is. The node itself is not kept open. Raises `Failure`.
struct FlagPlace {
    explicit FlagPlace(const Arguments& arguments) : name(arguments.name) {
        const vesta2::error_t status = vesta2::validateFileName(name.c_str());
        if (status != vesta2::eOK || name == "." || name == "..") {
            throw Failure(exitUsage, {}, shellQuote(name) + " cannot be the name of a flag",
                          "give a plain name without '/'");
        }
        directory = namedPresentNode(arguments.node)->getPath();
        path = directory + "/" + name;
    }

    std::string directory;
    std::string name;
    std::string path;
};

Json toJson(const std::string& directory, const FlagLook& look) {
    Json object = {{"name", jsonText(look.name())},
                   {"path", jsonText(directory + "/" + look.name())},
                   {"state", stateName(look.state())},
                   {"host", {}},
                   {"user", {}},
                   {"pid", {}},
                   {"since", {}}};
    if (const std::optional<FlagOwner> owner = ownerOf(look)) {
        object["host"] = jsonText(owner->host);
        object["user"] = jsonText(owner->user);
        object["pid"] = jsonNumber(owner->process);
        object["since"] = utcTime(owner->since);
    }
    return object;
}

int reportFlag(Session& session, const FlagPlace& place, const FlagLook& look) {
    if (session.json) {
        session.out.writeJson({{"flag", toJson(place.directory, look)}});
    } else {
        session.out.writeText(place.path);
    }
    return exitOk;
}

std::vector<Cell> toCells(const FlagLook& look, bool forPeople) {
    const char* style = look.state() == flag_state_t::stale ? "31" : "";
    std::vector<Cell> cells{{look.name()}, {stateName(look.state()), style}, {}, {}, {}, {}};
    if (const std::optional<FlagOwner> owner = ownerOf(look)) {
        cells[2].text = owner->host;
        cells[3].text = owner->user;
        cells[4].text = std::to_string(owner->process);
        cells[5].text = forPeople ? localTime(owner->since) : utcTime(owner->since);
    }
    return cells;
}

int runList(const Arguments& arguments, Session& session) {
    const std::string directory = namedPresentNode(arguments.node)->getPath();
    const vesta2::util::FlagLooks looks = vesta2::util::lookAtFlags(directory);
    if (session.json) {
        Json flags = Json::array();
        for (const FlagLook& look : looks) {
            flags.push_back(toJson(directory, look));
        }
        session.out.writeJson({{"flags", std::move(flags)}});
        return exitOk;
    }
    session.page();
    Table table(session.out, {{"NAME"},
                              {"STATE", Column::Align::left, Column::Cut::never},
                              {"HOST"},
                              {"USER"},
                              {"PID", Column::Align::right, Column::Cut::never},
                              {"SINCE", Column::Align::left, Column::Cut::never}});
    for (const FlagLook& look : looks) {
        table.add(toCells(look, session.out.isTerminal()));
    }
    table.finish();
    return exitOk;
}

int runClear(const Arguments& arguments, Session& session) {
    const FlagPlace place(arguments);
    const FlagLook look = vesta2::util::lookAtFlag(place.directory, place.name);
    vesta2::util::FlagManager flags;
    flags.setDirectory(place.directory);
    // Files of a flag that nobody holds go in any case. Locked files are never deleted.
    const bool force = arguments.force || look.state() == flag_state_t::free;
    vesta2::error_t status = flags.removeFlag(place.name.c_str(), false, force);
    if (status == vesta2::eNotFound && look.state() == flag_state_t::stale) {
        // An information file without a lock file, of a process that has ended.
        status = flags.removeFlag(place.name.c_str(), false, true);
    }
    if (status == vesta2::eNotFound) {
        throw Failure(exitNotFound, place.directory, "no flag " + shellQuote(place.name),
                      seeCommand("flag list", place.directory));
    }
    if (status == vesta2::eFileLocked) {
        throw heldFailure(place.directory, look);
    }
    if (status != vesta2::eOK) {
        throw Failure::fromWriting(status, place.path, place.directory);
    }
    return reportFlag(session, place, look);
}

constexpr int forEver = -1;
constexpr int greatestWait = 1000000;

/// Until a signal comes, the process behind `end` has ended, or `milliseconds` have passed. True
/// when it is time to stop.
bool wait(Signals& signals, int end, int milliseconds) {
    std::array<pollfd, 2> events{pollfd{signals.descriptor(), POLLIN, 0}, pollfd{end, POLLIN, 0}};
    ::poll(events.data(), events.size(), milliseconds);
    return signals.wantsEnd() || events[1].revents != 0;
}

FlagClaim claimFlag(const Arguments& arguments, const FlagPlace& place, Signals& signals, int end) {
    const auto pause = [&](std::chrono::milliseconds time) {
        if (wait(signals, end, static_cast<int>(time.count()))) {
            throw Failure(exitCancelled, place.path, "cancelled", "the flag was not claimed");
        }
    };
    return {place.directory, place.name, std::chrono::seconds(arguments.wait), pause};
}

int runSet(const Arguments& arguments, Session& session) {
    Signals signals;
    // Where the kernel does not offer it, only a signal ends the wait.
    const basekit2::descriptor_t parent(
        static_cast<int>(::syscall(SYS_pidfd_open, ::getppid(), 0)));
    const FlagPlace place(arguments);
    const FlagClaim held = claimFlag(arguments, place, signals, parent.get());
    reportFlag(session, place, vesta2::util::lookAtFlag(place.directory, place.name));
    session.out.flush();
    while (!wait(signals, parent.get(), forEver)) {
    }
    return exitOk;
}

/// Returns the exit code as a shell tells it.
int runToEnd(const std::vector<std::string>& command, Signals& signals) {
    pid_t program = 0;
    if (const int error = spawnProgram({command, signals}, program)) {
        throw startFailure(command.front(), error);
    }
    pollfd event{signals.descriptor(), POLLIN, 0};
    for (;;) {
        ::poll(&event, 1, forEver);
        for (Signals::Signal signal; signals.next(signal);) {
            int status = 0;
            if (signal.number != SIGCHLD) {
                if (signal.wasSent) {
                    ::kill(program, signal.number);
                }
            } else if (::waitpid(program, &status, WNOHANG) == program) {
                return WIFSIGNALED(status) ? killedBase + WTERMSIG(status) : WEXITSTATUS(status);
            }
        }
    }
}

int runHolding(const Arguments& arguments, Session& /*session*/) {
    Signals signals;
    const FlagPlace place(arguments);
    const FlagClaim held = claimFlag(arguments, place, signals, -1);
    return runToEnd(arguments.program, signals);
}

std::shared_ptr<Arguments> declareNode(Options& options) {
    auto arguments = std::make_shared<Arguments>();
    nodeArgument(options, arguments->node);
    return arguments;
}

std::shared_ptr<Arguments> declareFlag(Options& options) {
    auto arguments = declareNode(options);
    options.argument({"NAME", Stands::flag}, arguments->name, "name of the flag");
    return arguments;
}

std::shared_ptr<Arguments> declareClaim(Options& options) {
    auto arguments = declareFlag(options);
    options.option("--wait", "S", arguments->wait, 0, greatestWait,
                   "seconds to wait for another owner to end; else 0");
    return arguments;
}

Action listFlags(Options& options) { return makeAction(declareNode(options), runList); }

Action setFlag(Options& options) { return makeAction(declareClaim(options), runSet); }

Action clearFlag(Options& options) {
    const auto arguments = declareFlag(options);
    options.flag("--force", arguments->force,
                 "also when its owner seems to live, but has no lock on it");
    return makeAction(arguments, runClear);
}

Action runWithFlag(Options& options) {
    const auto arguments = declareClaim(options);
    options.program(arguments->program);
    return makeAction(arguments, runHolding);
}

}  // namespace

Action flag(Options& options) {
    options.command("list", "the flags of a node, and who holds them", listFlags);
    options.command("set", "claim a flag and hold it until this command ends", setFlag);
    options.command("clear", "delete a flag whose owner has ended", clearFlag);
    options.command("run", "run a program while a flag is held", runWithFlag);
    return {};
}

}  // namespace cli

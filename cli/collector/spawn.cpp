#include "collector/spawn.h"

#include <spawn.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "collector/program_file.h"

namespace cli {
namespace {

/// Whether PATH leads to a file of that name, executable or not.
bool isInPath(const std::string& name) {
    const std::vector<std::string> places = placesOf(name);
    return std::any_of(places.begin(), places.end(),
                       [](const std::string& place) { return ::access(place.c_str(), F_OK) == 0; });
}

}  // namespace

int spawnProgram(const SpawnRequest& request, pid_t& process) {
    std::vector<char*> words;
    for (const std::string& word : request.command) {
        words.push_back(const_cast<char*>(word.c_str()));  // NOLINT: the call does not write to it
    }
    words.push_back(nullptr);

    posix_spawnattr_t attributes;
    ::posix_spawnattr_init(&attributes);
    ::posix_spawnattr_setsigmask(&attributes, &request.signals.originalMask());
    ::posix_spawnattr_setsigdefault(&attributes, &request.signals.originalDefaults());
    const int group = request.inOwnGroup ? POSIX_SPAWN_SETPGROUP : 0;
    ::posix_spawnattr_setflags(
        &attributes, static_cast<short>(POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF | group));
    posix_spawn_file_actions_t actions;
    ::posix_spawn_file_actions_init(&actions);
    if (request.output >= 0) {
        ::posix_spawn_file_actions_adddup2(&actions, request.output, STDOUT_FILENO);
    }
    if (request.error >= 0) {
        ::posix_spawn_file_actions_adddup2(&actions, request.error, STDERR_FILENO);
    }
    const int error =
        ::posix_spawnp(&process, words.front(), &actions, &attributes, words.data(), environ);
    ::posix_spawn_file_actions_destroy(&actions);
    ::posix_spawnattr_destroy(&attributes);
    // So the call also reports a directory in PATH that may not be searched.
    if (error == EACCES && request.command.front().find('/') == std::string::npos &&
        !isInPath(request.command.front())) {
        return ENOENT;
    }
    return error;
}

Failure startFailure(const std::string& program, int error) {
    if (error == ENOENT || error == ENOTDIR) {
        return {exitNoProgram, program, "no such program", "check its name and PATH"};
    }
    return {exitNotExecutable, program,
            "cannot be run: " + Failure::fromErrno(error, program).problem(),
            "check that it is an executable file"};
}

}  // namespace cli

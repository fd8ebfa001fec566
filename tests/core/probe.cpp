/// Prints what the library makes of its arguments, in a process that was started for it alone.

#include <pthread.h>
#include <sys/resource.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "optstore2/product_locations.h"
#include "vesta2/error.h"
#include "vesta2/names.h"

namespace {

using namespace vesta2;
using vesta2::error_t;  // the C library has one too
using Arguments = std::vector<std::string>;

void printNames(const Arguments& /*arguments*/) {
    const auto& product = optstore2::IProductLocations::get();
    const auto [major, minor, patch, build] = product.getVersion();
    std::cout << product.query(optstore2::IProductLocations::product_name) << '\n'
              << major << '.' << minor << '.' << patch << '.' << build << '\n'
              << resultMarkerFileExt() << ' ' << projectMarkerFileExt() << ' '
              << experimentMarkerFileExt() << '\n'
              << resultLinkExt() << ' ' << projectLinkExt() << ' ' << experimentLinkExt() << '\n'
              << getFlagLockExtension() << ' ' << getFlagInfoExtension() << '\n';
}

void printMessage(const Arguments& code) {
    std::cout << toString(static_cast<error_t>(std::stoi(code.at(0)))) << '\n';
}

void printMessageElsewhere(const Arguments& code) {
    std::filesystem::current_path("/");
    printMessage(code);
}

/// The message when no file can be opened, and when one can again.
void printMessageLater(const Arguments& code) {
    rlimit limit{};
    ::getrlimit(RLIMIT_NOFILE, &limit);
    const rlimit none{0, limit.rlim_max};
    ::setrlimit(RLIMIT_NOFILE, &none);
    printMessage(code);
    ::setrlimit(RLIMIT_NOFILE, &limit);
    printMessage(code);
}

void checkNames(const Arguments& names) {
    for (const std::string& name : names) {
        validateFileName(name.c_str());
    }
}

/// How much address space the process took, how many threads it has, and more.
void printProcessStatus(const Arguments& /*arguments*/) {
    validateFileName("a:b");
    std::cout << std::ifstream("/proc/self/status").rdbuf();
}

/// A text stays as it was, whatever this and other threads ask and log meanwhile.
void askInThreads(const Arguments& /*arguments*/) {
    const std::string text = toString(eNotFound);
    const auto ask = [&text] {
        for (int i = 0; i < 1000; ++i) {
            const char* mine = toString(eNotFound);
            validateFileName("a:b");
            toString(eFileLocked);
            if (mine != text) {
                std::cout << mine << " is not " << text << '\n';
                return;
            }
        }
    };
    const std::jthread threads[] = {std::jthread(ask), std::jthread(ask), std::jthread(ask),
                                    std::jthread(ask)};
}

/// Uses the library when what it is made of may have been destroyed.
void fail(const char* when) {
    for (const error_t code : {eNotFound, eFileError}) {
        setStatus(code);
        validateFileName("a:b");
        if (getStatus() != code) {
            std::printf("%s: the status is lost\n", when);
        }
    }
    std::printf("%s: %s\n", when, toString(eNotFound));
    std::fflush(stdout);
}

void failAtTheEnd(const Arguments& /*arguments*/) {
    std::thread([] {
        pthread_key_t key = 0;
        ::pthread_key_create(&key, [](void*) { fail("thread"); });
        ::pthread_setspecific(key, &key);
        setStatus(eNotFound);
    }).join();
}

/// As an application that ran before it loaded the library, whose own end comes after the
/// library's: what is asked for before anything is constructed is done after all is destroyed.
void beforeAll(int argc, char** argv, char** /*environment*/) {
    if (argc > 1 && std::strcmp(argv[1], "end") == 0) {
        std::atexit([] { fail("exit"); });
    }
}
[[gnu::section(".preinit_array"), gnu::used]] void (*const s_beforeAll)(int, char**,
                                                                        char**) = beforeAll;

}  // namespace

/// COMMAND ARGUMENT...
int main(int argc, char** argv) {
    const std::map<std::string, void (*)(const Arguments&)> commands{
        {"names", printNames},
        {"message", printMessage},
        {"elsewhere", printMessageElsewhere},
        {"later", printMessageLater},
        {"check", checkNames},
        {"status", printProcessStatus},
        {"threads", askInThreads},
        {"end", failAtTheEnd}};
    commands.at(argv[1])(Arguments(argv + 2, argv + argc));
    return 0;
}

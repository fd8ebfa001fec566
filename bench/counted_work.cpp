// Does one thing so many times, to be counted from outside: what two runs differ by is the work's
// own. Prints the seconds that the work took.

#include <chrono>
#include <cstdio>
#include <exception>
#include <functional>
#include <map>

#include "raw_calls.h"
#include "results.h"

namespace {

using Work = std::function<void(const std::string& directory, std::size_t count)>;

const std::map<std::string, Work>& works() {
    static const std::map<std::string, Work> all{
        {"nothing", [](const auto&, auto) {}},
        {"create", bench::createResults},
        {"multiply", bench::multiplyResults},
        {"open",
         [](const auto& directory, auto count) { bench::openResults(directory, 0, count); }},
        {"find", [](const auto& directory, auto) { bench::findResults(directory); }},
        {"list", [](const auto& directory, auto) { bench::listResults(directory); }},
        {"list-raw", [](const auto& directory, auto) { bench::listRaw(directory); }},
        {"hold", [](const auto& directory, auto) { bench::holdResults(directory); }},
        {"save",
         [](const auto& directory, auto count) {
             bench::saveResult(bench::openResult(bench::resultPath(directory, 0)), count, true);
         }},
        {"save-unchanged",
         [](const auto& directory, auto count) {
             bench::saveResult(bench::openResult(bench::resultPath(directory, 0)), count, false);
         }},
        {"claim",
         [](const auto& directory, auto count) {
             bench::claimFlag(bench::openResult(bench::resultPath(directory, 0)), count);
         }},
        {"size", [](const auto& directory, auto) { bench::sizeOf(directory); }},
        {"copy",
         [](const auto& directory, auto) { bench::copyTree(directory, directory + ".copy"); }},
    };
    return all;
}

}  // namespace

int main(int count, char** words) {
    if (count != 4 || works().count(words[1]) == 0) {
        std::fputs("Usage: counted_work WORK COUNT DIRECTORY\n", stderr);
        return 2;
    }
    try {
        const auto begin = std::chrono::steady_clock::now();
        works().at(words[1])(words[3], std::stoul(words[2]));
        const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - begin;
        std::printf("%.6f\n", elapsed.count());
    } catch (const std::exception& e) {
        std::fprintf(stderr, "counted_work: %s\n", e.what());
        return 1;
    }
    return 0;
}

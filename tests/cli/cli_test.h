#pragma once

#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>

#include "support/command.h"
#include "support/test.h"

using support::Command;
using testing::Not;

/// What follows the name of the command: a line of words, or each word by itself.
struct Words : std::vector<std::string> {
    Words(const char* line) : vector(words(line)) {}
    Words(const std::string& line) : vector(words(line)) {}
    Words(std::initializer_list<std::string> all) : vector(all) {}

    /// These words and those behind them.
    [[nodiscard]] Words with(const Words& more) const {
        Words all = *this;
        all.insert(all.end(), more.begin(), more.end());
        return all;
    }
};

/// Each test has a working directory of its own.
class CliTest : public testing::Test {
protected:
    Command start(const Words& words, const Words& environment = {}, int terminalWidth = 0) {
        return Command(words, {directory.path().native(), environment, terminalWidth});
    }
    support::CommandResult run(const Words& words) {
        support::CommandResult result = start(words).finish();
        keepJson(result.out);
        keepJson(result.err);
        return result;
    }
    /// Whole lines of JSON are kept for validate_json, which looks at them after all tests.
    static void keepJson(const std::string& text) {
        if (const char* const place = std::getenv("VESTA2_JSON_SEEN")) {
            std::ofstream seen(place + ("/" + std::to_string(::getpid())), std::ios::app);
            std::istringstream lines(text);
            for (std::string line; std::getline(lines, line) && !lines.eof();) {
                seen << (line.starts_with("{\"") ? line + '\n' : "");
            }
        }
    }

    /// What a command that must succeed prints.
    std::string output(const Words& words) {
        const support::CommandResult result = run(words);
        EXPECT_EQ(result.code, 0) << result.err;
        return result.out;
    }
    nlohmann::json json(const Words& words) {
        return nlohmann::json::parse(run(Words("--json").with(words)).out, nullptr, false);
    }
    /// What a listing shows, one name behind the other.
    std::string listed(const Words& command) {
        const nlohmann::json listing = json(command);
        std::string names;
        for (const auto& node : listing["nodes"]) {
            names.append(names.empty() ? "" : " ").append(node["name"].get<std::string>());
        }
        return names;
    }
    /// The values of keys of a node, one a line.
    std::string show(const std::string& nodeAndKeys) { return output("show " + nodeAndKeys); }

    std::string read(const std::string& name) { return readFile(directory / name); }
    void write(const std::string& name, const std::string& text) {
        writeFile(directory / name, text);
    }
    /// A program for a shell.
    void script(const std::string& name, const std::string& text) {
        write(name, "#!/bin/sh\n" + text);
        fs::permissions(directory / name, fs::owner_all);
    }
    bool exists(const std::string& name) { return fs::exists(directory / name); }

    support::TempDirectory directory;
};

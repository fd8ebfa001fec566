#pragma once

#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>

#include "support/command.h"
#include "support/test.h"

using support::Command;
using testing::_;
using testing::FieldsAre;
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

/// The pairs in a text such as "a b: c d; e: f".
inline Rows<std::string, std::string> pairs(const std::string& table) {
    Rows<std::string, std::string> all;
    std::istringstream lines(table);
    for (std::string line; std::getline(lines >> std::ws, line, ';');) {
        const std::size_t middle = line.find(": ");
        all.emplace_back(line.substr(0, middle), line.substr(middle + 2));
    }
    return all;
}

/// Each test has a working directory of its own.
class CliTest : public testing::Test {
protected:
    Command start(const Words& words, const Words& environment = {}, int terminalWidth = 0) {
        return Command(words, {directory.path().native(), environment, terminalWidth});
    }
    /// The command, which has printed `text`.
    Command startAndAwait(const std::string& text, const Words& words, int terminalWidth = 0) {
        return Command(words, {directory.path().native(), {}, terminalWidth, {}, text});
    }
    /// In the script, $0 is the command.
    support::CommandResult inShell(const std::string& script, const Words& arguments = {}) {
        return Command(Words{"-c", script, VESTA2_COMMAND}.with(arguments),
                       {directory.path().native(), {}, 0, "sh"})
            .finish();
    }
    /// The command of another user than that of the tests.
    support::CommandResult runAsOther(const std::string& words) {
        return inShell("exec setpriv --reuid=65534 --regid=65534 --clear-groups $0 " + words);
    }
    support::CommandResult run(const Words& words, const Words& environment = {}) {
        support::CommandResult result = start(words, environment).finish();
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
    nlohmann::json json(const Words& words, const Words& environment = {}) {
        const Words asked = Words("--json").with(words);
        return nlohmann::json::parse(run(asked, environment).out, nullptr, false);
    }
    /// What the command tells of its failure.
    nlohmann::json error(const Words& words) {
        return nlohmann::json::parse(run(Words("--json").with(words)).err, nullptr, false)["error"];
    }
    /// The nodes that the command shows with that action, one name behind the other.
    std::string listed(const Words& command, const std::string& action = "") {
        const nlohmann::json listing = json(command);
        std::string names;
        for (const auto& node : listing["nodes"]) {
            if (node.value("action", "") == action) {
                names.append(names.empty() ? "" : " ").append(node["name"].get<std::string>());
            }
        }
        return names;
    }
    void createResults(const Words& names) {
        for (const std::string& name : names) {
            output({"create", "result", name});
        }
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

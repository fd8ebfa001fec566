#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "support/command.h"
#include "support/temp_directory.h"

/// Each test has a working directory of its own.
class CliTest : public testing::Test {
protected:
    support::CommandResult run(const std::vector<std::string>& arguments) {
        return support::run(directory.path().native(), arguments);
    }

    /// What a command that must succeed prints.
    std::string output(const std::vector<std::string>& arguments) {
        const support::CommandResult result = run(arguments);
        EXPECT_EQ(result.code, 0) << result.err;
        return result.out;
    }

    nlohmann::json json(std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), "--json");
        return nlohmann::json::parse(run(arguments).out, nullptr, false);
    }

    /// The values of `keys` of a node, one a line.
    std::string show(const std::string& node, std::vector<std::string> keys) {
        keys.insert(keys.begin(), {"show", node});
        return output(keys);
    }

    std::string read(const std::string& name) { return support::readFile(directory / name); }
    void write(const std::string& name, const std::string& text) {
        support::writeFile(directory / name, text);
    }

    support::TempDirectory directory;
};

#pragma once
/// What most tests use.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <array>
#include <boost/filesystem/operations.hpp>
#include <functional>
#include <sstream>
#include <string>
#include <thread>
#include <tuple>
#include <utility>
#include <vector>

#include "support/constraints.h"
#include "support/temp_directory.h"

namespace fs = boost::filesystem;
using support::namesIn;
using support::readFile;
using support::writeFile;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

namespace support {

/// The words of a text, between white space; "-" is an empty one.
inline std::vector<std::string> words(const std::string& text) {
    std::vector<std::string> all;
    std::istringstream stream(text);
    for (std::string word; stream >> word;) {
        all.push_back(word == "-" ? "" : word);
    }
    return all;
}

/// The table in a text such as "a b; c d": rows of so many words, what is missing being empty.
template <std::size_t Columns>
std::vector<std::array<std::string, Columns>> rows(const std::string& table) {
    std::vector<std::array<std::string, Columns>> all;
    std::istringstream lines(table);
    for (std::string line; std::getline(lines, line, ';');) {
        const std::vector<std::string> found = words(line);
        std::copy_n(found.begin(), std::min(found.size(), Columns), all.emplace_back().begin());
    }
    return all;
}

/// Changes whenever the file is written or replaced.
inline std::vector<long> stampOf(const std::string& path) {
    struct stat info {};
    EXPECT_EQ(::lstat(path.c_str(), &info), 0) << path;
    return {static_cast<long>(info.st_ino), info.st_mtim.tv_sec, info.st_mtim.tv_nsec};
}

}  // namespace support

using support::rows;
using support::stampOf;
using support::words;

/// A table of other things than words.
template <class... Columns>
using Rows = std::vector<std::tuple<Columns...>>;
using Text = const char*;

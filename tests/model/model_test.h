#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <boost/filesystem/operations.hpp>
#include <functional>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

#include "basekit2/bag_io.h"
#include "support/constraints.h"
#include "support/temp_directory.h"
#include "vesta2/vesta2.h"

namespace fs = boost::filesystem;
using basekit2::sptr_t;
using basekit2::variant_bag_t;
using support::readFile;
using support::writeFile;
using namespace vesta2;

using Results = ResultDirectoryManager;
using ResultHandle = sptr_t<IResultDirectory>;
using NodeHandle = sptr_t<INode>;
template <class... Columns>
using Rows = std::vector<std::tuple<Columns...>>;
using Text = const char*;

/// The table in a text such as "a b; c d": rows of three words, "-" and what is missing being
/// empty.
inline Rows<std::string, std::string, std::string> rows(const std::string& table) {
    Rows<std::string, std::string, std::string> found;
    std::istringstream lines(table);
    for (std::string line; std::getline(lines, line, ';');) {
        std::string words[3];
        std::istringstream(line) >> words[0] >> words[1] >> words[2];
        for (std::string& word : words) {
            word = word == "-" ? "" : word;
        }
        found.emplace_back(words[0], words[1], words[2]);
    }
    return found;
}

/// Every test ends with nothing left in the registry of open nodes.
class ModelTest : public ::testing::Test {
protected:
    void TearDown() override { EXPECT_EQ(Node::handleCount(), 0U); }

    std::string at(const std::string& name) const { return m_temp / name; }

    /// The path of the marker file of a new result at `directory`, which is closed again.
    std::string makeResult(const std::string& directory) const {
        const ResultHandle result =
            Results::create(directory.c_str(), false, nullptr, true, nullptr);
        return result ? result->getMarkerFilePath() : "";
    }
    static ResultHandle openResult(const std::string& path) {
        return Results::open(path.c_str(), true, nullptr);
    }
    static NodeHandle lookup(const std::string& path) { return Node::lookup(path, nullptr); }
    static sptr_t<IProject> makeProject(const std::string& directory, bool removeOnClose = false) {
        return IProject::create(directory.c_str(), nullptr, removeOnClose);
    }
    static sptr_t<IExperiment> makeExperiment(const std::string& directory) {
        return IExperiment::create(directory.c_str(), nullptr);
    }
    /// The object behind a handle.
    template <class Interface>
    static Node& object(const sptr_t<Interface>& handle) {
        return dynamic_cast<Node&>(*handle);
    }

    static variant_bag_t load(const std::string& path) {
        variant_bag_t bag;
        EXPECT_EQ(basekit2::load_variant_bag(bag, path, ""), basekit2::bag_ok) << path;
        return bag;
    }
    /// Puts `value` under `key` of the section "vesta" of a marker file.
    static void edit(const std::string& marker, const char* key, const std::string& value) {
        variant_bag_t bag = load(marker);
        bag.put_bag("vesta").put(key, value);
        ASSERT_EQ(basekit2::save_variant_bag(bag, marker), basekit2::bag_ok);
    }
    static void writeLink(const std::string& link, const std::string& target) {
        variant_bag_t bag;
        bag.put("link", target);
        bag.put("md5sum", "0");
        fs::create_directories(fs::path(link).parent_path());
        ASSERT_EQ(basekit2::save_variant_bag2(bag, link, "bag", basekit2::durability_t::whenever),
                  basekit2::bag_ok);
    }
    static std::string text(const char* value) { return value ? value : "(null)"; }

    /// Changes whenever the file is written or replaced.
    static std::vector<long> stampOf(const std::string& path) {
        struct stat info {};
        EXPECT_EQ(::stat(path.c_str(), &info), 0) << path;
        return {static_cast<long>(info.st_ino), info.st_mtim.tv_sec, info.st_mtim.tv_nsec};
    }

    /// The owner may look into the directory, but not change it.
    void lock(const std::string& name) const {
        fs::permissions(at(name), fs::owner_read | fs::owner_exe);
    }
    void unlock(const std::string& name) const { fs::permissions(at(name), fs::owner_all); }

    /// As `support::asOrdinaryUser`, in the test's directory.
    void asOrdinaryUser(const std::function<void()>& check) const {
        support::asOrdinaryUser(m_temp.path(), check);
    }

    support::TempDirectory m_temp;
};

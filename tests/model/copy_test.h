#pragma once
/// For the tests of copies: of trees, and of nodes.

#include <fcntl.h>

#include <map>

#include "basekit2/descriptor.h"
#include "script_test.h"

/// Notes what it is told, and cancels at the question number `cancelAt`.
class Progress : public notify2::IProgress {
public:
    explicit Progress(int cancelAt = -1) : m_cancelAt(cancelAt) {}

    void start(const char* message, double expected) override {
        EXPECT_STREQ(message, "");
        total += expected;
        ++starts;
    }
    void advance(double amount) override {
        done += amount;
        steps[m_item].push_back(amount);
    }
    void setCurrentItem(const char* path) override {
        m_item = path;
        steps[m_item];
        atItem();
    }
    void finish() override {
        ++finishes;
        atEnd();
    }
    bool isCancelled() override { return questions++ == m_cancelAt; }

    double total = 0;
    double done = 0;
    int starts = 0;
    int finishes = 0;
    int questions = 0;
    std::map<std::string, std::vector<double>> steps;  ///< by file
    std::function<void()> atItem = [] {};
    std::function<void()> atEnd = [] {};

private:
    std::string m_item;
    int m_cancelAt;
};

class CopyTest : public ScriptTest {
protected:
    /// What a copy of the tree has come to: its answer, and the status.
    static std::pair<bool, vesta2::error_t> copyTree(const std::string& from, const std::string& to,
                                                     const std::vector<std::string>& patterns = {},
                                                     Progress* progress = nullptr) {
        setStatus(eOK);
        const bool isDone = copyDirectoryWithExlusionPattern(from, to, patterns, progress);
        return {isDone, getStatus()};
    }

    static void expectSame(const std::string& one, const std::string& other) {
        ASSERT_EQ(entries(one), entries(other));
        for (const fs::directory_entry& entry : fs::recursive_directory_iterator(one)) {
            const fs::path name = entry.path().lexically_relative(one);
            struct stat a {};
            struct stat b {};
            ASSERT_EQ(::stat(entry.path().c_str(), &a), 0);
            ASSERT_EQ(::stat((other / name).c_str(), &b), 0);
            EXPECT_EQ(a.st_mode, b.st_mode) << name;
            if (S_ISREG(a.st_mode)) {
                EXPECT_EQ(a.st_mtim.tv_sec, b.st_mtim.tv_sec) << name;
                EXPECT_EQ(a.st_mtim.tv_nsec, b.st_mtim.tv_nsec) << name;
                EXPECT_EQ(readFile(entry.path()), readFile(other / name)) << name;
            }
        }
    }

    static bool isHeld(const char* directory) {
        return util::lookAtFlag(directory, "mine").state() == util::flag_state_t::held;
    }

    /// A result with a flag of this process, a few files and a large one.
    static ResultHandle makeFullResult(const std::string& name, std::size_t files = 3) {
        makeResult(name);
        const ResultHandle result = openResult(name);
        for (std::size_t i = 0; i < files; ++i) {
            writeFile(name + "/data." + std::to_string(i % 7) + "/" + std::to_string(i),
                      std::string(i % 5 * 1000, 'x'));
        }
        writeFile(name + "/large", std::string(20'000'000, 'y'));
        EXPECT_TRUE(result->setFlag("mine"));
        return result;
    }
};

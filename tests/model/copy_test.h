#pragma once
/// For the tests of copies: of trees, and of nodes.

#include <fcntl.h>

#include <algorithm>
#include <functional>
#include <map>
#include <set>

#include "basekit2/descriptor.h"
#include "model_test.h"

constexpr const char* lockExtension = ".dflgzentor";
constexpr const char* infoExtension = ".infozentor";

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

class CopyTest : public ModelTest {
protected:
    static bool copyTree(const std::string& from, const std::string& to,
                         const std::vector<std::string>& patterns = {}) {
        setStatus(eOK);
        return copyDirectoryWithExlusionPattern(from, to, patterns, nullptr);
    }

    /// Runs `check` in a child, which must end with success, and in which a failure is one here;
    /// 77 is the code of a child that cannot do what it is for.
    static int inChild(const std::function<void()>& check) {
        std::fflush(nullptr);
        const pid_t child = ::fork();
        if (child == 0) {
            try {
                check();
            } catch (const std::exception& e) {
                ADD_FAILURE() << e.what();
            }
            std::fflush(nullptr);
            ::_exit(HasFailure() ? 1 : 0);
        }
        int status = -1;
        EXPECT_EQ(::waitpid(child, &status, 0), child);
        EXPECT_TRUE(WIFEXITED(status)) << "signal " << WTERMSIG(status);
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

    /// The paths of all entries below `directory`.
    std::vector<std::string> entries(const std::string& directory) const {
        std::vector<std::string> found;
        const fs::path top = at(directory);
        for (const fs::directory_entry& entry : fs::recursive_directory_iterator(top)) {
            found.push_back(entry.path().lexically_relative(top).native());
        }
        std::sort(found.begin(), found.end());
        return found;
    }

    void expectSame(const std::string& one, const std::string& other) const {
        ASSERT_EQ(entries(one), entries(other));
        for (const std::string& name : entries(one)) {
            struct stat a {};
            struct stat b {};
            ASSERT_EQ(::stat(at(one + "/" + name).c_str(), &a), 0);
            ASSERT_EQ(::stat(at(other + "/" + name).c_str(), &b), 0);
            EXPECT_EQ(a.st_mode, b.st_mode) << name;
            if (S_ISREG(a.st_mode)) {
                EXPECT_EQ(a.st_mtim.tv_sec, b.st_mtim.tv_sec) << name;
                EXPECT_EQ(a.st_mtim.tv_nsec, b.st_mtim.tv_nsec) << name;
                EXPECT_EQ(readFile(at(one + "/" + name)), readFile(at(other + "/" + name)));
            }
        }
    }

    std::int64_t storedBytes(const std::string& name) const {
        struct stat info {};
        EXPECT_EQ(::stat(at(name).c_str(), &info), 0);
        return info.st_blocks * 512;
    }

    /// What a file has between its holes, by offset.
    std::map<off_t, std::string> dataIn(const std::string& name) const {
        std::map<off_t, std::string> found;
        const basekit2::descriptor_t file(::open(at(name).c_str(), O_RDONLY | O_CLOEXEC));
        for (off_t end = 0, begin = 0; (begin = ::lseek(file.get(), end, SEEK_DATA)) >= 0;) {
            end = ::lseek(file.get(), begin, SEEK_HOLE);
            std::string& data = found[begin];
            data.resize(static_cast<std::size_t>(end - begin));
            EXPECT_EQ(::pread(file.get(), data.data(), data.size(), begin), end - begin);
        }
        return found;
    }

    bool isHeld(const std::string& directory) const {
        return util::lookAtFlag(at(directory), "mine").state() == util::flag_state_t::held;
    }

    /// A result with a flag of this process, a few files and a large one.
    ResultHandle makeFullResult(const std::string& name, std::size_t files = 3) const {
        makeResult(at(name));
        const ResultHandle result = openResult(at(name));
        for (std::size_t i = 0; i < files; ++i) {
            writeFile(at(name + "/data." + std::to_string(i % 7) + "/" + std::to_string(i)),
                      std::string(i % 5 * 1000, 'x'));
        }
        writeFile(at(name + "/large"), std::string(20'000'000, 'y'));
        EXPECT_TRUE(result->setFlag("mine"));
        return result;
    }
};

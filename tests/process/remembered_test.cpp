// What this process remembers of a directory, against what others do there. They have made each
// change before this process asks: so each answer is certain.

#include <linux/magic.h>
#include <sys/vfs.h>

#include <random>

#include "model/model_test.h"
#include "vesta/discovery/directory_memory.h"

namespace {

const std::string directory = "shared";
const std::string marker = R"(<bag v="1"><bag n="vesta"/></bag>)";

/// In memory the removal of a file has the time stamp of the directory's last change, until the
/// kernel's clock ticks: only then does it show at once.
void awaitTickInMemory() {
    struct statfs kind {};
    struct stat info {};
    if (::statfs(directory.c_str(), &kind) != 0 || kind.f_type != TMPFS_MAGIC ||
        ::stat(directory.c_str(), &info) != 0) {
        return;
    }
    timespec now{};
    do {
        ::clock_gettime(CLOCK_REALTIME_COARSE, &now);
    } while (std::tie(now.tv_sec, now.tv_nsec) <=
             std::tie(info.st_ctim.tv_sec, info.st_ctim.tv_nsec));
}

/// What is in the directory, and what others do there, as a seed decides: files come and go without
/// the library, so all that is news to it.
class Others {
public:
    void act() {
        const int number = draw(next() + 3);
        switch (draw(10)) {
        case 0:
            if (!isTaken(number)) {
                const bool isLink = entries[number] = draw(2) == 0;
                isLink ? writeFile(linkOf(number), "")
                       : writeFile(pathOf(number) + "/" + resultName(number) + ".zentor", marker);
            }
            break;
        case 1:
            makeOrRemove(pathOf(draw(2)) + ".file", draw(2) == 0);
            break;
        case 2:
            isProject = !isProject;
            makeOrRemove(directory + "/first.zentorproj", isProject);
            break;
        default:  // as many as are made: no listing becomes dear
            if (entries.size() >= 5 + static_cast<std::size_t>(draw(40))) {
                const auto gone = draw(2) == 0 ? entries.begin() : std::prev(entries.end());
                gone->second ? makeOrRemove(linkOf(gone->first), false)
                             : void(fs::remove_all(pathOf(gone->first)));
                entries.erase(gone);
            }
        }
    }
    int draw(int count) { return static_cast<int>(m_engine() % static_cast<unsigned>(count)); }
    [[nodiscard]] bool isTaken(int number) const { return entries.count(number) != 0; }
    [[nodiscard]] int next() const { return entries.empty() ? 0 : entries.rbegin()->first + 1; }
    static std::string pathOf(int number) { return directory + "/" + resultName(number); }
    static std::string linkOf(int number) { return pathOf(number) + ".zentorlink"; }

    std::map<int, bool> entries;  ///< the numbers of results and of links: whether it is a link
    bool isProject = false;

private:
    static void makeOrRemove(const std::string& path, bool isMade) {
        if (isMade) {
            writeFile(path, marker);
        } else {
            awaitTickInMemory();
            fs::remove(path);
        }
    }

    std::mt19937 m_engine{1};
};

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr int rounds = 1000;
#else
constexpr int rounds = 10'000;
#endif

using RememberedTest = ModelTest;

TEST_F(RememberedTest, IsNeverBelievedAfterAnothersChange) {
    // Many names: the dearer a listing, the longer it is remembered.
    for (int i = 0; i < 100; ++i) {
        writeFile(directory + "/file" + std::to_string(i), "");
    }
    Others others;
    const std::string place = at(directory);
    for (int round = 0; round < rounds; ++round) {
        others.act();
        const int number = others.draw(others.next() + 1);
        switch (others.draw(4)) {
        case 0:
            ASSERT_EQ(text(findGroupMarkerInDir(place).value_or("no directory").c_str()),
                      others.isProject ? place + "/first.zentorproj" : "")
                << round;
            break;
        case 1: {
            const ResultHandle opened = openResult(at(Others::pathOf(number)));
            ASSERT_EQ(static_cast<bool>(opened), others.isTaken(number)) << round;
            ASSERT_TRUE(!opened || others.entries[number] ||
                        static_cast<bool>(opened->getProject()) == others.isProject)
                << round;
            break;
        }
        case 2: {  // by its name, after which no number is known any more
            const int named = others.next() + 1;
            ASSERT_FALSE(makeResult(at(Others::pathOf(named))).empty()) << round;
            others.entries[named] = false;
            break;
        }
        default: {
            const int next = others.next();
            const auto made =
                Results::create((place + "/r@@@").c_str(), false, nullptr, false, nullptr);
            ASSERT_TRUE(made && made->getPath() == at(Others::pathOf(next))) << round;
            ASSERT_EQ(static_cast<bool>(made->getProject()), others.isProject) << round;
            others.entries[next] = false;
        }
        }
    }
    for (const auto& [number, isLink] : others.entries) {
        EXPECT_TRUE(!isLink || fs::exists(Others::linkOf(number))) << number;
    }
}

}  // namespace

// What this process remembers of a directory, against what other processes do there. Each of them
// has made its change before this one asks: so each answer is certain.

#include <linux/magic.h>
#include <sys/socket.h>
#include <sys/vfs.h>

#include <random>

#include "model/model_test.h"
#include "support/child_process.h"
#include "vesta/discovery/directory_memory.h"

namespace {

const std::string directory = "shared";

std::string nameOf(int number) {
    const std::string digits = std::to_string(number);
    return "r" + std::string(3 - std::min<std::size_t>(digits.size(), 3), '0') + digits;
}
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

struct Change {
    enum What { none, result, link, file, project } what = none;
    int number = 0;
    bool isRemoval = false;

    [[nodiscard]] std::string path() const {
        const std::string name = directory + "/" + nameOf(number);
        return what == result    ? name
               : what == link    ? name + ".zentorlink"
               : what == project ? directory + "/first.zentorproj"
                                 : name + ".file";
    }
    void make(const std::string& resultMarker, const std::string& projectMarker) const {
        if (isRemoval && what == result) {
            fs::remove_all(path());
        } else if (isRemoval) {
            awaitTickInMemory();
            fs::remove(path());
        } else if (what == result) {
            writeFile(path() + "/" + nameOf(number) + ".zentor", resultMarker);
        } else if (what != none) {
            writeFile(path(), what == project ? projectMarker : "");
        }
    }
};

/// Makes the changes that it is told to.
class Other {
public:
    Other() {
        EXPECT_EQ(::socketpair(AF_UNIX, SOCK_STREAM, 0, m_ends.data()), 0);
        m_process = support::ChildProcess([this] { return serve(); });
    }
    /// Returns when the change was made.
    void make(const Change& change) const {
        char done = 0;
        ASSERT_EQ(::write(m_ends[0], &change, sizeof change), ssize_t{sizeof change});
        ASSERT_EQ(::read(m_ends[0], &done, 1), 1);
    }

private:
    [[nodiscard]] int serve() const {
        ::close(m_ends[0]);
        const std::string result = readFile("like/like.zentor");
        const std::string project = readFile("like.zentorproj");
        for (Change next{}; ::read(m_ends[1], &next, sizeof next) == sizeof next;) {
            next.make(result, project);
            EXPECT_EQ(::write(m_ends[1], "", 1), 1);
        }
        return 0;
    }

    std::array<int, 2> m_ends{};
    support::ChildProcess m_process{-1};
};

/// What is in the directory, and the next change of it, which is drawn by a seed.
class Model {
public:
    [[nodiscard]] Change draw() {
        const int free = draw(next() + 3);
        switch (draw(10)) {
        case 0:
        case 1:
            return isTaken(free) ? Change{}
                                 : Change{draw(2) == 0 ? Change::result : Change::link, free};
        case 2:
            return links.empty() ? Change{} : Change{Change::link, *links.rbegin(), true};
        case 3:
            return {Change::file, draw(2), draw(2) == 0};
        case 4:
            return {Change::project, 0, isProject};
        default:  // as many as are made, so that no listing becomes dear
            return results.size() < 5 + static_cast<std::size_t>(draw(40))
                       ? Change{}
                       : Change{Change::result, draw(2) == 0 ? *results.rbegin() : *results.begin(),
                                true};
        }
    }
    void make(const Change& change) {
        if (change.what == Change::project) {
            isProject = !change.isRemoval;
        } else if (change.what == Change::result || change.what == Change::link) {
            std::set<int>& names = change.what == Change::result ? results : links;
            if (change.isRemoval) {
                names.erase(change.number);
            } else {
                names.insert(change.number);
            }
        }
    }
    int draw(int count) { return static_cast<int>(m_engine() % static_cast<unsigned>(count)); }
    [[nodiscard]] bool isTaken(int number) const {
        return results.count(number) + links.count(number) != 0;
    }
    [[nodiscard]] int next() const {
        const auto greatest = [](const std::set<int>& all) {
            return all.empty() ? -1 : *all.rbegin();
        };
        return std::max(greatest(results), greatest(links)) + 1;
    }

    std::set<int> results;
    std::set<int> links;
    bool isProject = false;

private:
    std::mt19937 m_engine{1};
};

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr int rounds = 1000;
#else
constexpr int rounds = 10'000;
#endif

using RememberedTest = ModelTest;

TEST_F(RememberedTest, IsNeverBelievedAfterAnothersChange) {
    makeResult("like");
    makeProject("likeproject");
    writeFile("like.zentorproj", readFile("likeproject/likeproject.zentorproj"));
    // Many names: the dearer a listing, the longer it is remembered.
    for (int i = 0; i < 100; ++i) {
        writeFile(directory + "/file" + std::to_string(i), "");
    }
    const std::array<Other, 2> others;
    Model model;
    const std::string place = at(directory);
    const std::string base = place + "/";
    for (int round = 0; round < rounds; ++round) {
        const Change change = model.draw();
        others[static_cast<std::size_t>(round % 2)].make(change);
        model.make(change);
        const int number = model.draw(model.next() + 1);
        switch (model.draw(4)) {
        case 0:
            ASSERT_EQ(text(findGroupMarkerInDir(place).value_or("no directory").c_str()),
                      model.isProject ? base + "first.zentorproj" : "")
                << round;
            break;
        case 1: {
            const ResultHandle opened = openResult(base + nameOf(number));
            const bool isHere = model.results.count(number) != 0;
            ASSERT_EQ(static_cast<bool>(opened), model.isTaken(number)) << round;
            ASSERT_TRUE(!isHere || static_cast<bool>(opened->getProject()) == model.isProject)
                << round;
            break;
        }
        default: {
            const int next = model.next();
            const auto made =
                Results::create((base + "r@@@").c_str(), false, nullptr, false, nullptr);
            ASSERT_TRUE(made && made->getPath() == base + nameOf(next)) << round;
            ASSERT_EQ(static_cast<bool>(made->getProject()), model.isProject) << round;
            model.results.insert(next);
        }
        }
    }
    for (const int number : model.links) {
        EXPECT_TRUE(fs::exists(Change{Change::link, number}.path())) << number;
    }
}

}  // namespace

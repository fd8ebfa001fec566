#include <sys/inotify.h>
#include <sys/socket.h>

#include <iterator>

#include "basekit2/descriptor.h"
#include "basekit2/host.h"
#include "model/model_test.h"

using ::testing::AnyOf;
using ::testing::ContainsRegex;

namespace {

/// The program `flag_holder`. Every wait for it is bounded.
class Holder {
public:
    Holder() {
        int ends[2];
        EXPECT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
        const timeval patience{10, 0};
        ::setsockopt(ends[0], SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
        m_end = basekit2::descriptor_t(ends[0]);
        m_process = support::ChildProcess([&] {
            ::dup2(ends[1], 0);
            ::dup2(ends[1], 1);
            return ::execl(FLAG_HOLDER, FLAG_HOLDER, nullptr);
        });
        ::close(ends[1]);
    }

    [[nodiscard]] pid_t process() const { return m_process.pid(); }
    /// What an operation answers that comes to `outcome` and finds the record of this process.
    [[nodiscard]] std::string found(const std::string& outcome) const {
        return outcome + ' ' + std::to_string(process()) + ' ' + basekit2::get_fq_host_name();
    }

    [[nodiscard]] std::string answer() const {
        std::string line;
        char next = 0;
        while (::read(m_end.get(), &next, 1) == 1 && next != '\n') {
            line += next;
        }
        return next == '\n' ? line : "(no answer)";
    }
    [[nodiscard]] std::string ask(const std::string& command) const {
        const std::string line = command + '\n';
        EXPECT_GT(::send(m_end.get(), line.data(), line.size(), MSG_NOSIGNAL), 0);
        return answer();
    }
    /// Lets it end as programs do.
    void end() {
        ::shutdown(m_end.get(), SHUT_WR);
        EXPECT_EQ(answer(), "(no answer)");
        die();
    }
    void die() { m_process.kill(); }

private:
    basekit2::descriptor_t m_end;
    support::ChildProcess m_process{-1};
};

std::string lockOf(const std::string& flag) { return flag + ".dflgzentor"; }
std::string infoOf(const std::string& flag) { return flag + ".infozentor"; }

std::string recordOf(int pid, int ppid, const std::string& host) {
    return "<bag v=\"1\"><uint32 n=\"pid\">" + std::to_string(pid) +
           "</uint32><uint32 n=\"ppid\">" + std::to_string(ppid) + "</uint32><str n=\"host\">" +
           host + "</str></bag>";
}

class Flags : public ModelTest {
protected:
    /// Changes with every file in `directory` that is made, written, replaced or deleted.
    static std::map<std::string, std::vector<long>> stampsIn(const std::string& directory) {
        std::map<std::string, std::vector<long>> stamps{{"", stampOf(directory)}};
        for (const fs::directory_entry& entry : fs::directory_iterator(directory)) {
            stamps[entry.path().native()] = stampOf(entry.path().native());
        }
        return stamps;
    }

    const std::string m_directory = m_temp.path().native();
    const std::string m_flag = at("flag");
    Holder m_holder;
    Holder m_other;
};

TEST_F(Flags, OfALiveProcessStandAgainstAllOthers) {
    ASSERT_EQ(m_holder.ask("write " + m_flag), m_holder.found("0"));
    const auto before = stampsIn(m_directory);
    // What might cost the holder its lock comes before a claim with force, which asks nothing else.
    for (const auto& [asked, command, outcome] :
         rows<3>("other look held; other write 15; other force 15; other own 18; other probe 15;"
                 "other remove 18; other erase 15; holder own 0; holder write 3; other force 15;"
                 "holder look held; other force 15; holder fork; other force 15")) {
        EXPECT_THAT((asked == "holder" ? m_holder : m_other).ask(command + ' ' + m_flag),
                    AnyOf(outcome, m_holder.found(outcome)))
            << asked << ' ' << command;
        EXPECT_EQ(stampsIn(m_directory), before) << asked << ' ' << command;
    }
    writeFile(infoOf(m_flag), "no record");
    EXPECT_EQ(m_holder.ask("force " + m_flag), m_holder.found("0"));
    EXPECT_EQ(m_other.ask("write " + m_flag), m_holder.found("15"));
    m_holder.end();
    EXPECT_TRUE(fs::is_empty(m_directory));
}

TEST_F(Flags, OfADeadProcessGoToWhoAsks) {
    for (const auto& [command, outcome, rest] :
         rows<3>("write 0 stays; force 0 stays; own 4; probe 0; erase 0; remove 18 stays")) {
        const std::string flag = at(command);
        Holder holder;
        ASSERT_EQ(holder.ask("write " + flag), holder.found("0"));
        const std::string stale = holder.found("stale");
        holder.die();
        const auto before = stampsIn(m_directory);
        EXPECT_EQ(m_other.ask("look " + flag), stale);
        EXPECT_EQ(stampsIn(m_directory), before);
        EXPECT_THAT(m_other.ask(command + ' ' + flag), AnyOf(outcome, m_other.found(outcome)));
        EXPECT_EQ(fs::exists(lockOf(flag)) + fs::exists(infoOf(flag)), rest == "stays" ? 2 : 0);
    }
}

TEST_F(Flags, LeftBehindAreJudgedByTheirRecord) {
    const std::string alive = recordOf(m_holder.process(), ::getpid(), "elsewhere");
    const std::string reused = recordOf(m_holder.process(), ::getpid() + 1, "elsewhere");
    const std::string longer = recordOf(m_holder.process(), 1, std::string(5000, 'h'));
    for (const auto& [name, hasLock, info, outcomes] :
         Rows<Text, bool, Text, Text>{{"bare-", true, nullptr, "free 0 0 4 4"},
                                      {"empty-", true, "", "free 0 0 4 4"},
                                      {"torn-", true, "<bag v=", "free 0 0 4 4"},
                                      {"unlocked-", false, reused.c_str(), "stale 0 0 4 4"},
                                      {"alive-", true, alive.c_str(), "held 15 0 15 18"},
                                      {"reused-", true, reused.c_str(), "stale 0 0 0 4"},
                                      {"longer-", true, longer.c_str(), "stale 0 0 0 4"}}) {
        std::istringstream expected(outcomes);
        for (const std::string command : {"look", "write", "force", "probe", "own"}) {
            const std::string flag = at(name + command);
            hasLock ? writeFile(lockOf(flag), "") : void();
            info ? writeFile(infoOf(flag), info) : void();
            const std::string outcome = *std::istream_iterator<std::string>(expected);
            const std::string answer = m_other.ask(command + ' ' + flag);
            EXPECT_EQ(answer.substr(0, answer.find(' ')), outcome) << flag;
            if (answer == m_other.found("0")) {
                EXPECT_EQ(m_holder.ask("write " + flag), m_other.found("15")) << flag;
            }
        }
    }
    // Past what is read of a record; the new one is found in front of the rest.
    writeFile(infoOf(at("huge")), alive + std::string(64 * 1024, ' '));
    EXPECT_EQ(m_other.ask("write " + at("huge")), m_other.found("0"));
    EXPECT_EQ(m_holder.ask("look " + at("huge")), m_other.found("held"));
    // Somebody who is about to claim it.
    ASSERT_EQ(m_holder.ask("hold " + lockOf(m_flag)), "0");
    EXPECT_EQ(m_other.ask("force " + m_flag), "15 0 ");
    EXPECT_EQ(m_other.ask("look " + m_flag), "held 0 ");
}

TEST_F(Flags, AreGivenUpWhileSomebodyReadsTheirRecord) {
    const Holder reader;
    for (const std::string command : {"remove", "end"}) {
        ASSERT_EQ(m_holder.ask("write " + m_flag), m_holder.found("0"));
        ASSERT_EQ(reader.ask("hold " + infoOf(m_flag)), "0");
        EXPECT_EQ(m_other.ask("write " + m_flag), m_holder.found("15")) << "told who has it";
        command == "end" ? m_holder.end() : void(m_holder.ask(command + ' ' + m_flag));
        EXPECT_TRUE(fs::is_empty(m_directory)) << command;
        EXPECT_EQ(m_other.ask("write " + m_flag), m_other.found("0")) << command;
        EXPECT_EQ(m_other.ask("remove " + m_flag), "0");
    }
}

TEST_F(Flags, LeadNobodyToWhatOthersPlanted) {
    const support::TempDirectory outside;
    writeFile(outside / "file", recordOf(1, 1, "elsewhere"));
    const int watch = ::inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    ASSERT_GE(::inotify_add_watch(watch, outside.path().c_str(), IN_ALL_EVENTS), 0);
    for (const auto& [kind, plant] : Rows<std::string, std::function<void(const std::string&)>>{
             {"link", [&](auto& path) { fs::create_symlink(outside / "file", path); }},
             {"dangling", [&](auto& path) { fs::create_symlink(outside / "none", path); }},
             {"hard", [&](auto& path) { fs::create_hard_link(outside / "file", path); }},
             {"fifo", [](auto& path) { EXPECT_EQ(::mkfifo(path.c_str(), 0666), 0); }},
             {"directory", [](auto& path) { fs::create_directory(path); }}}) {
        for (const std::string& planted : {lockOf(at(kind)), infoOf(at(kind))}) {
            plant(planted);
            const auto type = fs::symlink_status(planted).type();
            for (const std::string command : {"write", "force", "look", "own", "probe", "erase"}) {
                EXPECT_THAT(m_holder.ask(command + ' ' + at(kind)), ContainsRegex("^[^0(]"))
                    << command << ' ' << planted;
                EXPECT_EQ(fs::symlink_status(planted).type(), type) << command << ' ' << planted;
            }
            fs::remove(planted);
        }
    }
    std::array<char, 4096> events{};
    EXPECT_EQ(::read(watch, events.data(), events.size()), -1) << "something outside was touched";
    ::close(watch);
}

}  // namespace

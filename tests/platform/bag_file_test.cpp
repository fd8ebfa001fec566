// Files of bags, also while a system call fails.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "basekit2/bag_io.h"
#include "support/failing_call.h"
#include "support/test.h"

// NOLINTBEGIN: the linker gives these names.
VESTA2_FAILING_CALL(ssize_t, read, (int fd, void* bytes, size_t size), fd, bytes, size)
VESTA2_FAILING_CALL(int, fsync, (int fd), fd)
VESTA2_FAILING_CALL(int, fchmod, (int fd, mode_t mode), fd, mode)
VESTA2_FAILING_CALL(int, renameat2,
                    (int from, const char* name, int to, const char* target, unsigned flags), from,
                    name, to, target, flags)
// It closes even when it fails.
extern "C" int __real_close(int fd);
extern "C" int __wrap_close(int fd) {
    const int result = __real_close(fd);
    return support::fails("close") ? support::failure() : result;
}
// NOLINTEND

namespace {

using namespace basekit2;
using support::fault;
using support::Fault;

/// `entries` entries, each of which tells that number.
variant_bag_t numbered(int entries) {
    variant_bag_t bag;
    for (int i = 0; i < entries; ++i) {
        bag.put("entry" + std::to_string(i), entries);
    }
    return bag;
}

variant_bag_t load(const std::string& path) {
    variant_bag_t bag;
    EXPECT_EQ(load_variant_bag(bag, path, "bag"), bag_ok) << path;
    return bag;
}

class BagFile : public testing::Test {
protected:
    void TearDown() override { fault = {}; }

    /// Runs `operation` under `given`, which has to come to pass.
    template <class Operation>
    int under(const Fault& given, Operation operation) {
        fault = given;
        const int result = operation();
        EXPECT_EQ(std::exchange(fault, {}).times, 0) << given.call << " was not called";
        return result;
    }

    void save(int entries) { ASSERT_EQ(save_variant_bag(numbered(entries), m_file), bag_ok); }

    /// There is nothing but the file, and that in it.
    void expectOnlyFile(int entries) {
        EXPECT_THAT(namesIn(m_directory.path()), ElementsAre("a.bag"));
        EXPECT_EQ(load(m_file), numbered(entries));
    }

    support::TempDirectory m_directory;
    std::string m_file = m_directory / "a.bag";
};

TEST_F(BagFile, LoadRefusesWhatIsNoReadableBagAndNeverBlocks) {
    ASSERT_EQ(::mkfifo((m_directory / "fifo").c_str(), 0600), 0);
    fs::create_symlink("nowhere", m_directory / "dangling");
    writeFile(m_directory / "text", "some text");
    writeFile(m_directory / "huge", "<bag v=\"1\">");
    fs::resize_file(m_directory / "huge", (std::uintmax_t{16} << 20) + 1);
    ASSERT_EQ(save_variant_bag2(numbered(3), m_directory / "link", "link"), bag_ok);
    ::alarm(20);  // ends the test if one is waited for
    for (const auto& [name, result] : {std::pair{"missing", bag_absent},
                                       {"text/below", bag_absent},
                                       {"dangling", bag_absent},
                                       {".", bag_unreadable},
                                       {"fifo", bag_unreadable},
                                       {"/dev/null", bag_unreadable},
                                       {"huge", bag_too_large},
                                       {"text", bag_malformed},
                                       {"link", bag_malformed}}) {
        variant_bag_t bag = numbered(2);
        const std::string path = fs::absolute(name, m_directory.path()).native();
        EXPECT_EQ(load_variant_bag(bag, path, "bag"), result) << name;
        EXPECT_TRUE(bag.empty()) << name;
    }
    ::alarm(0);
    std::string text;
    const auto readLink = [&] { return read_bag_text(m_directory / "link", text); };
    EXPECT_EQ(under({"read", EIO}, readLink), bag_unreadable);
    // A file may hold more than its size tells.
    EXPECT_EQ(read_bag_text("/proc/self/status", text), bag_ok);
    EXPECT_NE(text.find("VmSize"), std::string::npos);
}

TEST_F(BagFile, IsWrittenThroughASymbolicLinkAndKeepsItsMode) {
    fs::create_directory(m_directory / "sub");
    fs::create_symlink("sub/new.bag", m_directory / "dangling");
    fs::create_symlink("../a.bag", m_directory / "sub/good");
    fs::create_symlink("sub/good", m_directory / "chain");
    const mode_t mask = ::umask(027);
    ASSERT_EQ(save_variant_bag(numbered(1), m_file), bag_ok);
    ::umask(mask);
    EXPECT_EQ(fs::status(m_file).permissions(), 0640);
    for (const int mode : {0604, 0777, 0400}) {
        fs::permissions(m_file, fs::perms(mode));
        for (const char* link : {"dangling", "sub/good", "chain"}) {
            ASSERT_EQ(save_variant_bag(numbered(mode), m_directory / link), bag_ok);
            EXPECT_TRUE(fs::is_symlink(m_directory / link)) << link;
            EXPECT_EQ(load(m_directory / link), numbered(mode)) << link;
        }
        EXPECT_EQ(load(m_file), numbered(mode));
        EXPECT_EQ(fs::status(m_file).permissions(), mode);
    }
    EXPECT_THAT(namesIn(m_directory / "sub"), ElementsAre("good", "new.bag"));
}

TEST_F(BagFile, IsFlushedAndLeftAloneWhenNothingChanges) {
    save(1);
    const auto first = stampOf(m_file);
    save(1);
    EXPECT_EQ(stampOf(m_file), first);
    // Where that cannot be flushed, it is written anew.
    for (const int which : {0, 1}) {
        const auto before = stampOf(m_file);
        under({"fsync", EIO, which}, [this] { return save(1), 0; });
        EXPECT_NE(stampOf(m_file), before) << which;
    }
    variant_bag_t other;
    other.put("entry0", 2);
    ASSERT_EQ(save_variant_bag(other, m_file), bag_ok);
    EXPECT_EQ(load(m_file), other);
}

TEST_F(BagFile, IsCreatedOnceAndReplacesNothingElse) {
    EXPECT_EQ(create_variant_bag(numbered(1), m_file), bag_ok);
    EXPECT_EQ(create_variant_bag(numbered(2), m_file), bag_exists);
    ASSERT_EQ(::mkfifo((m_directory / "fifo").c_str(), 0600), 0);
    fs::create_directory(m_directory / "sub");
    fs::create_symlink("loop", m_directory / "loop");
    const std::string longest(255, 'n');
    for (const std::string& name :
         words("fifo sub loop sub/ missing/a.bag fifo/b a.bag/b " + longest + 'n')) {
        const int result = namesIn(m_directory.path()).contains(name) ? bag_exists : bag_unwritable;
        EXPECT_EQ(create_variant_bag(numbered(9), m_directory / name), result) << name;
        EXPECT_EQ(save_variant_bag(numbered(9), m_directory / name), bag_unwritable) << name;
    }
    EXPECT_EQ(load(m_file), numbered(1));
    EXPECT_EQ(save_variant_bag(numbered(1), m_directory / longest), bag_ok);
    EXPECT_THAT(namesIn(m_directory.path()),
                UnorderedElementsAre("a.bag", "fifo", "sub", "loop", longest));
    EXPECT_TRUE(fs::is_empty(m_directory / "sub"));
}

// Those that fail otherwise are tortured.
TEST_F(BagFile, StandsOnFileSystemsThatCannotDoAll) {
    for (const auto& [given, result, entries] :
         {std::tuple{Fault{"close", EIO}, bag_unwritable, 1},
          {Fault{"fchmod", EIO}, bag_unwritable, 1},
          {Fault{"fsync", EINTR}, bag_ok, 2},
          // The new file stands, but the power may take it, or there is no such flush.
          {Fault{"fsync", EIO, 1}, bag_unwritable, 2},
          {Fault{"fsync", EINVAL, 1}, bag_ok, 2}}) {
        save(1);
        fs::permissions(m_file, fs::perms(0640));
        EXPECT_EQ(under(given, [this] { return save_variant_bag(numbered(2), m_file); }), result);
        expectOnlyFile(entries);
    }
    const auto create = [this] { return create_variant_bag(numbered(3), m_file); };
    for (const int error : {EINVAL, ENOSYS}) {
        EXPECT_EQ(under({"renameat2", error}, create), bag_exists);
        expectOnlyFile(2);
        fs::remove(m_file);
        EXPECT_EQ(under({"renameat2", error}, create), bag_ok);
        expectOnlyFile(3);
        save(2);
    }
    fs::remove(m_file);
    EXPECT_EQ(under({"renameat2", EIO}, create), bag_unwritable);
    EXPECT_TRUE(fs::is_empty(m_directory.path()));
}

TEST_F(BagFile, FillReplacesAnEmptyBagAndNothingElse) {
    const auto fill = [this] { return fill_variant_bag(numbered(9), m_file); };
    EXPECT_EQ(fill(), bag_absent);
    // What others save, before it begins, before its swap and before its swap back.
    for (const auto& [saved, result, kept] :
         Rows<std::vector<int>, int, int>{{{0}, bag_ok, 9},
                                          {{1}, bag_exists, 1},
                                          {{0, 1}, bag_exists, 1},
                                          {{0, 1, 2}, bag_exists, 2}}) {
        save(saved[0]);
        auto next = saved.begin() + 1;
        EXPECT_EQ(
            under({"renameat2", 0, 0, static_cast<int>(saved.size()) - 1, [&] { save(*next++); }},
                  fill),
            result)
            << kept;
        expectOnlyFile(kept);
    }
    save(0);
    EXPECT_TRUE(bag_failed(under({"renameat2", EINVAL}, fill)));
    expectOnlyFile(0);
}

}  // namespace

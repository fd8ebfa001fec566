/// What was acknowledged is there after a power cut: at once, after another process has flushed the
/// file system in the middle, and when it comes in the middle itself. The file system is shut down
/// without its journal, and mounted again.

#include <fcntl.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <unistd.h>

#include <thread>

#include "nodes.h"

namespace torture {
namespace {

// The same for the two file systems: nothing that was not flushed gets to the disk.
constexpr unsigned long shutDownRequest = _IOR('X', 125, std::uint32_t);
constexpr std::uint32_t withoutLogFlush = 2;

/// Something that is acknowledged, and how it shows, both for a result "mounted/rN".
struct Deed {
    const char* name;
    void (*act)(const std::string& path);
    bool (*isDone)(const std::string& path);
};

const Deed deeds[] = {
    {"save",
     [](auto& path) {
         const Result result = open(path);
         result->setCollectionTimeBegin(1);
         result->save();
     },
     [](auto& path) { return open(path)->getCollectionTimeBegin() == 1; }},
    {"link", [](auto& path) { INodeGroup::open("mounted/p")->addNode(path.c_str()); },
     [](auto& path) { return open(path)->isLinked(); }},
    {"finalize", [](auto& path) { open(path)->setFinalized(true); },
     [](auto& path) { return open(path)->isFinalized(); }},
    {"move", [](auto& path) { open(path)->move((path + "-moved").c_str(), true, nullptr); },
     [](auto& path) { return !fs::exists(path); }},
    {"invalidate", [](auto& path) { open(path)->setInvalid(); },
     [](auto& path) { return !fs::exists(path) && !open(path + "-bad")->isValid(); }},
    {"collect",
     [](auto& path) {
         const std::string name = fs::path(path).filename();
         const std::vector<std::string> words{"collect", "-q",      "--capture",         "--name",
                                              name,      "--into",  "mounted/collected", "--",
                                              "echo",    "captured"};
         const std::string broken = "VESTA2_BROKEN=" + brokenCalls;
         const auto result =
             support::Command(words, {".", {broken}, 0, VESTA2_BROKEN_COMMAND}).finish();
         setStatus(result.code == 0 ? eOK : eUnknown);
     },
     [](auto& path) {
         const std::string made = "mounted/collected/" + fs::path(path).filename().native();
         return open(made)->isFinalized() &&
                support::readFile(made + "/application.log") == "captured\n";
     }},
};

class Disk {
public:
    Disk(Run& run, const std::string& type) : m_run(run), m_type(type) {
        support::writeFile("image", "");
        fs::resize_file("image", std::uintmax_t{320} << 20U);
        fs::create_directory("mounted");
        const std::string make = "mkfs." + type + " -q image >log 2>&1";
        // The mount is this process's own and ends with it.
        if (::unshare(CLONE_NEWNS) != 0 ||
            ::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
            std::system(make.c_str()) != 0 || !mount()) {
            throw Unavailable("no " + type + " of its own is to be had here");
        }
        IProject::create("mounted/p", nullptr, false);
    }
    ~Disk() { ::umount2("mounted", MNT_DETACH); }
    Disk(const Disk&) = delete;

    void cut(const Deed& deed, int number) {
        const std::string path = "mounted/r" + std::to_string(number);
        const std::string content(5000, static_cast<char>('a' + number % 26));
        {
            const Result result = Results::create(path.c_str(), false, nullptr, true, nullptr);
            support::writeFile(path + "/data.0/samples", content);
        }
        ::sync();
        const moment_t moment = moment_t(m_run.below(3));
        const unsigned call = m_run.below(120);
        *m_isAcknowledged = false;
        support::runInChild([&] { return actAndCut(deed, path, moment, call), 0; });
        if (::umount("mounted") != 0 || !mount()) {
            throw std::runtime_error("cannot mount it again");
        }
        ++m_run.report["cuts"];
        m_run.report["acknowledged"] += *m_isAcknowledged ? 1 : 0;
        const std::string what = fmt::format("{}, {}, moment {}, call {}", m_type, deed.name,
                                             static_cast<int>(moment), call);
        try {
            expect(deed, path, content, what);
        } catch (const std::exception& error) {
            m_run.report.blame("{}: {}", what, error.what());
        }
    }

private:
    enum class moment_t { end, endAfterFlush, middle };

    static bool mount() { return std::system("mount -o loop image mounted >log 2>&1") == 0; }

    void actAndCut(const Deed& deed, const std::string& path, moment_t moment, unsigned call) {
        const basekit2::descriptor_t top(::open("mounted", O_RDONLY | O_CLOEXEC));
        std::atomic<bool> isCut{false};
        const auto shutDown = [&] {
            isCut = true;
            ::ioctl(top.get(), shutDownRequest, &withoutLogFlush);
        };
        unsigned calls = 0;
        beforeCall = [&](const char* /*name*/) {
            if (calls++ == call && moment == moment_t::middle) {
                shutDown();
            } else if (calls == call && moment == moment_t::endAfterFlush) {
                ::sync();  // as another process does it, for itself
            }
            return 0;
        };
        if (moment == moment_t::middle && deed.name == std::string("collect")) {
            // What it does is done by a process of its own.
            std::jthread([&] {
                ::usleep(call * 100);
                shutDown();
            }).detach();
        }
        try {
            deed.act(path);
            // Without power nothing can be acknowledged any more.
            *m_isAcknowledged = Results::getLastError() == eOK && !isCut;
        } catch (const std::exception&) {
            // The disk is gone.
        }
        shutDown();
        ::_exit(0);
    }

    void expect(const Deed& deed, const std::string& path, const std::string& content,
                const std::string& what) {
        if (*m_isAcknowledged && !deed.isDone(path)) {
            m_run.report.blame("lost: {}", what);
        }
        bool isWhole = false;
        for (const char* suffix : {"", "-moved", "-bad"}) {
            const std::string marker =
                path + suffix + "/" + fs::path(path + suffix).filename().native() + ".zentor";
            basekit2::variant_bag_t bag;
            const int read = basekit2::load_variant_bag(bag, marker, "");
            if (basekit2::bag_failed(read) && read != basekit2::bag_absent) {
                m_run.report.blame("torn: {}", what);
            }
            isWhole = isWhole || (read == basekit2::bag_ok &&
                                  support::readFile(path + suffix + "/data.0/samples") == content);
        }
        if (!isWhole) {
            m_run.report.blame("nowhere whole: {}", what);
        }
    }

    Run& m_run;
    const std::string m_type;
    const Workplace m_directory;
    Shared<std::atomic<bool>> m_isAcknowledged;
};

}  // namespace

void cutPower(Run& run) {
    const int cutsEach = run.options.isWhole ? 200 : 5;
    for (const char* type : {"ext4", "xfs"}) {
        inProcesses(1, [&](std::size_t /*number*/) {
            Disk disk(run, type);
            for (int i = 0; i < cutsEach * static_cast<int>(std::size(deeds)) && !run.isOver();
                 ++i) {
                disk.cut(deeds[static_cast<std::size_t>(i) % std::size(deeds)], i);
            }
        });
    }
}

}  // namespace torture

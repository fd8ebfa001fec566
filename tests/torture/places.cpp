/// Something else stands where a small file is expected, or the command is short of something: it
/// ends by itself and soon, with a documented code. What is not its own stays as it is, and nothing
/// is lost.

#include <sys/inotify.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <algorithm>
#include <limits>
#include <ranges>

#include "cases.h"
#include "nodes.h"
#include "util/flag_record.h"

namespace torture {
namespace {

using support::pathsBelow;
using support::readFile;
using support::writeFile;

constexpr std::size_t workers = 2;
constexpr int sample = 120;

enum class Links { refused, read, written };  ///< what is done with one to another file

/// Where a file is expected; "{0}" stands for the node of the command, "{1}" for its name, "{2}"
/// for the name of a temporary file of a process that has ended.
struct Place {
    const char* path;
    Links links = Links::refused;
};
const std::vector<Place> places{{"{0}/{1}.zentor", Links::written},
                                {"p/p.zentorproj", Links::written},
                                {"p/e/e.zentorexp", Links::written},
                                {"p/x0.zentorlink"},
                                {"{0}/changing.dflgzentor"},
                                {"{0}/changing.infozentor"},
                                {"{0}/busy.dflgzentor"},
                                {"{0}/busy.infozentor"},
                                {"{0}/collecting.infozentor"},
                                {"{0}/.norun"},
                                {"{0}/.bad"},
                                {"{0}/{2}"},
                                {"../data/product.xml", Links::read},
                                {"../data/vesta2.catalog.xml", Links::read}};

void makeNode(const std::string& path, mode_t kind, dev_t device = 0) {
    if (::mknod(path.c_str(), kind | 0666, device) != 0) {
        throw Unavailable("no such node can be made here: " + path);
    }
}

template <class Value>
std::string forged(const char* key, Value value) {
    basekit2::variant_bag_t record;
    vesta2::util::fillRecord(record);
    record.put(key, value);
    std::string text;
    basekit2::save_variant_bag_to_string(record, text);
    return text + '\0';
}

/// What stands there: made at a path, with a file or its path outside.
using Make = std::function<void(const std::string& path, const std::string& outside)>;

Make text(std::string content, mode_t mode = 0644) {
    return [content = std::move(content), mode](auto& path, auto&) {
        writeFile(path, content);
        fs::permissions(path, static_cast<fs::perms>(mode));
    };
}

const std::vector<std::pair<const char*, Make>>& things() {
    constexpr std::uintmax_t tebibyte = std::uintmax_t{1} << 40U;
    static const std::vector<std::pair<const char*, Make>> all{
        {"nothing else", nullptr},
        {"a symbolic link", [](auto& path, auto& outside) { fs::create_symlink(outside, path); }},
        {"a dangling symbolic link",
         [](auto& path, auto& outside) { fs::create_symlink(outside + ".none", path); }},
        {"a circle", [](auto& path, auto&) { fs::create_symlink(path, path); }},
        {"a hard link", [](auto& path, auto& outside) { fs::create_hard_link(outside, path); }},
        {"a pipe", [](auto& path, auto&) { makeNode(path, S_IFIFO); }},
        {"a socket", [](auto& path, auto&) { makeNode(path, S_IFSOCK); }},
        {"zeros", [](auto& path, auto&) { makeNode(path, S_IFCHR, makedev(1, 5)); }},
        {"a terminal", [](auto& path, auto&) { makeNode(path, S_IFCHR, makedev(5, 0)); }},
        {"a directory", [](auto& path, auto&) { fs::create_directory(path); }},
        {"a full directory", [](auto& path, auto&) { writeFile(path + "/inner", path); }},
        {"a large file",
         [](auto& path, auto&) { writeFile(path, ""), fs::resize_file(path, tebibyte); }},
        {"an empty file", text("")},
        {"a forbidden file", text("", 0)},
        {"bytes", text(std::string("\0\xFF<bag\x1B", 7))},
        {"a living owner", text(forged("pid", static_cast<std::uint32_t>(::getpid())))},
        {"process 0", text(forged("pid", std::uint32_t{0}))},
        {"process 1", text(forged("pid", std::uint32_t{1}))},
        {"process -1", text(forged("pid", std::uint32_t{0xFFFFFFFF}))},
        {"process -2", text(forged("pid", std::int64_t{-2}))},
        {"a huge process", text(forged("pid", std::numeric_limits<std::uint64_t>::max()))},
        {"a named process", text(forged("pid", "1e999"))},
        {"another host", text(forged("host", std::string(60000, 'h').c_str()))},
        {"a huge time", text(forged("timestamp", std::numeric_limits<std::int64_t>::max()))},
    };
    return all;
}

/// What the command is short of: how a shell starts it, before a number in these bounds if any.
struct Shortage {
    const char* name;
    std::string prefix;
    unsigned least = 0;
    unsigned most = 0;
};

const std::string timed = "exec timeout -s KILL 20 ";
const std::string otherUser = timed + "setpriv --reuid 65534 --regid 65534 --clear-groups ";
const std::vector<Shortage> shortages{
    {"nothing", timed + "prlimit --as=", 512U << 20U, 512U << 20U},
    {"access", otherUser},
    {"processes", "chown -R 65534:65534 .; " + otherUser + "prlimit --nproc=", 1, 1},
    {"a mask", "umask 0; " + timed},
    {"mode bits", "umask 077; " + timed},
    {"descriptors", timed + "prlimit --nofile=", 4, 40},
    {"memory", timed + "prlimit --as=", 12U << 20U, 64U << 20U},
    {"space in files", timed + "prlimit --fsize=", 0, 9000},
};

/// One process of several, each with its own trees: "tree", "data", and "outside" with one file.
class Worker {
public:
    explicit Worker(Run& run) : m_run(run) {
        fs::permissions(m_directory.path().native(), static_cast<fs::perms>(0755));
        fs::create_directories(m_root);
        fs::create_directory(m_work + "/outside");
        makeSample(m_root);
        for (const std::string& path : pathsBelow(m_root)) {
            if (fs::exists(m_root + "/" + path + "/data.0")) {
                fs::permissions(m_root + "/" + path, static_cast<fs::perms>(0711));
            } else if (isPayload(path)) {
                fs::permissions(m_root + "/" + path, static_cast<fs::perms>(0600));
            }
        }
        fs::copy(VESTA2_DATA, m_work + "/data");
        fs::rename(m_work, m_directory / "template");
        support::runInChild([&] {
            basekit2::make_bag_temporary().copy(m_temporary->data(), m_temporary->size() - 1);
            return 0;
        });
    }

    void run(std::size_t number) {
        auto jobs = plan();
        std::shuffle(jobs.begin(), jobs.end(), std::mt19937(m_run.options.seed));
        // First links in the place of links and flags that commands use: most can be broken there.
        const auto rest = std::ranges::stable_partition(
            jobs, [](auto& job) { return job[1] > 2 && job[1] < 6 && job[2] > 0 && job[2] < 3; });
        if (!m_run.options.isWhole) {
            jobs.erase(jobs.begin() + sample, rest.end() - sample);
        }
        for (std::size_t i = number; i < jobs.size() && !m_run.isOver(); i += workers) {
            const auto [command, place, thing, shortage] = jobs[i];
            attempt(m_cases[command], places[place], things()[thing], shortages[shortage]);
        }
    }

private:
    static bool isPayload(const std::string& path) { return path.ends_with("/payload"); }

    std::vector<std::array<std::size_t, 4>> plan() {
        for (const char* check : {"check p", "check p --repair", "check far --repair"}) {
            m_cases.push_back({check});
        }
        std::vector<std::array<std::size_t, 4>> jobs;
        for (std::size_t command = 0; command < m_cases.size(); ++command) {
            for (std::size_t place = 0; place < places.size(); ++place) {
                const bool isRecord = std::string_view(places[place].path).ends_with(".infozentor");
                for (std::size_t thing = 1; thing < (isRecord ? things().size() : 15); ++thing) {
                    jobs.push_back({command, place, thing, 0});
                }
            }
            for (std::size_t i = 0; i < 5 * (shortages.size() - 1); ++i) {
                jobs.push_back({command, 0, 0, 1 + i / 5});
            }
        }
        return jobs;
    }

    void prepare(const Case& each, const Place& place, const Make& make) {
        copyTree(m_directory / "template", m_work);
        if (make) {
            const fs::path node = nodeOf(each.command);
            const std::string path = m_root + "/" +
                                     fmt::format(fmt::runtime(place.path), node.native(),
                                                 node.filename().native(), m_temporary->data());
            writeFile(m_outside,
                      fs::exists(path) ? readFile(path) : forged("pid", std::uint32_t{1}));
            fs::remove(path);
            make(path, m_outside);
        }
    }

    static std::string nodeOf(const std::string& command) {
        for (const char* node : {"p/r001", "p/open", "far/x0", "far/y0"}) {
            if (command.find(node) != std::string::npos) {
                return node;
            }
        }
        return command.find("x0") == std::string::npos ? "p/r000" : "far/x0";
    }

    support::CommandResult start(const std::string& command, const std::string& prefix) {
        const bool isOrdinary = m_broken.empty() && !command.starts_with("check");
        const char* const program = isOrdinary ? VESTA2_COMMAND : VESTA2_BROKEN_COMMAND;
        const std::vector<std::string> environment{"VESTA2_DATA_DIR=" + m_work + "/data",
                                                   "VESTA2_BROKEN=ahead " + m_broken};
        return support::Command({"-c", fmt::format("{} '{}' {}", prefix, program, command)},
                                {m_root, environment, 0, "sh"})
            .finish();
    }

    [[nodiscard]] auto lookOutside() const {
        struct stat info {};
        ::stat(m_outside.c_str(), &info);
        return std::tuple(support::namesIn(m_work + "/outside"), readFile(m_outside), info.st_mode,
                          info.st_uid, info.st_mtim.tv_sec, info.st_mtim.tv_nsec);
    }

    void attempt(const Case& each, const Place& place, const std::pair<const char*, Make>& thing,
                 const Shortage& shortage) {
        const auto [found, isFirst] = m_meant.try_emplace(each.command);
        const Survey& meant = found->second;
        if (isFirst) {
            prepare(each, place, nullptr);
            start(each.command, "");
            found->second = survey(m_root);
        }
        prepare(each, place, thing.second);
        const Survey before = survey(m_root);
        const std::set<std::string> paths = pathsBelow(m_root);
        const auto outside = lookOutside();
        const basekit2::descriptor_t watch(::inotify_init1(IN_NONBLOCK | IN_CLOEXEC));
        ::inotify_add_watch(watch.get(), (m_work + "/outside").c_str(), IN_ALL_EVENTS);
        const unsigned limit = shortage.least + m_run.below(shortage.most - shortage.least + 1);
        const std::string prefix =
            shortage.prefix + (shortage.most > 0 ? std::to_string(limit) : "");
        const auto begin = Clock::now();
        const support::CommandResult result = start(each.command, prefix);
        m_wrong.clear();
        const bool runs = each.command.starts_with("collect") || each.command.starts_with("flag");
        const bool isDocumented = result.code <= 7 || (runs && result.code / 2 == 63);
        // `set` waits ten seconds for a flag.
        if (result.code < 0 || !isDocumented || Clock::now() - begin > std::chrono::seconds(15)) {
            m_wrong.emplace_back("does not end as it should");
        }
        std::array<char, 4096> events{};
        // A hard link is a name of the tree.
        const bool isLink = std::string_view(thing.first).ends_with("symbolic link");
        if (place.links == Links::refused && isLink &&
            ::read(watch.get(), events.data(), events.size()) > 0) {
            m_wrong.emplace_back("looks outside");
        }
        if ((place.links != Links::written || !isLink) && lookOutside() != outside) {
            m_wrong.emplace_back("changes what is outside");
        }
        expectNothingLost(before, meant, survey(m_root));
        // Others give what they make the mode of what it is made from.
        const bool isNew = each.command.starts_with("cr") || each.command.starts_with("collect");
        expectModes(paths, isNew && std::string_view(shortage.name) == "mode bits");
        for (const std::string& what : m_wrong) {
            m_run.report.blame("{}: {} ({}, {}; {}; code {}: {:.300})", each.command, what,
                               place.path, thing.first, prefix, result.code, result.err);
        }
        ++m_run.report[shortage.name];
    }

    /// What was there is somewhere, as it was or as the command was to make it.
    void expectNothingLost(const Survey& before, const Survey& meant, const Survey& after) {
        const auto has = [](const Survey& where, const std::string& content) {
            return std::ranges::count(std::views::values(where.all), content) != 0;
        };
        for (const auto& [path, content] : before.all) {
            if (isPayload(path) && has(meant, content) && !has(after, content)) {
                m_wrong.push_back("lost: " + path);
            }
        }
        for (const auto& [path, node] : before.nodes) {
            std::set<std::string> good;
            for (const FoundNode& other : std::views::values(meant.nodes)) {
                if (other.identity == node.identity) {
                    good.insert(other.section);
                }
            }
            const bool isKept = !node.identity.empty() && !good.empty();
            good.insert(node.section);
            const auto isGood = [&](auto& now) {
                return now.identity == node.identity && good.count(now.section) != 0;
            };
            if (isKept && std::ranges::none_of(std::views::values(after.nodes), isGood)) {
                m_wrong.push_back("harmed: " + path);
            }
        }
        for (const std::string& finding : after.findings) {
            if (finding.starts_with("no answer")) {
                m_wrong.push_back("check fails: " + finding);
            }
        }
    }

    /// A copy lets nobody at what he had no access to, and what is new keeps to the mask.
    void expectModes(const std::set<std::string>& before, bool isMasked) {
        for (const std::string& path : pathsBelow(m_root)) {
            const auto status = fs::symlink_status(m_root + "/" + path);
            const auto others = static_cast<unsigned>(status.permissions()) & 077U;
            const bool isKept = isPayload(path) || (isMasked && before.count(path) == 0);
            if (isKept && others != 0) {
                m_wrong.push_back("more permissions: " + path);
            }
        }
    }

    Run& m_run;
    const support::TempDirectory m_directory;
    const std::string m_work = m_directory / "work";
    const std::string m_root = m_work + "/tree";
    const std::string m_outside = m_work + "/outside/file";
    std::vector<Case> m_cases = cases();
    std::map<std::string, Survey> m_meant;
    const Shared<std::array<char, 256>> m_temporary;
    std::vector<std::string> m_wrong;
    const std::string m_broken = std::exchange(brokenCalls, "");  ///< of the command alone
};

}  // namespace

void replaceFiles(Run& run) {
    if (::geteuid() != 0) {
        throw Unavailable("other users and devices need root");
    }
    things();  // with a process that lives
    inProcesses(workers, [&](std::size_t number) { Worker(run).run(number); });
}

}  // namespace torture

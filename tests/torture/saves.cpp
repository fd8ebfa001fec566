/// A marker is one whole saved version, and a save that has returned is there, whenever its process
/// is killed.

#include <unistd.h>

#include "nodes.h"

namespace torture {
namespace {

/// Of any length, so that a version can be told from parts of two.
std::string textOf(long version) {
    return std::string(static_cast<std::size_t>(version * 7919 % 9000),
                       static_cast<char>('a' + version % 26));
}

}  // namespace

void killSavers(Run& run) {
    const support::TempDirectory directory;
    const std::string place = directory / "r";
    const Shared<std::atomic<long>> saved;
    const auto saveOn = [&] {
        const auto result = Results::get(place.c_str(), nullptr, true);
        for (long version = *saved + 1;; ++version) {
            result->setCollectorCommand(textOf(version).c_str());
            result->setCollectionTimeBegin(version);
            result->save();
            *saved = version;
        }
        return 0;
    };
    const long kills = run.options.isWhole ? 10'000 : 500;
    for (long i = 0; i < kills && !run.isOver(); ++i) {
        const long before = *saved;
        support::ChildProcess child(saveOn);
        while (*saved == before) {
            ::usleep(20);
        }
        ::usleep(run.below(500));
        child.kill();
        ++run.report["kills"];
        basekit2::variant_bag_t bag;
        if (basekit2::bag_failed(basekit2::load_variant_bag(bag, place + "/r.zentor", ""))) {
            run.report.blame("the marker file cannot be read");
            fs::remove_all(place);
            continue;
        }
        const basekit2::variant_bag_t& section = bag.put_bag("vesta");
        const long found = section.get_variant("collectionTimeBegin").to_int64();
        if (found < *saved || found > *saved + 1) {
            run.report.blame("version {} was saved, this is {}", saved->load(), found);
        }
        if (*section.get_variant("collectionCommand", "").as_string() != textOf(found)) {
            run.report.blame("not one version");
        }
        saved->store(found);
    }
    run.report["saves"] = saved->load();
}

}  // namespace torture

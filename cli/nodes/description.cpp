#include "nodes/description.h"

#include <boost/filesystem/path.hpp>

#include "base/presence.h"
#include "nodes/flags.h"
#include "vesta2/i_experiment.h"
#include "vesta2/i_project.h"
#include "vesta2/names.h"
#include "vesta2/node.h"
#include "vesta2/property_names.h"

namespace cli {

namespace fs = boost::filesystem;

namespace {

std::string textOf(const char* text) { return text ? text : ""; }

std::string stateOf(vesta2::IResultDirectory& result, bool areMarksKnown) {
    const std::string directory = result.getPath();
    // The library reports a mark as absent when looking for it failed; `isThere` raises.
    const auto has = [&](const char* mark) {
        return !areMarksKnown && isThere(directory + "/" + mark);
    };
    if (!result.isValid() || has(vesta2::mark::invalid)) {
        return "invalid";
    }
    if (result.isFinalized() || has(vesta2::mark::finalized)) {
        return "finalized";
    }
    const vesta2::util::FlagLook look = vesta2::util::lookAtFlag(directory, flags::collecting);
    switch (look.state()) {
    case vesta2::util::flag_state_t::held: {
        // A flag whose files cannot be read also counts as held.
        const std::string file = directory + "/" + look.name() + vesta2::getFlagLockExtension();
        return !look.record().empty() || isThere(file) ? "collecting" : "incomplete";
    }
    case vesta2::util::flag_state_t::stale:
        return "orphaned";
    case vesta2::util::flag_state_t::free:
        break;
    }
    return "incomplete";
}

void describeResult(vesta2::IResultDirectory& result, Description& out) {
    if (const long begin = result.getCollectionTimeBegin()) {
        out.time = begin;
    }
    out.rank = result.getMpiRank();
    out.command = textOf(result.getCollectorCommand());
}

std::string hostOf(vesta2::INode& node) {
    const basekit2::variant_bag_t* section = vestaSection(node);
    const basekit2::variant_t* host = section ? section->find(vesta2::property::hostname) : nullptr;
    return host && host->as_string() ? *host->as_string() : std::string();
}

void requireMarker(const basekit2::sptr_t<vesta2::INode>& node) {
    switch (vesta2::Node::markerState(node)) {
    case vesta2::marker_state_t::malformed:
        throw Failure(exitFailure, node->getMarkerFilePath(), "the marker file is damaged",
                      "restore it from a copy");
    case vesta2::marker_state_t::unreadable:
        throw Failure(exitFailure, node->getMarkerFilePath(), "the marker file is unreadable",
                      "check the disk and whether you may read it, and try again");
    case vesta2::marker_state_t::absent:
    case vesta2::marker_state_t::read:
        break;
    }
}

/// `isSeen`: the marker file was there just now.
std::string stateOf(const basekit2::sptr_t<vesta2::INode>& node, bool isSeen) {
    if (!isSeen && !isThere(node->getMarkerFilePath())) {
        return "missing";
    }
    requireMarker(node);
    const auto result = vesta2::IResultDirectory::cast(node);
    return result ? stateOf(*result, vesta2::Node::areMarksKnown(node)) : std::string();
}

}  // namespace

std::string kindOf(const basekit2::sptr_t<vesta2::INode>& node) {
    if (vesta2::IProject::cast(node)) {
        return "project";
    }
    return vesta2::IExperiment::cast(node) ? "experiment" : "result";
}

bool isMissing(const basekit2::sptr_t<vesta2::INode>& node) {
    return node->getUserVisibleName() == nullptr && !isThere(node->getMarkerFilePath());
}

const basekit2::variant_bag_t* vestaSection(vesta2::INode& node) {
    const auto storage = node.getPropertyStorage();
    const basekit2::variant_bag_t* bag = storage->getBag();
    return bag ? bag->get_bag(vesta2::section::vesta) : nullptr;
}

void requireReadable(const Description& description) {
    if (description.damage) {
        throw Failure(*description.damage);
    }
}

void requireReadable(const basekit2::sptr_t<vesta2::INode>& node) {
    requireReadable(describe(node));
}

Description describe(const basekit2::sptr_t<vesta2::INode>& node) {
    Description out;
    out.kind = kindOf(node);
    out.path = textOf(node->getPath());
    out.time = node->getCreationTime();
    out.host = hostOf(*node);
    if (!vesta2::Node::isParentKnown(node)) {
        out.link = "unknown";
    } else if (node->isLinked()) {
        out.link = node->isLinkStale() ? "stale" : "linked";
    }
    if (const auto result = vesta2::IResultDirectory::cast(node)) {
        describeResult(*result, out);
    }
    const char* const name = node->getUserVisibleName();
    try {
        out.state = stateOf(node, name != nullptr);
    } catch (const Failure& damage) {
        out.state = "unreadable";
        out.damage = damage;
    }
    const bool hasLink = node->isLinked();
    out.name = name ? name
                    : fs::path(hasLink ? node->getLinkFilePath() : node->getMarkerFilePath())
                          .stem()
                          .native();
    return out;
}

const char* stateStyle(const std::string& state) {
    // Red can be read on black and on white, and is for what went wrong alone.
    const bool isSound =
        state.empty() || state == "finalized" || state == "collecting" || state == "incomplete";
    return isSound ? "" : "31";
}

}  // namespace cli

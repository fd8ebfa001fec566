#include "nodes/description.h"

#include <boost/filesystem/path.hpp>

#include "basekit2/bag_io.h"
#include "nodes/flags.h"
#include "output/text.h"
#include "vesta2/i_experiment.h"
#include "vesta2/i_project.h"

namespace cli {
namespace {

std::string textOf(const char* text) { return text ? text : ""; }

std::string kindOf(const basekit2::sptr_t<vesta2::INode>& node) {
    if (vesta2::IProject::cast(node)) {
        return "project";
    }
    return vesta2::IExperiment::cast(node) ? "experiment" : "result";
}

std::string stateOf(vesta2::IResultDirectory& result) {
    if (!result.isValid()) {
        return "invalid";
    }
    if (result.isFinalized()) {
        return "finalized";
    }
    switch (vesta2::util::lookAtFlag(result.getPath(), flags::collecting).state) {
    case vesta2::util::flag_state_t::held:
        return "collecting";
    case vesta2::util::flag_state_t::stale:
        return "orphaned";
    case vesta2::util::flag_state_t::free:
        break;
    }
    return "incomplete";
}

void describeResult(vesta2::IResultDirectory& result, Description& out) {
    out.state = stateOf(result);
    if (const long begin = result.getCollectionTimeBegin()) {
        out.time = begin;
    }
    out.rank = result.getMpiRank();
    out.command = textOf(result.getCollectorCommand());
}

std::string hostOf(vesta2::INode& node) {
    const basekit2::variant_bag_t* section = vestaSection(node);
    const basekit2::variant_t* host = section ? section->find("hostname") : nullptr;
    return host && host->as_string() ? *host->as_string() : std::string();
}

}  // namespace

const basekit2::variant_bag_t* vestaSection(vesta2::INode& node) {
    const auto storage = node.getPropertyStorage();
    const basekit2::variant_bag_t* bag = storage->getBag();
    return bag ? bag->get_bag("vesta") : nullptr;
}

bool isUnreadable(vesta2::INode& node) {
    // A bag that was read is hardly ever empty, so the second look costs next to nothing.
    if (!node.getPropertyStorage()->getBag()->empty()) {
        return false;
    }
    basekit2::variant_bag_t bag;
    return basekit2::bag_failed(basekit2::load_variant_bag(bag, node.getMarkerFilePath(), ""));
}

Description describe(const basekit2::sptr_t<vesta2::INode>& node) {
    Description out;
    out.kind = kindOf(node);
    out.path = textOf(node->getPath());
    out.time = node->getCreationTime();
    out.host = hostOf(*node);
    if (node->isLinked()) {
        out.link = node->isLinkStale() ? "stale" : "linked";
    }
    if (const auto result = vesta2::IResultDirectory::cast(node)) {
        describeResult(*result, out);
    }
    if (const char* name = node->getUserVisibleName()) {
        out.name = name;
        if (isUnreadable(*node)) {
            out.state = "unreadable";
        }
    } else {
        out.name = boost::filesystem::path(node->getLinkFilePath()).stem().native();
        out.state = "missing";
    }
    return out;
}

Json toJson(const Description& description) {
    Json object = {{"path", jsonText(description.path)},
                   {"name", jsonText(description.name)},
                   {"kind", description.kind}};
    object["state"] = description.state.empty() ? Json() : Json(description.state);
    object["when"] = description.time > 0 ? Json(utcTime(description.time)) : Json();
    object["host"] = description.host.empty() ? Json() : jsonText(description.host);
    object["rank"] = description.rank >= 0 ? Json(description.rank) : Json();
    object["link"] = description.link.empty() ? Json() : Json(description.link);
    object["command"] = description.command.empty() ? Json() : jsonText(description.command);
    return object;
}

int reportNode(Session& session, const char* member, const basekit2::sptr_t<vesta2::INode>& node,
               const std::string& text) {
    if (session.json) {
        session.out.writeJson({{member, toJson(describe(node))}});
    } else {
        session.out.writeText(text);
    }
    return exitOk;
}

const char* stateStyle(const std::string& state) {
    if (state == "finalized") {
        return "32";
    }
    if (state == "collecting") {
        return "36";
    }
    return state == "incomplete" ? "33" : state.empty() ? "" : "31";
}

}  // namespace cli

#include "survey.h"

#include <cctype>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <regex>
#include <vector>

#include "basekit2/bag_io.h"
#include "support/command.h"
#include "support/temp_directory.h"

namespace torture {
namespace {

namespace fs = std::filesystem;

/// Without what differs in any two runs: numbers, and why a collector left something out.
std::string withoutChances(std::string text) {
    text = std::regex_replace(text, std::regex("[^\n]*left out: [^\n]*\n"), "");
    std::erase_if(text, [](unsigned char c) { return std::isdigit(c) != 0; });
    return text;
}

void addNode(Survey& out, const fs::path& root, const fs::path& marker) {
    basekit2::variant_bag_t bag;
    if (basekit2::bag_failed(basekit2::load_variant_bag(bag, root / marker, ""))) {
        out.damaged.insert(marker);
        return;
    }
    basekit2::variant_bag_t& section = bag.put_bag("vesta");
    const std::string directory = marker.parent_path();
    FoundNode& node = out.nodes[directory];
    node.identity = *section.get_variant("identity", "").as_string();
    if (section.has("backlink")) {
        out.backLinks[directory] = *section.get_variant("backlink", "").as_string();
    }
    section.remove("backlink");
    section.remove("programDigest");
    basekit2::save_variant_bag_to_string(bag, node.section);
    node.section = withoutChances(node.section);
    node.isFinalized = out.all.count(directory + "/.norun") != 0;
    node.isInvalid = out.all.count(directory + "/.bad") != 0;
    for (const auto& [path, content] : out.all) {
        const std::string name = fs::path(path).lexically_relative(directory);
        if (marker.extension() == ".zentor" && path.rfind(directory + "/", 0) == 0 &&
            path != marker && name != ".norun" && name != ".bad") {
            node.files[name] = content;
        }
    }
}

void listMembers(Survey& out, const std::string& root) {
    const auto result = support::Command({"--json", "list", "-r", "p"}, {root}).finish();
    out.isListed = result.code == 0;
    const auto listing = nlohmann::json::parse(result.out, nullptr, false);
    for (const auto& entry : out.isListed ? listing["nodes"] : nlohmann::json()) {
        const std::string path = entry["path"].get<std::string>().substr(root.size() + 1);
        const auto node = out.nodes.find(path);
        out.members[path] = node != out.nodes.end() ? node->second.identity : "";
    }
}

void addFindings(Survey& out, const std::string& root) {
    for (const char* place : {"p", "far"}) {
        const auto result = support::Command({"--json", "check", place}, {root}).finish();
        const auto report = nlohmann::json::parse(result.out, nullptr, false);
        if (report.is_discarded()) {
            out.findings.insert("no answer: " + result.err);
            continue;
        }
        for (const auto& finding : report["findings"]) {
            if (finding["finding"] != "stale-link") {
                out.findings.insert(finding["finding"].get<std::string>() + ' ' +
                                    finding["path"].get<std::string>().substr(root.size() + 1));
            }
        }
    }
}

}  // namespace

Survey survey(const std::string& root) {
    Survey out;
    std::vector<fs::path> markers;
    for (const auto& entry : fs::recursive_directory_iterator(root)) {
        const fs::path name = entry.path().lexically_relative(root);
        const std::string extension = name.extension();
        if (basekit2::is_bag_temporary(name.filename().native())) {
            out.temporaries.insert(name);
        } else if (extension == ".zentor" || extension == ".zentorexp" ||
                   extension == ".zentorproj") {
            out.all[name];
            markers.push_back(name);
        } else if (extension == ".zentorlink") {
            out.all[name];
        } else if (extension != ".dflgzentor" && extension != ".infozentor") {
            std::error_code unknown;
            const bool isSmall = entry.is_regular_file(unknown) && entry.file_size() <= 1U << 20U;
            out.all[name] = isSmall ? withoutChances(support::readFile(entry.path().native())) : "";
        }
    }
    for (const fs::path& marker : markers) {
        addNode(out, root, marker);
    }
    addFindings(out, root);
    listMembers(out, root);
    return out;
}

}  // namespace torture

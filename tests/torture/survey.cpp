#include "survey.h"

#include <algorithm>
#include <filesystem>

#include "basekit2/bag_io.h"
#include "support/temp_directory.h"
#include "vesta2/discovery.h"
#include "vesta2/file_set.h"
#include "vesta2/names.h"

namespace torture {
namespace {

namespace fs = std::filesystem;

bool hasExtension(const fs::path& path, const vesta2::FileSet& extensions) {
    return vesta2::hasExtension(path.filename().native(), extensions);
}

bool isMarker(const fs::path& path) {
    static const vesta2::FileSet extensions(vesta2::resultMarkerFileExt(),
                                            vesta2::experimentMarkerFileExt(),
                                            vesta2::projectMarkerFileExt());
    return hasExtension(path, extensions);
}

bool isLink(const fs::path& path) {
    static const vesta2::FileSet extensions(vesta2::resultLinkExt(), vesta2::experimentLinkExt(),
                                            vesta2::projectLinkExt());
    return hasExtension(path, extensions);
}

std::map<std::string, std::string> dataFiles(const fs::path& directory) {
    std::map<std::string, std::string> files;
    for (const auto& entry : fs::recursive_directory_iterator(directory)) {
        const fs::path& path = entry.path();
        const bool isOwn = isMarker(path) || isLink(path) || isFlag(path.native()) ||
                           path.filename() == ".norun" || path.filename() == ".bad" ||
                           basekit2::is_bag_temporary(path.filename().native());
        if (entry.is_regular_file() && !isOwn) {
            files[path.lexically_relative(directory)] = support::readFile(path.native());
        }
    }
    return files;
}

void addMarker(Survey& out, const fs::path& root, const fs::path& path) {
    basekit2::variant_bag_t bag;
    const std::string name = path.lexically_relative(root);
    if (basekit2::bag_failed(basekit2::load_variant_bag(bag, path.native(), ""))) {
        out.damaged.insert(name);
        return;
    }
    FoundNode node;
    node.directory = path.parent_path().lexically_relative(root);
    node.marker = name;
    if (const basekit2::variant_bag_t* section = bag.get_bag("vesta")) {
        node.section = *section;
    }
    node.backLink = text(node, "backlink");
    node.section.remove("backlink");
    node.identity = text(node, identityKey);
    node.isFinalized = fs::exists(path.parent_path() / ".norun");
    if (path.extension() == ".zentor") {
        node.files = dataFiles(path.parent_path());
    }
    out.nodes.push_back(std::move(node));
}

}  // namespace

bool isFlag(const std::string& path) {
    static const vesta2::FileSet extensions(vesta2::getFlagLockExtension(),
                                            vesta2::getFlagInfoExtension());
    return vesta2::hasExtension(path, extensions);
}

std::string text(const FoundNode& node, const std::string& key) {
    const basekit2::variant_t value = node.section.get_variant(key);
    return value.as_string()   ? *value.as_string()
           : value.is_number() ? std::to_string(value.to_int64())
                               : std::string();
}

const FoundNode* Survey::at(const std::string& directory) const {
    const auto found = std::find_if(nodes.begin(), nodes.end(), [&](const FoundNode& node) {
        return node.directory == directory;
    });
    return found != nodes.end() ? &*found : nullptr;
}

std::vector<const FoundNode*> Survey::withIdentity(const std::string& identity) const {
    std::vector<const FoundNode*> found;
    for (const FoundNode& node : nodes) {
        if (node.identity == identity) {
            found.push_back(&node);
        }
    }
    return found;
}

bool Survey::isLinked(const std::string& root, const std::string& group,
                      const std::string& directory) const {
    const FoundNode* node = at(directory);
    return node && std::any_of(links.begin(), links.end(), [&](const auto& link) {
               basekit2::variant_bag_t bag;
               basekit2::load_variant_bag_from_string(bag, link.second, "bag");
               const basekit2::variant_t target = bag.get_variant("link");
               return fs::path(link.first).parent_path() == group && target.as_string() &&
                      *target.as_string() == root + "/" + node->marker;
           });
}

Survey survey(const std::string& root) {
    Survey out;
    for (const auto& entry : fs::recursive_directory_iterator(root)) {
        const fs::path& path = entry.path();
        const std::string name = path.lexically_relative(root);
        out.all.insert(name);
        if (isMarker(path)) {
            addMarker(out, root, path);
        } else if (isLink(path)) {
            out.links[name] = support::readFile(path.native());
        } else if (basekit2::is_bag_temporary(path.filename().native())) {
            out.temporaries.insert(name);
        }
    }
    return out;
}

bool isSameNode(const FoundNode& a, const FoundNode& b, const std::string& except) {
    basekit2::variant_bag_t sectionA = a.section;
    basekit2::variant_bag_t sectionB = b.section;
    sectionA.remove(except);
    sectionB.remove(except);
    return sectionA == sectionB && a.files == b.files;
}

}  // namespace torture

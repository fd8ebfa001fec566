// A front end: lists the nodes of a project, or of any directory, and tells in which properties two
// of its results differ: of those that are named, else of the newest two.
//
//     front_end PROJECT [OLD NEW]

#include <vesta2/vesta2.h>

#include <exception>
#include <iostream>
#include <map>
#include <stdexcept>
#include <string>
#include <utility>

namespace {

using Group = basekit2::sptr_t<vesta2::INodeGroup>;
using Result = basekit2::sptr_t<vesta2::IResultDirectory>;
using Texts = std::map<std::string, std::string>;

// An empty handle means that there is none, or that it could not be opened; the status tells.
template <class Handle>
Handle require(Handle handle, const std::string& path) {
    if (!handle) {
        throw std::runtime_error(path + ": " + vesta2::toString(vesta2::getStatus()));
    }
    return handle;
}

const char* stateOf(const basekit2::sptr_t<vesta2::INode>& node) {
    const Result result = vesta2::IResultDirectory::cast(node);
    if (!result) {
        return "project or experiment";
    }
    if (!result->isValid()) {
        return "invalid";
    }
    return result->isFinalized() ? "finalized" : "incomplete";
}

void list(const Group& group) {
    for (auto nodes = group->getNodes(nullptr, 0); !nodes.at_end(); nodes.next()) {
        const auto node = nodes.current();
        const char* name = node ? node->getUserVisibleName() : nullptr;
        if (!name) {
            continue;  // it was deleted since the directory was listed
        }
        std::cout << name << '\t' << stateOf(node) << '\t' << node->getFilesCount() << " files\n";
    }
}

// Properties are numbers, texts, and bags of more of them.
void flatten(const basekit2::variant_bag_t& bag, const std::string& prefix, Texts& texts) {
    for (const auto& [name, value] : bag) {
        if (const auto* inner = value.as_bag()) {
            flatten(*inner, prefix + name + '/', texts);
            continue;
        }
        const std::string* text = value.as_string();
        texts[prefix + name] = text ? *text : std::to_string(value.to_int64());
    }
}

Texts propertiesOf(const Result& result) {
    Texts texts;
    flatten(*result->getPropertyStorage()->getBag(), "", texts);
    return texts;
}

void compare(const Result& older, const Result& newer) {
    std::cout << older->getUserVisibleName() << " -> " << newer->getUserVisibleName() << '\n';
    std::map<std::string, std::pair<std::string, std::string>> rows;
    for (const auto& [name, text] : propertiesOf(older)) {
        rows[name].first = text;
    }
    for (const auto& [name, text] : propertiesOf(newer)) {
        rows[name].second = text;
    }
    for (const auto& [name, values] : rows) {
        if (values.first != values.second) {
            std::cout << name << '\t' << values.first << '\t' << values.second << '\n';
        }
    }
}

void run(const std::string& path, const char* olderName, const char* newerName) {
    const Group group = require(vesta2::INodeGroup::open(path.c_str()), path);
    list(group);
    if (olderName) {
        compare(require(group->openResultDirectory(olderName), path + '/' + olderName),
                require(group->openResultDirectory(newerName), path + '/' + newerName));
        return;
    }
    // Of the same pattern twice: the newest, and the one before it.
    const std::string pattern = path + "/r@@@";
    Result newer;
    Result older;
    vesta2::ResultDirectoryManager::openForDiff(pattern.c_str(), pattern.c_str(), &newer, &older,
                                                false);
    compare(require(older, pattern), require(newer, pattern));
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2 && argc != 4) {
        std::cerr << "usage: front_end PROJECT [OLD NEW]\n";
        return 2;
    }
    try {
        run(argv[1], argc == 4 ? argv[2] : nullptr, argc == 4 ? argv[3] : nullptr);
    } catch (const std::exception& error) {
        std::cerr << "front_end: " << error.what() << '\n';
        return 1;
    }
}

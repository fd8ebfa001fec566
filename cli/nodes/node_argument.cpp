#include "nodes/node_argument.h"

#include <sys/stat.h>

#include <boost/filesystem/path.hpp>
#include <cerrno>
#include <filesystem>

#include "base/presence.h"
#include "base/text.h"
#include "nodes/selection.h"
#include "vesta2/path_completion.h"

namespace cli {
std::string requirePath(const std::string& path) {
    if (path.empty()) {
        throw Failure(exitUsage, {}, "the path is empty", "name a directory, or '.'");
    }
    // The library strips the final slash: "/" would become the empty path, the working directory.
    if (!std::filesystem::absolute(path).lexically_normal().has_relative_path()) {
        throw Failure(exitUsage, "/", "the root directory cannot be a node or a group",
                      "name a directory below it");
    }
    return vesta2::completePath(path, nullptr).native();
}

void requireMask(const std::string& mask) {
    if (mask.find('/') != std::string::npos) {
        throw Failure(exitUsage, {}, "--mask " + shellQuote(mask) + " is a path",
                      "give a name, a pattern or a glob, and the group that it is in as GROUP");
    }
}

namespace {

basekit2::sptr_t<vesta2::INode> open(const std::string& marker) {
    auto node = openMember(marker);
    if (!node) {
        throw Failure::fromErrno(ENOENT, marker);
    }
    return node;
}

}  // namespace

basekit2::sptr_t<vesta2::INode> namedNode(const std::string& argument) {
    return open(memberNamed(argument).marker);
}

void requirePresent(vesta2::INode& node) {
    if (!node.isMissing() || isThere(node.getMarkerFilePath())) {
        return;
    }
    if (!node.isLinked()) {
        throw Failure::fromErrno(ENOENT, node.getMarkerFilePath());
    }
    throw Failure(exitNotFound, node.getLinkFilePath(), "the node that it leads to is gone",
                  "point it at the new place with 'vesta2 relink'");
}

void requireSamePlace(vesta2::INode& node, const std::string& directory) {
    if (node.getPath() != directory) {
        throw Failure(exitFailure, directory, "was moved meanwhile", "try again");
    }
}

basekit2::sptr_t<vesta2::INode> openPresent(const std::string& marker) {
    auto node = open(marker);
    requirePresent(*node);
    return node;
}

basekit2::sptr_t<vesta2::INode> namedPresentNode(const std::string& argument) {
    return openPresent(memberNamed(argument).marker);
}

basekit2::sptr_t<vesta2::IResultDirectory>
requireResult(const basekit2::sptr_t<vesta2::INode>& node) {
    auto result = vesta2::IResultDirectory::cast(node);
    if (!result) {
        throw Failure(exitUsage, node->getPath(), "a project or an experiment, no result",
                      seeCommand("list", node->getPath()) + " for the results in it");
    }
    return result;
}

basekit2::sptr_t<vesta2::IResultDirectory> namedResult(const std::string& argument) {
    return requireResult(namedNode(argument));
}

basekit2::sptr_t<vesta2::IResultDirectory> namedPresentResult(const std::string& argument) {
    auto result = namedResult(argument);
    requirePresent(*result);
    return result;
}

basekit2::sptr_t<vesta2::INodeGroup> namedGroup(const std::string& argument) {
    const std::string path = requirePath(argument);
    basekit2::sptr_t<vesta2::INodeGroup> group = vesta2::INodeGroup::open(path.c_str());
    if (!group) {
        struct stat status {};
        if (::stat(path.c_str(), &status) != 0) {
            throw Failure::fromErrno(errno, path);
        }
        throw Failure(exitNotFound, path, "not a group",
                      "name a directory, a project or an experiment");
    }
    return group;
}

std::string groupPath(const std::string& argument) {
    return argument.empty() ? std::string() : namedGroup(argument)->getPath();
}

}  // namespace cli

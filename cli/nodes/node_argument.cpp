#include "nodes/node_argument.h"

#include <sys/stat.h>

#include <boost/filesystem/path.hpp>
#include <cerrno>
#include <filesystem>

#include "base/presence.h"
#include "base/text.h"
#include "nodes/members.h"
#include "vesta2/discovery.h"
#include "vesta2/names.h"
#include "vesta2/node.h"
#include "vesta2/path_completion.h"
#include "vesta2/result_directory_manager.h"

namespace cli {
namespace {

/// Why there is no node at `path`, and what helps.
Failure noNode(const std::string& path) {
    const std::string parent = boost::filesystem::path(path).parent_path().native();
    const std::string look = seeCommand("list", parent);
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0) {
        if (errno != ENOENT) {
            return Failure::fromErrno(errno, path);
        }
        if (::stat(parent.c_str(), &status) != 0) {
            return Failure::fromErrno(errno, parent);
        }
        return {exitNotFound, path, "no such result, experiment or project", look};
    }
    if (S_ISDIR(status.st_mode)) {
        return {exitNotFound, path, "a directory, but no result, experiment or project",
                seeCommand("list", path) + " for the nodes in it"};
    }
    return {exitNotFound, path, "neither a marker file nor a link file", look};
}

}  // namespace

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
                      "give a name or a pattern, and the group that it is in as GROUP");
    }
}

basekit2::sptr_t<vesta2::INode> namedNode(const std::string& argument) {
    const std::string path = requirePath(argument);
    const vesta2::FileSet kinds(vesta2::resultMarkerFileExt(), vesta2::experimentMarkerFileExt(),
                                vesta2::projectMarkerFileExt());
    // Before patterns: a directory may be named "r@@@".
    std::string marker = vesta2::findMarkerFileOrLink(path, kinds, true);
    if (marker.empty()) {
        const std::vector<std::string> found = membersAt(path, nullptr);
        if (found.empty()) {
            throw noNode(path);
        }
        marker = found.back();
    }
    basekit2::sptr_t<vesta2::INode> node = vesta2::Node::lookup(marker, nullptr);
    if (!node && vesta2::getStatus() != vesta2::eNotFound) {
        throw Failure::fromStatus(vesta2::getStatus(), marker);
    }
    if (!node) {
        throw noNode(path);
    }
    return node;
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

basekit2::sptr_t<vesta2::INode> namedPresentNode(const std::string& argument) {
    auto node = namedNode(argument);
    requirePresent(*node);
    return node;
}

basekit2::sptr_t<vesta2::IResultDirectory> namedResult(const std::string& argument) {
    const basekit2::sptr_t<vesta2::INode> node = namedNode(argument);
    auto result = vesta2::IResultDirectory::cast(node);
    if (!result) {
        throw Failure(exitUsage, node->getPath(), "a project or an experiment, no result",
                      seeCommand("list", node->getPath()) + " for the results in it");
    }
    return result;
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

#include "extensions.h"

#include <algorithm>
#include <boost/filesystem/path.hpp>
#include <string>

#include "vesta2/discovery.h"
#include "vesta2/names.h"

namespace vesta2 {
namespace {

bool endsWith(std::string_view text, std::string_view tail) {
    return text.size() >= tail.size() && text.substr(text.size() - tail.size()) == tail;
}

std::string_view extensionOfPath(std::string_view path) {
    return extensionOf(path.substr(path.rfind('/') + 1));
}

char toLower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

}  // namespace

std::string_view extensionOf(std::string_view name) {
    const std::size_t dot = name.rfind('.');
    return dot == std::string_view::npos || name == "." || name == ".." ? std::string_view()
                                                                        : name.substr(dot);
}

bool isOneOf(std::string_view extension, const FileSet& extensions) {
    return std::find(extensions.begin(), extensions.end(), extension) != extensions.end();
}

bool isLinkOfOneOf(std::string_view extension, const FileSet& extensions) {
    const std::string suffix = linkSuffix();
    return endsWith(extension, suffix) &&
           isOneOf(extension.substr(0, extension.size() - suffix.size()), extensions);
}

bool isAnyLink(std::string_view extension) {
    const std::string suffix = linkSuffix();
    return extension.size() > suffix.size() && endsWith(extension, suffix);
}

bool hasExtension(const boost::filesystem::path& path, const std::string& extension) {
    return extensionOfPath(path.native()) == extension;
}

bool hasExtension(const boost::filesystem::path& path, const FileSet& extensions) {
    return isOneOf(extensionOfPath(path.native()), extensions);
}

bool hasLinkExtension(const boost::filesystem::path& path, const FileSet& extensions) {
    return isLinkOfOneOf(extensionOfPath(path.native()), extensions);
}

bool hasLinkExtension(const boost::filesystem::path& path) {
    return isAnyLink(extensionOfPath(path.native()));
}

bool isLink(const std::string& path) {
    // Longer than a dot, the suffix and a short name of three letters.
    constexpr std::size_t leastName = 4;
    const std::string suffix = linkSuffix();
    const std::string_view extension = extensionOfPath(path);
    if (extension.size() <= suffix.size() + leastName) {
        return false;
    }
    const std::string_view tail = extension.substr(extension.size() - suffix.size());
    return std::equal(tail.begin(), tail.end(), suffix.begin(),
                      [](char a, char b) { return toLower(a) == b; });
}

}  // namespace vesta2

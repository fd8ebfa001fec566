#include "results.h"

#include <array>
#include <boost/filesystem/operations.hpp>
#include <cstdio>
#include <stdexcept>
#include <vector>

#include "vesta2/vesta2.h"

namespace bench {
namespace {

using vesta2::ResultDirectoryManager;

/// Whatever was not done would be measured as done quickly.
void require(bool isDone, const char* what, const std::string& where) {
    if (!isDone) {
        throw std::runtime_error(std::string("cannot ") + what + " in " + where + ": " +
                                 vesta2::toString(ResultDirectoryManager::getLastError()));
    }
}

}  // namespace

std::string resultPath(const std::string& directory, std::size_t number) {
    std::array<char, 32> name{};
    std::snprintf(name.data(), name.size(), "/r%05zu", number);
    return directory + name.data();
}

Result openResult(const std::string& path) {
    auto result = ResultDirectoryManager::open(path.c_str(), true, nullptr);
    require(static_cast<bool>(result), "open a result", path);
    return result;
}

void createResults(const std::string& directory, std::size_t count) {
    const std::string pattern = directory + "/r@@@@@";
    for (std::size_t i = 0; i < count; ++i) {
        require(static_cast<bool>(ResultDirectoryManager::create(pattern.c_str(), false, nullptr,
                                                                 false, nullptr)),
                "create a result", directory);
    }
}

void openResults(const std::string& directory, std::size_t begin, std::size_t end) {
    for (std::size_t i = begin; i < end; ++i) {
        openResult(resultPath(directory, i));
    }
}

std::size_t listResults(const std::string& directory) {
    std::size_t listed = 0;
    const auto group = vesta2::INodeGroup::open(directory.c_str());
    for (auto nodes = group->getNodes("*", 0); !nodes.at_end(); nodes.next()) {
        listed += nodes.current()->getCreationTime() != 0 ? 1 : 0;
    }
    return listed;
}

std::size_t holdResults(const std::string& directory) {
    std::vector<basekit2::sptr_t<vesta2::INode>> held;
    const auto group = vesta2::INodeGroup::open(directory.c_str());
    for (auto nodes = group->getNodes("*", 0); !nodes.at_end(); nodes.next()) {
        held.push_back(nodes.current());
    }
    return held.size();
}

std::size_t findResults(const std::string& directory) {
    vesta2::FileSet found;
    vesta2::findPatternedMarkerFileOrLink("*", directory.c_str(), vesta2::FileSet(".zentor"), found,
                                          0, false);
    return found.size();
}

void multiplyResults(const std::string& directory, std::size_t count) {
    namespace fs = boost::filesystem;
    const auto nameAt = [&](std::size_t number) {
        return resultPath(directory, number).substr(directory.size());
    };
    std::size_t present = 0;
    while (fs::exists(resultPath(directory, present))) {
        ++present;
    }
    require(present > 0, "find a result to copy", directory);
    for (std::size_t i = present; i < count; ++i) {
        const std::string path = resultPath(directory, i);
        copyTree(resultPath(directory, i - present), path);
        fs::rename(path + nameAt(i - present) + ".zentor", path + nameAt(i) + ".zentor");
    }
}

void saveResult(const Result& result, std::size_t count, bool isChanged) {
    for (std::size_t i = 0; i < count; ++i) {
        if (isChanged) {
            result->setCollectionTimeEnd(static_cast<long>(i + 1));
        }
        require(!result->save(), "save", result->getPath());  // it tells whether it failed
    }
}

void claimFlag(const Result& result, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
        require(result->setFlag("busy") && result->clearFlag("busy", false), "claim",
                result->getPath());
    }
}

void copyTree(const std::string& from, const std::string& to) {
    boost::filesystem::create_directory(to);
    require(vesta2::copyWithExcludingFlags(from, to), "copy", from);
}

std::uint64_t sizeOf(const std::string& directory) {
    return vesta2::calcDirectoryFilesSize(directory);
}

}  // namespace bench

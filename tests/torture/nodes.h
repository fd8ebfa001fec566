#pragma once
/// Nodes, as trials use them.

#include <filesystem>
#include <map>
#include <set>

#include "basekit2/bag_io.h"
#include "basekit2/descriptor.h"
#include "broken_calls.h"
#include "support/command.h"
#include "support/temp_directory.h"
#include "trial.h"
#include "vesta2/flag_look.h"
#include "vesta2/vesta2.h"

namespace torture {

namespace fs = std::filesystem;
using namespace vesta2;
using Results = ResultDirectoryManager;
using NodeHandle = basekit2::sptr_t<INode>;
using Result = basekit2::sptr_t<IResultDirectory>;

inline bool isDone() { return Results::getLastError() == eOK; }

/// Raises when there is none.
inline Result open(const std::string& path) {
    if (const Result result = Results::open(path.c_str(), true, nullptr)) {
        return result;
    }
    throw std::runtime_error("cannot be opened: " + path);
}

/// With the property by which it is known again, and a file with `content`.
inline Result make(const std::string& path, const std::string& content) {
    const Result result = Results::get(path.c_str(), nullptr, true);
    result->setApplicationLog(path.c_str());
    result->save();
    support::writeFile(path + "/data.0/payload", content);
    return result;
}

/// That property, of a marker file that can be read; empty when it is that of no such node.
inline std::string identityIn(const fs::path& marker) {
    basekit2::variant_bag_t bag;
    basekit2::load_variant_bag(bag, marker, "");
    return *bag.put_bag("vesta").get_variant("applicationLog", "").as_string();
}

/// A temporary directory, in which the process works.
struct Workplace : support::TempDirectory {
    Workplace() { fs::current_path(path().native()); }
};

}  // namespace torture

#pragma once

#include <string>
#include <vector>

namespace vesta2 {

/// Where a walk goes on after a look at a directory's name.
enum class Next {
    into,  ///< the directory was entered
    past,  ///< it was not; on with the next one
    up,    ///< the rest of the directory that it lies in is left out
};

/// Walks a tree depth first, in each directory first the files and then the subdirectories. Nothing
/// recurses, so the depth of a tree costs no stack. The visitor has
///     std::vector<std::string> list()       does what is to be done where it is, and returns the
///                                           names of the subdirectories to walk
///     Next enter(const std::string& name)   goes into one of them
///     bool leave(const std::string& name)   comes back out of it; false to enter it once more
template <class Visitor>
void walkTree(Visitor& visitor) {
    struct Level {
        std::string name;
        std::vector<std::string> subdirectories;
    };
    std::vector<Level> levels;
    levels.push_back({std::string(), visitor.list()});
    for (;;) {
        std::vector<std::string>& waiting = levels.back().subdirectories;
        if (!waiting.empty()) {
            std::string name = std::move(waiting.back());
            waiting.pop_back();
            const Next next = visitor.enter(name);
            if (next == Next::into) {
                levels.push_back({std::move(name), visitor.list()});
            } else if (next == Next::up) {
                waiting.clear();
            }
            continue;
        }
        std::string name = std::move(levels.back().name);
        levels.pop_back();
        if (levels.empty()) {
            return;
        }
        if (!visitor.leave(name)) {
            levels.back().subdirectories.push_back(std::move(name));
        }
    }
}

}  // namespace vesta2

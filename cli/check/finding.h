#pragma once
/// What is wrong with a node, a link or a file beside them.

#include <functional>
#include <string>

namespace cli {

struct Finding {
    const char* kind;  ///< a word for scripts; see the documents
    std::string path;
    std::string problem;
    std::string remedy;
    /// Mends it without losing anything; null when only people can tell what to do. Raises
    /// `Failure` when that must wait or does not succeed.
    std::function<void()> repair;
    /// It comes and goes as nodes are used, and asks for nothing.
    bool isHarmless = false;
};

}  // namespace cli

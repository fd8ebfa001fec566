#pragma once
/// What the library does, as a table: operations on a small tree, in the working directory. Each
/// leaves the tree as it was, and can be repeated.

#include <functional>
#include <string>
#include <vector>

namespace torture {

struct Operation {
    const char* name;
    std::function<bool()> act;  ///< whether it succeeded
};

const std::vector<Operation>& operations();

/// Makes the tree: a project "p" with the result "r000", and with "far/x0", which is linked.
void makeTree();

/// What is wrong with the tree, a line each: markers that cannot be read, what was there and is
/// not, temporary files.
std::vector<std::string> examineTree();

}  // namespace torture

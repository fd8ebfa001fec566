#pragma once
/// Creation of results.

#include <string>

#include "basekit2/object.h"
#include "vesta2/i_result_directory.h"
#include "vesta2/result_variable_bag.h"

namespace cli {

struct NewResult {
    std::string name;
    std::string group{};  ///< directory of the group; empty for the working directory
    bool literal = false;
    bool overwrite = false;
    bool mayOverwrite = false;     ///< whether the command can be told to overwrite
    bool withoutQuestion = false;  ///< when it overwrites
};

/// Makes the result and opens it; raises `Failure` when that does not work.
basekit2::sptr_t<vesta2::IResultDirectory>
createNewResult(const NewResult& wanted, const vesta2::ResultVariableBag& variables);

}  // namespace cli

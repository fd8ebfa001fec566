#pragma once
/// The variables in names of results.

#include <string>
#include <vector>

#include "vesta2/result_variable_bag.h"

namespace cli {

/// The day of creation.
inline constexpr const char* dateVariable = "date";

/// {user}, {host}, {app}, {date} and {rank}, and what was given as "K=V", which goes first. {app}
/// is the base name of `program`, and absent without one; {rank} is "0" outside MPI. What a name
/// must not have is replaced in the first three by "_". Raises `Failure` for what is not "K=V".
vesta2::ResultVariableBag nameVariables(const std::vector<std::string>& given,
                                        const std::string& program);

/// Raises `Failure` when the name of the result `path` has a variable that is none of `variables`.
void requireKnownVariables(const std::string& path, const vesta2::ResultVariableBag& variables);

}  // namespace cli

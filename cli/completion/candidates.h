#pragma once
/// What could stand at the cursor.

#include <vector>

#include "options/options.h"

namespace cli {

/// Looks from the directory of "-C". What cannot be told is left out, and so is what a line cannot
/// hold.
std::vector<Proposal> candidatesAt(Cursor cursor);

}  // namespace cli

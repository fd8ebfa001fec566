#pragma once

namespace vesta2 {

/// The rank that an MPI launcher gave this process, -1 without one. The first of the launchers'
/// variables that is set decides; a value that is no number is rank 0.
int currentMpiRank();

}  // namespace vesta2

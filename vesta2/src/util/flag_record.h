#pragma once
/// The record in a flag's information file: who claimed it, and when.

#include "basekit2/bag_io.h"
#include "vesta2/error.h"

namespace vesta2::util {

/// Puts a record of this process and this moment into `record`, on top of what it holds.
void fillRecord(basekit2::variant_bag_t& record);

/// Whether the process that made `record` has ended, or is this one: such a record
/// does not keep a claim from the flag. Asks the kernel of this host alone; between hosts the lock
/// decides.
bool isReclaimable(const basekit2::variant_bag_t& record);

/// Reads the record in an open file. `eNotFound`: the file is empty. `eSerializationError`: what is
/// in it is no record, or past 64 KiB. `eFileError`: it could not be read.
error_t readRecord(int descriptor, basekit2::variant_bag_t& out);

}  // namespace vesta2::util

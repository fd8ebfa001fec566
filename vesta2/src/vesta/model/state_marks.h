#pragma once
/// The empty files that tell the state of a result. They are made and deleted in the directory as
/// it is when it is opened, through no symbolic link, and flushed with it. The operations throw
/// `boost::filesystem::filesystem_error`.

#include "../tree/file_id.h"

namespace vesta2 {

/// Makes the mark, or leaves the one that is there. Fails when something of that name is there that
/// is no regular file, and in another directory (`isAnother`).
void makeMark(const KnownDirectory& directory, const char* mark);
/// Deletes the mark, if it is there. Fails in another directory.
void removeMark(const KnownDirectory& directory, const char* mark);

}  // namespace vesta2

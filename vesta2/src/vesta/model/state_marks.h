#pragma once
/// The empty files that tell the state of a result. They are made and deleted in the directory as
/// it is when it is opened, through no symbolic link, and flushed with it. The operations throw
/// `boost::filesystem::filesystem_error`.

#include <boost/filesystem/path.hpp>

namespace vesta2 {

/// Makes the mark, or leaves the one that is there. Fails when something of that name is there that
/// is no regular file.
void makeMark(const boost::filesystem::path& directory, const char* mark);
/// Deletes the mark, if it is there.
void removeMark(const boost::filesystem::path& directory, const char* mark);

}  // namespace vesta2

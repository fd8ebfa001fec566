#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

#include "basekit2/descriptor.h"
#include "file_id.h"

namespace vesta2 {

/// An open directory and its path, for messages: it may be longer than the system takes. Plain data
/// that owns neither.
struct DirectoryView {
    int descriptor;
    const std::string& path;

    [[nodiscard]] std::string pathOf(const char* name) const {
        return path.empty() || path.back() == '/' ? path + name : path + '/' + name;
    }
};

/// The directories on the way from the top of a tree down to one of them. However many there are,
/// few are open: the top and those next to the end. One that was closed on the way down is opened
/// again by ".." on the way up, and must be the same then: a directory that was moved meanwhile
/// cannot redirect the walk out of the tree. For one thread.
class DirectoryChain {
public:
    /// `path` is how the top is named in messages. The top may be AT_FDCWD, if all that is entered
    /// from there has an absolute name.
    DirectoryChain(basekit2::descriptor_t top, std::string path);

    /// Of the directory at the end; open until the chain changes.
    [[nodiscard]] int descriptor() const { return m_steps.back().directory.get(); }
    [[nodiscard]] const std::string& path() const { return m_path; }
    [[nodiscard]] DirectoryView view() const { return {descriptor(), m_path}; }
    [[nodiscard]] std::string pathOf(const char* name) const { return view().pathOf(name); }
    /// Another descriptor of the directory at the end; none, with `errno`, when there are no more.
    [[nodiscard]] basekit2::descriptor_t duplicate() const;
    [[nodiscard]] bool isAtTop() const { return m_steps.size() == 1; }

    /// On to the directory `name` in the one at the end; false, with `errno` and the chain as it
    /// was, when that is none or cannot be opened. A symbolic link is not followed.
    bool enter(const char* name);
    /// Back up by one. Throws `boost::filesystem::filesystem_error` when the way up is lost; the
    /// chain is of no use then.
    void leave();

private:
    struct Step {
        basekit2::descriptor_t directory;  ///< none while it is closed
        FileId id;                         ///< known while it is closed
        std::size_t pathLength;
    };

    void closeFarStep();

    std::vector<Step> m_steps;
    std::string m_path;
};

}  // namespace vesta2

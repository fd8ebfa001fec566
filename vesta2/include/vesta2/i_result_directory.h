#pragma once
/// A result: the directory that one collection writes into.
///
/// For one thread at a time, as every node. Properties are kept in memory until `save`; times are
/// seconds since the Epoch.

#include <string>

#include "vesta2/i_node.h"
#include "vesta2/i_path_iterator.h"

namespace vesta2 {

/// Subdirectories with an agreed name.
enum standard_dir_t : int {
    sourceDir = 0,  ///< "source"
    configDir = 1,  ///< "config"
};

class VESTA2_API IResultDirectory : public INode {
public:
    /// Returns: whether post-processing has ended, as it was when the node was opened or last set
    /// here.
    virtual bool isFinalized() = 0;
    /// Marks the result finalized, or no longer so.
    /// Returns: Deliberate: always true; a failure shows in the thread's status alone.
    /// Status: why the mark could not be made; `eUnknown` also for what has its name and is no
    /// regular file.
    /// Disk: the file ".norun" in the node's directory, flushed. What is already so in memory is
    /// not written again.
    virtual bool setFinalized(bool finalized) = 0;
    /// Returns: whether the result was not marked invalid.
    virtual bool isValid() = 0;
    /// Marks the result invalid for good, and moves it out of the way of patterns, to its path with
    /// "-bad" appended.
    /// Status: why it could not be marked, or else not be moved (something of that name is there):
    /// then the mark alone tells.
    /// Disk: the file ".bad" in the node's directory, flushed, and a move as `INode::move`.
    virtual void setInvalid() = 0;
    /// Makes the first of data.0, data.1, ... that is free, by an exclusive mkdir.
    /// Returns: its full path; null, with the status, when it cannot be made.
    /// Lifetime: until the next call.
    virtual const char* createCollectorDataDir() = 0;
    /// Returns: the data directories, as full paths in byte order; an empty handle when the
    /// directory cannot be listed.
    virtual basekit2::sptr_t<IPathIterator> getCollectorDataDirectories() = 0;
    /// Returns: the files in the data directories whose names match `mask`, as full paths; with
    /// null, every entry, directories too. Throws `boost::filesystem::filesystem_error` when a data
    /// directory cannot be listed.
    virtual basekit2::sptr_t<IPathIterator> getResultFiles(const char* mask) = 0;
    /// Makes the subdirectory `name` when it is missing, with all directories on the way.
    /// Returns: its full path; null, with the status, on failure, and with `eParameterError` for
    /// null.
    /// Lifetime: until the next call.
    virtual const char* getSubdir(const char* name) = 0;
    /// The same, of a directory with an agreed name.
    /// Returns: null, with the status as it was, for an unknown one.
    virtual const char* getSubdir(standard_dir_t directory) = 0;
    /// Copies the result, but for its marker file, symbolic links, and entries whose names match
    /// one of `exclusions` (one a line, see `basekit2::path_t::match`; null for none), to a new
    /// directory with a marker file of its own that has the same properties. `destination` is made
    /// as by `ResultDirectoryManager::create`, so it may be a pattern. Flags are files like others
    /// here: exclude them with `flagFilePatterns`. The export is no more open than its source.
    /// Returns: the new result; empty on failure: what was made is then deleted again.
    /// Status: Deliberate: a failed step (a file that cannot be read) shows here alone.
    virtual basekit2::sptr_t<IResultDirectory> exportTo(const char* destination,
                                                        const char* exclusions) = 0;

    // Setters mark the node modified; a null text is refused with `eParameterError`.

    /// Returns: the host on which it was made; "unknown" when the marker file does not tell.
    virtual const char* getCreationHostName() = 0;
    /// Returns: the operating system, as stored ("linux") or, when `pretty`, as people read it
    /// ("Linux*"); "unknown" when the marker file does not tell.
    virtual const char* getCreationOs(bool pretty) = 0;
    /// Returns: the rank; -1 when the collection did not run under MPI.
    virtual int getMpiRank() = 0;
    /// Returns: the command line of the program; null when it was never set.
    virtual const char* getCollectorCommand() = 0;
    virtual void setCollectorCommand(const char* command) = 0;
    /// Times are 0 when they were never set.
    virtual long getCollectionTimeBegin() = 0;
    virtual void setCollectionTimeBegin(long time) = 0;
    virtual long getCollectionTimeEnd() = 0;
    virtual void setCollectionTimeEnd(long time) = 0;
    virtual long getFinalizationTimeBegin() = 0;
    virtual void setFinalizationTimeBegin(long time) = 0;
    virtual long getFinalizationTimeEnd() = 0;
    virtual void setFinalizationTimeEnd(long time) = 0;
    /// Returns: how many processors the host had configured; 0 when unknown.
    virtual int getLogicalCPUCount() = 0;
    /// Returns: their frequency in Hz; 0 when unknown.
    virtual long long getCPUFrequency() = 0;
    /// Full paths; a name that was never set gives the usual one ("application.log",
    /// "collector.log", "command.log") in the result's directory.
    virtual std::string getApplicationLog() = 0;
    virtual void setApplicationLog(const char* name) = 0;
    virtual std::string getCollectorLog() = 0;
    virtual void setCollectorLog(const char* name) = 0;
    virtual std::string getCommandLog() = 0;
    virtual void setCommandLog(const char* name) = 0;

    /// Returns: whether `path` denotes a result: its directory, its marker file, or a link file to
    /// it. Patterns are not expanded. Nothing is opened.
    static bool probe(const char* path);
    /// Returns: the same node as a result; empty when it is none.
    static basekit2::sptr_t<IResultDirectory> cast(const basekit2::sptr_t<INode>& node);
    /// Returns: the first of the names data.0, data.1, ... that is free in `directory`. Another
    /// process may take it before it is made: see `createCollectorDataDir`.
    static std::string generateCollectorDataDirName(const std::string& directory);
};

}  // namespace vesta2

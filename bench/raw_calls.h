#pragma once
/// The system calls that no implementation can do without, and nothing else: what the library is
/// measured against. Each throws `std::system_error` when a call fails.

#include <cstddef>
#include <string>

namespace bench {

/// Makes directories of the names r00000, r00001, ... in `directory`, each with a marker file of
/// `text` that appears under its name only when it is complete.
void createRaw(const std::string& directory, std::size_t count, const std::string& text);

/// For those from `begin` to before `end`: lists its directory and reads its marker file. Returns
/// the bytes read.
std::size_t openRaw(const std::string& directory, std::size_t begin, std::size_t end);

/// Lists `directory`, and does the same for each directory that is found in it.
std::size_t listRaw(const std::string& directory);

/// Lists `directory`, finds the marker file in each directory that is there, and puts their paths
/// in order. Returns how many there are.
std::size_t findRaw(const std::string& directory);

/// Reads the marker files of the `count` greatest of those directories, of which it lists the names
/// alone. Returns the bytes read.
std::size_t lastRaw(const std::string& directory, std::size_t count);

/// Replaces the file in one step, with its bytes and its name flushed.
void saveRaw(const std::string& path, const std::string& text);

/// Looks at what is at `path`.
void lookRaw(const std::string& path);

/// As `createRaw`, by one of several processes: each lists `directory` for the greatest number, and
/// takes the next that is free.
void createByScanRaw(const std::string& directory, std::size_t count, const std::string& text);

/// Of each directory in `directory`: reads its marker file, and deletes it with what is in it.
std::size_t purgeRaw(const std::string& directory);

/// Copies the files of `source`, and those of its subdirectories, into `target`, which it makes:
/// each with its times and permissions, which every copy of a tree keeps. Large ones within the
/// kernel.
void copyRaw(const std::string& source, const std::string& target);

/// Makes and locks a file, writes `text` to another as a lock record is (one flushed write under a
/// short lock), and deletes both while the lock is held.
void claimRaw(const std::string& path, const std::string& text);

/// The bytes of the regular files below `directory`.
std::size_t sizeRaw(const std::string& directory);

}  // namespace bench

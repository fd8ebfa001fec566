#pragma once
/// The linker sends system calls of the library, and one function of it, here. A trial may have
/// something happen before each, and they can be broken, so that it shows what a trial is worth:
///
///   in-place   a file is replaced by writing it anew
///   unflushed  nothing is flushed
///   unlooked   a file is taken to be the one that was looked at first
///   robbing    every link may be taken over
///   taken      a directory that exists can be made again
///   trusting   symbolic links are followed, and whatever is opened is waited for
///   littering  what was made for the time being is not deleted
///   leaking    some descriptors are not closed
///   ahead      the clock is an hour ahead, which breaks nothing: all is old enough to be mended
///
/// The command is built with them, too; it goes by the environment variable VESTA2_BROKEN, which
/// may name several.

#include <functional>
#include <string>

namespace torture {

extern std::string brokenCalls;

/// Called with a call's name just before it; returns an error that it fails with, or 0.
extern std::function<int(const char* call)> beforeCall;

}  // namespace torture

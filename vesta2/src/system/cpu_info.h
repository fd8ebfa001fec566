#pragma once
/// Reads the text in which the Linux kernel describes its processors (/proc/cpuinfo), from any
/// stream.

#include <cstdint>
#include <istream>

#include "vesta2/system_info.h"

namespace vesta2 {

struct CpuInfo {
    std::uint64_t frequency = 0;  ///< Hz; 0 when unknown
    int maxVectorLength = 0;      ///< bits
    SystemInfo::IsaInfo isa;
};

/// Takes frequency and extensions from `text` into `info`, up to the end of the first processor
/// that tells both. Deliberate: the last token of a line of flags is never looked at, and of
/// several flags of one family the last counts, not the greatest.
void scanCpuInfo(std::istream& text, CpuInfo& info);

/// The frequency alone, in Hz; 0 when the text does not tell.
std::uint64_t scanCpuFrequency(std::istream& text);

}  // namespace vesta2

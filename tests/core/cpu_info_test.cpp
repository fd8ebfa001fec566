#include "system/cpu_info.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdint>
#include <sstream>
#include <string>
#include <thread>
#include <utility>

namespace {

using vesta2::CpuInfo;
using vesta2::SystemInfo;

const std::string intel = "processor\t: 0\n"
                          "model name\t: Intel(R) Xeon(R) CPU E5-2680 v4 @ 2.40GHz\n"
                          "cpu MHz\t\t: 1200.123\n";

using Frequencies = std::pair<std::uint64_t, std::uint64_t>;

/// The frequency by the scan for everything, and by the one for the frequency alone.
Frequencies frequencies(const std::string& content) {
    std::istringstream text(content);
    std::istringstream again(content);
    CpuInfo info;
    vesta2::scanCpuInfo(text, info);
    return {info.frequency, vesta2::scanCpuFrequency(again)};
}

Frequencies both(std::uint64_t hertz) { return {hertz, hertz}; }

TEST(CpuInfo, TellsTheFrequency) {
    EXPECT_EQ(frequencies(intel), both(2400000000));
    EXPECT_EQ(frequencies("model name\t: Old 800MHz\n"), both(800000000));
    EXPECT_EQ(frequencies("model name\t: AMD 7B13\ncpu MHz\t\t: 2449.998\n"), both(2449998000));
    EXPECT_EQ(frequencies("model name\t: A 4.10GHz\n"), both(4100000000));
    EXPECT_EQ(frequencies("model name\t: A \t\v2.40GHz\n"), both(2400000000));
    EXPECT_EQ(frequencies("cpu MHz\v\f: 4099.999\n"), both(4099999000));
    EXPECT_EQ(frequencies("cpu  \t MHz \t : \t 100"), both(100000000));
    EXPECT_EQ(frequencies("cpu MHz:5\xFF\n"), both(5000000));
    EXPECT_EQ(frequencies(std::string("model name\0: A 1GHz\n", 20)), both(1000000000));
    for (const char* text :
         {// not where or how it should be
          "", "x cpu MHz : 100\n", "CPU MHz : 100\n", "cpu MHz 100\n", "model name2.4GHz\n",
          "model name\t: A 2.4 GHz\n", "model name\t: A 2.4\n", "model name\t: A GHz\n",
          // damaged
          "cpu MHz : abc\n", "cpu MHz : nan\n", "cpu MHz : inf\n", "cpu MHz : -5\n",
          "cpu MHz : 1e300\n", "cpu MHz : 1e99999\n", "cpu MHz : \n"}) {
        EXPECT_EQ(frequencies(text), both(0)) << text;
    }
    // The first that tells decides; a clock of 0 ends only the scan for the frequency.
    EXPECT_EQ(frequencies("model name : A 1GHz\nmodel name : B 2GHz\n"), both(1000000000));
    EXPECT_EQ(frequencies("model name : A\nmodel name : B 2GHz\n"), both(2000000000));
    EXPECT_EQ(frequencies("cpu MHz : 0\ncpu MHz : 5\n"), Frequencies(5000000, 0));
    // Lines longer than the buffers of 2500 and 128 bytes are taken in pieces.
    const auto filled = [](std::size_t length) { return std::string(length, 'x'); };
    EXPECT_EQ(frequencies("model name :" + filled(110) + " 2.40GHz\n"), Frequencies(2400000000, 0));
    EXPECT_EQ(frequencies("model name :" + filled(108) + " 2.40GHz\n"), both(2400000000));
    EXPECT_EQ(frequencies(filled(127) + "cpu MHz : 7\n"), Frequencies(0, 7000000));
    EXPECT_EQ(frequencies(filled(126) + "cpu MHz : 7\n"), both(0));
    EXPECT_EQ(frequencies(filled(2499) + "cpu MHz : 7\n").first, 7000000U);
}

TEST(CpuInfo, TellsTheExtensions) {
    const std::string flags = "flags\t\t: ";
    const auto expectScanned = [](const std::string& content, int mmx, int sse, int avx,
                                  int length) {
        std::istringstream text(content);
        CpuInfo info;
        vesta2::scanCpuInfo(text, info);
        EXPECT_EQ(info.isa.mmx, mmx) << content;
        EXPECT_EQ(info.isa.sse, sse) << content;
        EXPECT_EQ(info.isa.avx, avx) << content;
        EXPECT_EQ(info.maxVectorLength, length) << content;
    };
    // The last token of a line is not looked at.
    expectScanned("flags : fpu mmx sse sse2 ssse3 sse4_1 sse4_2 avx avx2\n", 1, 8, 9, 256);
    expectScanned(flags + "mmx sse sse2 ssse3 sse4_1 sse4_2 avx avx2 erms\n", 1, 8, 10, 256);
    expectScanned(flags + "mmx", 0, 0, 0, 0);
    expectScanned(flags + "mmx ", 1, 0, 0, 64);
    // The last of a family counts, but the widest vector.
    expectScanned(flags + "avx2 avx sse4_2 sse x\n", 0, 2, 9, 256);
    expectScanned(flags + "avx512 avx x\n", 0, 0, 9, 512);
    // Names that are not exactly those of the table, and a line that is not about flags.
    expectScanned(flags + "pni avx512f mmxext SSE2 sse4a misalignsse avx2\t x\n", 0, 0, 0, 0);
    expectScanned("features : mmx sse x\n", 0, 0, 0, 0);
    // The first processor that tells both ends the scan.
    expectScanned(intel + flags + "sse x\n\n" + intel + flags + "avx x\n", 0, 2, 0, 128);
    expectScanned(flags + "sse x\n" + intel + flags + "avx x\n", 0, 2, 0, 128);
    expectScanned(flags + "sse x\n" + flags + "avx x\n" + intel, 0, 2, 9, 256);
    // A token across the border of two pieces is lost, and so is all behind it.
    expectScanned("flags " + std::string(2484, 'x') + " avx avx2 mmx x\n", 0, 0, 9, 256);
    expectScanned("flags " + std::string(2483, 'x') + " avx avx2 mmx x\n", 0, 0, 10, 256);
}

TEST(SystemInfo, KnowsAbbreviations) {
    int id = 0;
    for (const char* name : {"mmx", "sse", "sse2", "sse3", "ssse3", "sse4", "sse4_1", "sse4_2",
                             // the wide ones
                             "avx", "avx2", "avx512"}) {
        SystemInfo::IsaExtensions found = SystemInfo::isaNone;
        int vectorBits = -1;
        SystemInfo::getInfoFromAbbreviation(name, found, vectorBits);
        EXPECT_EQ(found, ++id) << name;
        EXPECT_EQ(vectorBits, id == 1 ? 64 : id < 9 ? 128 : id < 11 ? 256 : 512) << name;
    }
    for (const char* name : {static_cast<const char*>(nullptr), "", "SSE2", "sse ", "avx512f"}) {
        EXPECT_EQ(SystemInfo::getIsaType(name), SystemInfo::isaNone);
    }
}

TEST(SystemInfo, ComparesAvxThenSse) {
    using IsaInfo = SystemInfo::IsaInfo;
    EXPECT_TRUE((IsaInfo{1, 8, 10}) == (IsaInfo{0, 8, 10}));
    EXPECT_FALSE((IsaInfo{1, 8, 10}) < (IsaInfo{2, 8, 10}));
    EXPECT_FALSE((IsaInfo{1, 7, 10}) == (IsaInfo{1, 8, 10}));
    EXPECT_TRUE((IsaInfo{1, 7, 10}) < (IsaInfo{0, 8, 10}));
    EXPECT_TRUE((IsaInfo{0, 2, 10}) > (IsaInfo{1, 8, 9}));
}

TEST(SystemInfo, IsGatheredByAnyThread) {
    std::thread other([] {
        SystemInfo info;
        EXPECT_NE(info.cpuCount(), 0U);
        EXPECT_TRUE(info.init_from_os());
        info.getIsa();
    });
    SystemInfo info;
    EXPECT_TRUE(info.init_from_os());
    EXPECT_EQ(info.cpuCount(), static_cast<std::uint32_t>(::sysconf(_SC_NPROCESSORS_CONF)));
    EXPECT_FALSE(info.init_from_cpuid());
    other.join();
}

}  // namespace

#include "system/cpu_info.h"

#include "support/test.h"

namespace {

vesta2::CpuInfo scanned(const std::string& content) {
    std::istringstream text(content);
    vesta2::CpuInfo info;
    vesta2::scanCpuInfo(text, info);
    return info;
}

TEST(CpuInfo, TellsTheFrequency) {
    const auto filled = [](std::size_t length) { return std::string(length, 'x'); };
    // By the scan for everything, and by the one for the frequency alone.
    for (const auto& [content, all, alone] : Rows<std::string, double, double>{
             {"model name\t: CPU E5 v4 @ 2.40GHz\ncpu MHz\t\t: 1200.123\n", 2.4e9, 2.4e9},
             {"model name\t: 7B13\ncpu  \t MHz \t : \t 2449.998", 2449998000, 2449998000},
             {std::string("model name\0: A \t\v4.10GHz\n", 26), 4.1e9, 4.1e9},
             {"model name\t: Old 800MHz\n", 8e8, 8e8},
             // The first that tells decides; a clock of 0 ends only the scan for the frequency.
             {"model name : A\nmodel name : B 2GHz\nmodel name : C 3GHz\n", 2e9, 2e9},
             {"cpu MHz : 0\ncpu MHz : 5\n", 5e6, 0},
             // Lines longer than the buffers of 2500 and 128 bytes are taken in pieces.
             {"model name :" + filled(110) + " 2.40GHz\n", 2.4e9, 0},
             {"model name :" + filled(108) + " 2.40GHz\n", 2.4e9, 2.4e9},
             {filled(127) + "cpu MHz : 7\n", 0, 7e6},
             {filled(2499) + "cpu MHz : 7\n", 7e6, 0}}) {
        std::istringstream text(content);
        EXPECT_EQ(static_cast<double>(scanned(content).frequency), all) << content;
        EXPECT_EQ(static_cast<double>(vesta2::scanCpuFrequency(text)), alone) << content;
    }
    // Not where or how it should be, or damaged.
    for (const std::string text :
         {"", "x cpu MHz : 100", "CPU MHz : 100", "cpu MHz 100", "model name2.4GHz",
          "model name\t: A 2.4 GHz", "model name\t: A 2.4", "model name\t: A GHz", "cpu MHz : abc",
          "cpu MHz : nan", "cpu MHz : -5", "cpu MHz : 1e300", "cpu MHz : 1e99999", "cpu MHz : "}) {
        EXPECT_EQ(scanned(text + "\n").frequency, 0U) << text;
    }
}

TEST(CpuInfo, TellsTheExtensions) {
    const std::string clock = "cpu MHz : 1\n";
    // The greatest of each family, and the length of the widest vector.
    for (const auto& [content, expected] : Rows<std::string, std::string>{
             {"flags : fpu mmx sse sse2 sse3 ssse3 sse4 sse4_1 sse4_2 avx avx2 avx512 x\n",
              "1 8 11 512"},
             // The last token of a line is not looked at.
             {"flags : mmx sse sse2 avx avx2\n", "1 3 9 256"},
             // The last of a family counts, but the widest vector.
             {"flags : avx512 avx sse4_2 sse x\n", "0 2 9 512"},
             // Names that are not exactly known, and a line that is not about flags.
             {"flags : pni avx512f mmxext SSE2 sse4a avx2\t x\nfeatures : mmx x\n", "0 0 0 0"},
             // The first processor that tells both ends the scan.
             {clock + "flags : sse x\n\n" + clock + "flags : avx x\n", "0 2 0 128"},
             {"flags : sse x\nflags : avx x\n" + clock, "0 2 9 256"},
             // A token across the border of two pieces is lost, and so is all behind it.
             {"flags " + std::string(2484, 'x') + " avx avx2 mmx x\n", "0 0 9 256"}}) {
        const vesta2::CpuInfo info = scanned(content);
        std::ostringstream found;
        found << info.isa.mmx << ' ' << info.isa.sse << ' ' << info.isa.avx << ' '
              << info.maxVectorLength;
        EXPECT_EQ(found.str(), expected) << content;
    }
}

}  // namespace

#pragma once
/// The host's processors: how many, how fast, and their vector instructions.
///
/// The facts are gathered once per process, by the first object made, and every query takes a lock:
/// any thread may use any object.

#include <cstdint>

#include "vesta2/export.h"

namespace vesta2 {

class VESTA2_API SystemInfo {
public:
    /// Instruction-set extensions, oldest first within a family.
    enum IsaExtensions : std::int32_t {
        isaNone = 0,
        isaMmx = 1,
        isaSse = 2,
        isaSse2 = 3,
        isaSse3 = 4,
        isaSsse3 = 5,
        isaSse4 = 6,
        isaSse4_1 = 7,
        isaSse4_2 = 8,
        isaAvx = 9,
        isaAvx2 = 10,
        isaAvx512 = 11,
    };

    /// The extension of each family. Ordered by AVX, then by SSE.
    /// Deliberate: MMX takes no part in any comparison.
    struct VESTA2_API IsaInfo {
        std::int32_t mmx = 0;
        std::int32_t sse = 0;
        std::int32_t avx = 0;

        friend bool operator<(const IsaInfo& a, const IsaInfo& b) {
            return a.avx != b.avx ? a.avx < b.avx : a.sse < b.sse;
        }
        friend bool operator>(const IsaInfo& a, const IsaInfo& b) { return b < a; }
        friend bool operator==(const IsaInfo& a, const IsaInfo& b) {
            return a.avx == b.avx && a.sse == b.sse;
        }
    };

    /// Gathers the facts, unless they are known already.
    SystemInfo();

    /// Logical processors that are configured.
    std::uint32_t cpuCount();
    /// In Hz; 0 when unknown.
    std::uint64_t cpuFrequency();
    IsaExtensions mmxMax();
    IsaExtensions sseMax();
    IsaExtensions avxMax();
    IsaInfo getIsa();
    /// The widest vector, in bits.
    int get_max_vector_length();

    /// The extension that the kernel abbreviates as `name`, and its vector width; both 0 when
    /// `name` is null or unknown.
    static void getInfoFromAbbreviation(const char* name, IsaExtensions& id, int& vectorBits);
    static IsaExtensions getIsaType(const char* name);

    /// Asks the processor itself.
    /// Deliberate: always false; what the operating system reports decides.
    bool init_from_cpuid();
    /// Reads /proc/cpuinfo into the facts of the process; false when it cannot be read.
    bool init_from_os();
};

}  // namespace vesta2

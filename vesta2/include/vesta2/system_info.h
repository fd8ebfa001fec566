#pragma once
/// The host's processors: how many, how fast, and their vector instructions.
///
/// Any thread may use any object: the facts are gathered once per process, by the first object that
/// is made, and every query takes a lock.

#include <cstdint>

#include "vesta2/export.h"

namespace vesta2 {

/// Has no data of its own: an object costs nothing, and a new fact changes no caller.
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

    /// Returns: how many logical processors are configured, also those that are not online.
    std::uint32_t cpuCount();
    /// Returns: the frequency in Hz; 0 when unknown.
    std::uint64_t cpuFrequency();
    /// Returns: the newest extension of the family that the operating system reports; `isaNone`
    /// without one.
    IsaExtensions mmxMax();
    IsaExtensions sseMax();
    IsaExtensions avxMax();
    /// Returns: the three together.
    IsaInfo getIsa();
    /// Returns: the width of the widest vector in bits; 0 without any.
    int get_max_vector_length();

    /// Looks up the extension that the kernel abbreviates as `name`, such as "avx2".
    /// Returns: in `id` the extension, in `vectorBits` the width of its vectors; both 0 when `name`
    /// is null or unknown.
    static void getInfoFromAbbreviation(const char* name, IsaExtensions& id, int& vectorBits);
    /// Returns: as `getInfoFromAbbreviation`, the extension alone.
    static IsaExtensions getIsaType(const char* name);

    /// Asks the processor itself.
    /// Deliberate: always false; what the operating system reports decides.
    bool init_from_cpuid();
    /// Gathers the facts of the process anew, from /proc/cpuinfo.
    /// Returns: false when it cannot be read; the facts then stay as they were.
    bool init_from_os();
};

}  // namespace vesta2

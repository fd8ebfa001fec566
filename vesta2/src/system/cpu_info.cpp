#include "cpu_info.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <optional>
#include <string>
#include <string_view>

namespace vesta2 {
namespace {

enum CpuidRegister : std::int32_t { noRegister = 0, ebx = 1, ecx = 2, edx = 3 };

struct Extension {
    SystemInfo::IsaExtensions id;
    const char* abbreviation;
    std::uint32_t leaf;
    CpuidRegister reg;
    std::int32_t bit;
    std::int32_t vectorBits;
};

constexpr std::uint32_t noLeaf = 4294967294;

// Where the processor itself tells (leaf, register, bit) is kept for a detector that asks it.
constexpr std::array<Extension, 1> mmxTable{{
    {SystemInfo::isaMmx, "mmx", 1, edx, 23, 64},
}};
constexpr std::array<Extension, 7> sseTable{{
    {SystemInfo::isaSse, "sse", 1, edx, 25, 128},
    {SystemInfo::isaSse2, "sse2", 1, edx, 26, 128},
    {SystemInfo::isaSse3, "sse3", 1, ecx, 0, 128},
    {SystemInfo::isaSsse3, "ssse3", 1, ecx, 9, 128},
    {SystemInfo::isaSse4, "sse4", noLeaf, noRegister, 0, 128},
    {SystemInfo::isaSse4_1, "sse4_1", 1, ecx, 19, 128},
    {SystemInfo::isaSse4_2, "sse4_2", 1, ecx, 20, 128},
}};
constexpr std::array<Extension, 9> avxTable{{
    {SystemInfo::isaAvx, "avx", 1, ecx, 28, 256},
    {SystemInfo::isaAvx2, "avx2", 7, ebx, 5, 256},
    {SystemInfo::isaAvx512, "avx512", 7, ebx, 16, 512},
    {SystemInfo::isaAvx512, "avx512", 7, ebx, 28, 512},
    {SystemInfo::isaAvx512, "avx512", 7, ebx, 26, 512},
    {SystemInfo::isaAvx512, "avx512", 7, ebx, 27, 512},
    {SystemInfo::isaAvx512, "avx512", 7, ebx, 31, 512},
    {SystemInfo::isaAvx512, "avx512", 7, ebx, 30, 512},
    {SystemInfo::isaAvx512, "avx512", 7, ebx, 17, 512},
}};

template <std::size_t Rows>
const Extension* findExtension(const std::array<Extension, Rows>& table, std::string_view name) {
    const auto row = std::find_if(table.begin(), table.end(), [name](const Extension& extension) {
        return name == extension.abbreviation;
    });
    return row == table.end() ? nullptr : &*row;
}

constexpr std::size_t infoLineLength = 2500 - 1;
constexpr std::size_t frequencyLineLength = 128 - 1;

/// The next line, or the next `limit` bytes of one that is longer; with its line end, as far as it
/// has one.
std::optional<std::string> readPiece(std::istream& text, std::size_t limit) {
    std::string piece;
    for (char c = 0; piece.size() < limit && text.get(c);) {
        piece += c;
        if (c == '\n') {
            break;
        }
    }
    return piece.empty() ? std::nullopt : std::optional(piece);
}

/// Removes `words` from the front of `text`; white space in `words` stands for any amount of it.
bool take(std::string_view& text, std::string_view words) {
    for (const char c : words) {
        if (c == ' ') {
            text.remove_prefix(std::min(text.find_first_not_of(" \t\n\v\f\r"), text.size()));
        } else if (!text.empty() && text.front() == c) {
            text.remove_prefix(1);
        } else {
            return false;
        }
    }
    return true;
}

/// Removes a decimal number from the front of `text`. Unlike the scanners of the C library it reads
/// the same number in every locale.
std::optional<double> takeNumber(std::string_view& text) {
    double value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc()) {
        return std::nullopt;
    }
    text.remove_prefix(static_cast<std::size_t>(end - text.data()));
    return value;
}

/// The frequency at the end of a model's name, such as "2.40GHz"; 0 when there is none.
double readModelFrequency(std::string_view line) {
    const std::size_t space = line.rfind(' ');
    std::string_view text = line.substr(space == std::string_view::npos ? line.size() : space + 1);
    take(text, " ");
    const std::optional<double> value = takeNumber(text);
    if (!value || text.empty()) {
        return 0;
    }
    return text.front() == 'M' ? *value * 1e6 : text.front() == 'G' ? *value * 1e9 : 0;
}

/// The frequency in Hz that a line tells: nothing when it is about something else, 0 when it is the
/// model's name without a frequency.
std::optional<double> readFrequency(std::string_view line) {
    if (line.find("model name") != std::string_view::npos) {
        return readModelFrequency(line);
    }
    std::optional<double> megahertz;
    if (take(line, "cpu MHz : ")) {
        megahertz = takeNumber(line);
    }
    return megahertz ? std::optional(*megahertz * 1e6) : std::nullopt;
}

/// A product of decimals is a little off: 4.10 GHz are 4100000000 Hz, not one less. A frequency
/// that no processor has, such as a damaged text may hold, is none.
std::uint64_t toHertz(double frequency) {
    return frequency >= 0 && frequency < 1e18 ? static_cast<std::uint64_t>(std::llround(frequency))
                                              : 0;
}

void takeFlag(const std::string& token, CpuInfo& info) {
    SystemInfo::IsaExtensions id = SystemInfo::isaNone;
    int vectorBits = 0;
    SystemInfo::getInfoFromAbbreviation(token.c_str(), id, vectorBits);
    if (id == SystemInfo::isaNone) {
        return;
    }
    if (id >= SystemInfo::isaAvx) {
        info.isa.avx = id;
    } else if (id >= SystemInfo::isaSse) {
        info.isa.sse = id;
    } else {
        info.isa.mmx = id;
    }
    info.maxVectorLength = std::max(info.maxVectorLength, vectorBits);
}

void takeFlags(const std::string& line, CpuInfo& info) {
    std::size_t begin = 0;
    for (std::size_t end = line.find(' '); end != std::string::npos; end = line.find(' ', begin)) {
        takeFlag(line.substr(begin, end - begin), info);
        begin = end + 1;
    }
}

}  // namespace

void scanCpuInfo(std::istream& text, CpuInfo& info) {
    bool flagsSeen = false;
    while (const std::optional<std::string> line = readPiece(text, infoLineLength)) {
        if (info.frequency == 0) {
            info.frequency = toHertz(readFrequency(*line).value_or(0));
        }
        if (line->find("flags") != std::string::npos) {
            flagsSeen = true;
            takeFlags(*line, info);
        }
        if (flagsSeen && info.frequency != 0) {
            return;
        }
    }
}

std::uint64_t scanCpuFrequency(std::istream& text) {
    while (const std::optional<std::string> line = readPiece(text, frequencyLineLength)) {
        const std::optional<double> frequency = readFrequency(*line);
        // A model's name without a frequency does not end the search, a clock does, even at 0.
        const bool isClock = line->find("model name") == std::string::npos;
        if (frequency && (isClock || *frequency != 0)) {
            return toHertz(*frequency);
        }
    }
    return 0;
}

void SystemInfo::getInfoFromAbbreviation(const char* name, IsaExtensions& id, int& vectorBits) {
    id = isaNone;
    vectorBits = 0;
    if (!name) {
        return;
    }
    const Extension* row = findExtension(mmxTable, name);
    row = row ? row : findExtension(sseTable, name);
    row = row ? row : findExtension(avxTable, name);
    if (row) {
        id = row->id;
        vectorBits = row->vectorBits;
    }
}

SystemInfo::IsaExtensions SystemInfo::getIsaType(const char* name) {
    IsaExtensions id = isaNone;
    int vectorBits = 0;
    getInfoFromAbbreviation(name, id, vectorBits);
    return id;
}

}  // namespace vesta2

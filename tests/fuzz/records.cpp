#include <fcntl.h>

#include "basekit2/bag_io.h"
#include "basekit2/descriptor.h"
#include "fuzz.h"
#include "support/temp_directory.h"
#include "util/flag_data.h"
#include "util/flag_record.h"
#include "vesta/model/link_file.h"
#include "vesta2/path_completion.h"

namespace {

using namespace vesta2;
using basekit2::variant_bag_t;
using fuzz::require;

const support::TempDirectory directory;
const std::string path = directory / "a.zentorlink";

auto readRecord(const std::string& text, variant_bag_t& record) {
    support::writeFile(path, text);
    return util::readRecord(basekit2::descriptor_t(::open(path.c_str(), O_RDONLY)).get(), record);
}

/// A record is the bag before the first NUL, whatever is behind it.
void judgeRecord(const std::string& text) {
    variant_bag_t record;
    variant_bag_t same;
    const auto result = readRecord(text, record);
    const int loaded = basekit2::load_variant_bag_from_string(same, text.c_str());
    const auto failure = text.empty() ? eNotFound : eSerializationError;
    require(result == (loaded == basekit2::bag_ok ? eOK : failure) && record == same);
    util::isReclaimable(record);
    util::fillRecord(record);
    std::string written;
    basekit2::save_variant_bag_to_string(record, written);
    require(readRecord(written + '\0' + text.substr(0, 64), same) == eOK && same == record);
    require(util::FlagData(same).getTimestamp() > 0);
}

/// A link file is replaced by one that leads to the marker, or it stays as it is.
void judgeLink(const std::string& name, const std::string& text) {
    support::writeFile(path, text);
    const LinkFile found = readLinkFile(path);
    const std::string& target = found.target;
    require(found.state != marker_state_t::read ||
            (target.starts_with('/') && target.find('\0') == target.npos &&
             target == normalPath(target)));
    const std::string marker =
        completePath((name + "x.zentor").c_str(), directory.path().c_str()).native();
    // With that of the link itself it is left alone, if it leads here.
    const std::string checksum = found.checksum.empty() ? text.substr(0, 64) : found.checksum;
    const bool isFree = whereLeads(found, {marker, ""}) != Leads::elsewhere;
    const auto result = rewriteLinkFile({path, {}}, found, {marker, ""}, checksum);
    require(result == (isFree ? eOK : eAlreadyExists));
    const LinkFile now = readLinkFile(path);
    require(isFree ? now.target == normalPath(marker) && now.checksum == checksum
                   : support::readFile(path) == text);
}

}  // namespace

void fuzz::judge(std::string_view input) {
    judgeRecord(std::string(input));
    const std::string name = takeLine(input, 100);
    judgeLink(name.substr(0, name.find('\0')), std::string(input));
}

#pragma once
/// Text conversions that depend on no locale.

#include <string>
#include <string_view>

namespace platkit {

namespace strings {

/// `text` in upper case, character by character, as Unicode has it. Bytes that are not UTF-8 stay.
std::string to_upper(std::string_view text);

}  // namespace strings

/// The decimal integer that `text` is from end to end, an optional minus sign included; 0 when it
/// is no such number or does not fit an int.
int generic_convert(std::string_view text);

}  // namespace platkit

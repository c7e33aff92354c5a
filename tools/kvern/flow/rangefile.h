// Ranges of keys as text, by which several runs on several machines deal alike:
//
//   kvern ranges of 10-byte keys
//   616C7068612020202020
//   6E6F72642020202020FF
//
// the first key of each range but the first one, ascending, as hexadecimal digits.
#pragma once

#include "kvern/flow/ranges.h"

#include <string>

namespace command {

std::string rangetext(const keyranges &ranges, size_t keybytes);
// Throws where the file holds no ranges, or those of other keys.
keyranges readranges(const std::string &path, size_t keybytes);

} // namespace command

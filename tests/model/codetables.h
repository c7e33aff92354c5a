#pragma once

#include "support/sessionspec.h"

namespace kvern::test {

// Tables of 256 bytes by variant 0, 1 or 2.
[[nodiscard]] const bytes &ebcdic_to_ascii(unsigned altmode);
[[nodiscard]] const bytes &ascii_to_ebcdic(unsigned altmode);
[[nodiscard]] bytes translated(bytes text, const bytes &table);

} // namespace kvern::test

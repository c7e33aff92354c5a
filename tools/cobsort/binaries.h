// Binary keys: COMP, COMP-5, COMP-X of 1 to 8 bytes.
#pragma once

#include "cobsort/coder.h"

#include "cobsort/cobol.h"

namespace cobsort {

// How a binary field at byte `at` of the record is coded.  False: its width is none of these.
bool choosebinary(const cob_field &field, uint32_t at, coder &how);

} // namespace cobsort

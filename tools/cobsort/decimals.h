// Decimal keys: DISPLAY digits and packed ones, with all signs.
#pragma once

#include "cobsort/coder.h"

#include "cobsort/cobol.h"

namespace cobsort {

// How a DISPLAY or packed field at byte `at` of the record is coded.  False: it is none that
// versions of the run-time read alike.
bool choosezoned(const cob_field &field, uint32_t at, coder &how);
bool choosepacked(const cob_field &field, uint32_t at, coder &how);

} // namespace cobsort

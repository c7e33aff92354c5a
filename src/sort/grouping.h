// The held record: of records of equal key one is kept (or summed into).
#pragma once

#include "sort/record/emit.h"

namespace kvern {

// The in-core `deliver`: plain by record form, or grouping (recfunc not 0).
[[nodiscard]] deliverroutine choosedeliver(const qha5ctx *ctx);

} // namespace kvern

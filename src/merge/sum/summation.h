// Summation of two records with equal keys: the fields of the first take the sums.
//
// `sumrebuild` (merge_fields.h) folds a pair of internal records entirely or not at
// all.  A sum that cannot be made is no failure of the session: the records stay as
// they are, and the caller's block gets the detail.
//
//   overflow             message 41, detail 115 in the caller's block alone
//   field not there      message 42, detail 116 likewise
//   unusable text number message 41, detail 241; the session fails at its end
//   type without adder   message 43, detail 250; -1, the session fails at once
#pragma once

#include "session/context.h"

namespace kvern {

using sumroutine = int32_t (*)(qha5ctx *ctx, uint8_t *held, const uint8_t *record);

// The routine for the session's form; chooses the adder of each row of sumspec too.
// Reads recform, fieldmode and cdmode.  By field numbers the routine needs
// fieldscanlen, sumfields1 and sumfields2, always sumbuf.
[[nodiscard]] sumroutine choosesum(const qha5ctx *ctx);

} // namespace kvern

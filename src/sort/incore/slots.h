// The pool of record slots and the in-core sort over it.
//
// In this folder: comparison of keys (keycompare, keywidth), quicksort, the tree of
// losers, the slots.  They know key areas and pointers; what a record is, they do not.
// In order: layoutpool at set-up; addslots while records come; sortslots when the input has
// ended.
#pragma once

#include "session/context.h"

namespace kvern {

// Lays out slotptrs and the slots, of which none is ready, over [next, next + left).  0, or
// -1 with message 23.
[[nodiscard]] int layoutpool(qha5ctx *ctx, uint8_t *next, uint32_t left);

// Makes some more slots ready, chained and cleared; false when all are.
[[nodiscard]] bool addslots(qha5ctx *ctx);

// Puts the first n slots of the chain at slotfirst into slotptrs, ascending.
// 0; -1 stopped (silently) or a logic error.  Counts a string.
[[nodiscard]] int sortslots(qha5ctx *ctx, uint32_t n);

} // namespace kvern

// What becomes of records with equal keys, in every function that knows keys: all stay,
// one of them stays, or their sum fields are folded into one.
//
// Here: the decision, the counts, and the sums in each number format (adders.h).  Left
// to others: who is held and when he goes out, which differs by function
// (sort/grouping.cpp, sort/external/groupemit.cpp, merge/mergeemit.cpp).  In order:
// layoutsums and beginfolding at set-up; meetequal for a pair; foldedcount, notefolded
// at the end.
//
// A sum that cannot be made ends folding for the whole session (`folding` is rf_none from
// then on): both records go out, and all that follow.
#pragma once

#include "session/workspace.h"

namespace kvern {

// At set-up, with recfunc known: chooses the routines.
void beginfolding(qha5ctx *ctx);
// Room for the sums of one pair, nothing where none are made.  0, or -1 with message 23.
[[nodiscard]] int layoutsums(qha5ctx *ctx, workspace &space);

inline bool isfolding(const qha5ctx *ctx) {
    return ctx->folding != rf_none;
}

enum class meeting { failed, absorbed, apart };

// `other`, whose key equals that of `kept`, is folded into it and counted, or they stay
// apart.  While isfolding.
meeting meetequal(qha5ctx *ctx, uint8_t *kept, const uint8_t *other);

// Every record that folding made away with.
inline uint32_t foldedcount(const qha5ctx *ctx) {
    return ctx->suppresscount + ctx->sumcount;
}
// The statistics points of both counts, for the options that are on.
void notefolded(qha5ctx *ctx, int level);

} // namespace kvern

// The list of index entries in memory, on which block ordering (highest key first)
// and the final merge (lowest key first) work.
//
//   idxlist -> | d | -> | d | -> | x | -> | d | -> sentinel (kind e, links to itself)
//   idxfree -> |   | -> |   | -> null
//
// An x entry stands for a group of entries that lie in an index WB on disk; its key
// is that of the group's first, so the list is in order as it stands.  When entries
// run short, the last idxperwb entries of the list become such a group:
//
//   before  9 8 7 6 5 4 sentinel       free: one     idxperwb 3
//   after   9 8 7 x6 sentinel          on disk: 6 5 4; two entries won
//
// Invariants: idxcount is the number of entries in the list, the sentinel included;
// idxfree is never empty; the end is told by the sentinel's kind, never by a key.
// A free entry names a file only if the WB there was read and its place may be
// written over.
#pragma once

#include "session/context.h"
#include "sort/external/diskimage.h"

namespace kvern {

// Source entries in a block, from the next one on.
struct entrysource {
    const uint8_t *next;
    uint32_t left;
};

// A chain of entries taken from a source, in the source's order.
struct entrychain {
    idxentry *first;
    idxentry *last;
};

// Lays `count` entries from `area` on into idxfree, in address order.
void layentries(qha5ctx *ctx, uint8_t *area, uint32_t count);

inline bool onefree(const qha5ctx *ctx) {
    return ctx->idxfree->link == nullptr;
}
idxentry *takeentry(qha5ctx *ctx);
// Gives back an entry that names no place to be written over.
void dropentry(qha5ctx *ctx, idxentry *entry);

// Copies all of an entry but the link.
void copyentry(const qha5ctx *ctx, idxentry *to, const uint8_t *from);

// Takes entries for the source as long as two are free.
[[nodiscard]] entrychain takechain(qha5ctx *ctx, entrysource *source);

// Writes the last idxperwb entries of the list to `image`, turns the first of them
// into an x entry for the place of `wb`, and takes the entries won for what is left
// in the source (which may lie in `image`: it is read ahead of the writing).  `*at`,
// a link in the list, is moved off the group.  False: entries do not suffice.
[[nodiscard]] bool evictgroup(qha5ctx *ctx, const blockhdr *wb, uint8_t *image, entrysource *source,
                              idxentry ***at, entrychain *taken);

// Which entries of the list stay in front of a new one with the given key.
enum class listorder {
    falling_front, // falling keys; a new one goes in front of its equals
    falling_back,  // falling keys, behind its equals
    rising_back    // rising keys, behind its equals
};

// Merges a chain that is in the list's order into the list from the link `at` on, in
// one walk.  The link behind the last entry that was placed.
template <listorder order>
idxentry **mergechain(qha5ctx *ctx, idxentry **at, idxentry *chain);

// The chain by falling keys, of equal keys the later first.
[[nodiscard]] idxentry *sortfalling(const qha5ctx *ctx, idxentry *chain);

// The x entry, second in idxlist, gives way to the entries of its group, read into
// `buffer`.  0, or -1.
[[nodiscard]] int expandgroup(qha5ctx *ctx, idxentry *group, blockhdr *buffer);

// Debug builds: idxcount and the order of kinds are as told above.
bool listholds(const qha5ctx *ctx);

} // namespace kvern

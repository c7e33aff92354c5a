// The ordered list of a merge: the nodes that wait, one an input at most, the one
// that goes out next at the end of an array.
//
//   nodelist   9/0   7/2   4/3   4/1        key/input; head is 4/1
//   insert 7/1:
//   nodelist   9/0   7/2   7/1   4/3   4/1
//
// Of equal keys the lower input goes first.  Order invariant: each entry goes before
// all entries at lower indices.  Inserting takes one comparison where the record goes
// out at once, as in inputs that do not interleave, and otherwise the base-2 logarithm
// of the inputs; only pointers move.
#pragma once

#include "session/context.h"
#include "sort/incore/keywidth.h"

namespace kvern {

template <uint32_t width>
inline bool nodebefore(const keyorder<width> &order, const mergenode *a, const mergenode *b) {
    const int against = order.compare(a->image(), b->image());
    return against < 0 || (against == 0 && a->input < b->input);
}

inline mergenode *headnode(const qha5ctx *ctx) {
    return ctx->nodelist[ctx->nodecount - 1];
}

template <uint32_t width>
inline void insertnode(qha5ctx *ctx, const keyorder<width> &order, mergenode *node) {
    mergenode **const list = ctx->nodelist;
    const uint32_t count = ctx->nodecount++;
    if (count == 0 || nodebefore(order, node, list[count - 1])) {
        list[count] = node;
        return;
    }
    uint32_t low = 0;
    uint32_t high = count - 1; // this entry goes before the node, those below low after it
    while (low < high) {
        const uint32_t middle = (low + high) / 2;
        if (nodebefore(order, node, list[middle]))
            low = middle + 1;
        else
            high = middle;
    }
    for (uint32_t at = count; at != low; at--)
        list[at] = list[at - 1];
    list[low] = node;
}

// The head becomes curnode and leaves the list.
inline void takeheadnode(qha5ctx *ctx) {
    ctx->curnode = ctx->nodelist[--ctx->nodecount];
}

} // namespace kvern

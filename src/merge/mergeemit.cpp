// Without treatment of equal keys the head of the list goes out and is curnode until
// its input has given the next record.  With it curnode is the record held back, and
// goes out when a head with another key follows:
//
//   curnode  4/1            4/3            7/1
//   head     4/3 equal      7/1 differs    none left
//   out      (dropped)      4/3            7/1
//
// So of a group the last in list order survives, that of the highest input: intended,
// though a sort keeps the first.  Likewise a sum is carried forward in the later
// record.  Once summation has stopped the routine goes on writing one
// record behind the list.
//
// There is always room for the first record: a block holds one, and the room for
// another is tested behind each.
#include "merge/routines.h"

#include "merge/mergelist.h"
#include "merge/sum/equalkeys.h"
#include "session/qha9msg.h"
#include "sort/convert/emit.h"
#include "sort/record/recordform.h"

namespace kvern {
namespace {

enum : int32_t { room = 0, full = 1, failed = -1 };

int32_t write(qha5ctx *ctx, const mergenode *node) {
    blockhdr *block = ctx->outfill;
    if (ctx->plainemit(ctx, block, node->image()) != 0)
        return faillogic(ctx);
    ++block->count;
    return room;
}

template <uint32_t extra>
int32_t roomleft(const qha5ctx *ctx) {
    const blockhdr *block = ctx->outfill;
    const auto wanted = static_cast<ptrdiff_t>(ctx->outreclen) + static_cast<ptrdiff_t>(extra);
    return block->end - block->next < wanted ? full : room;
}

void followhead(qha5ctx *ctx) {
    ctx->freenodes = ctx->curnode;
    takeheadnode(ctx);
}

// ---- plain -----------------------------------------------------------------

template <uint32_t extra>
int32_t emithead(qha5ctx *ctx) {
    if (ctx->nodecount == 0) {
        ctx->curnode = nullptr;
        return full;
    }
    followhead(ctx);
    return write(ctx, ctx->curnode) == room ? roomleft<extra>(ctx) : failed;
}

// ---- equal keys ------------------------------------------------------------

// Of equal records the later one takes the sums.
template <uint32_t width>
meeting meethead(qha5ctx *ctx) {
    if (!isfolding(ctx))
        return meeting::apart;
    mergenode *head = headnode(ctx);
    const keyorder<width> order(ctx->keylen);
    if (order.compare(head->image(), ctx->curnode->image()) != 0)
        return meeting::apart;
    return meetequal(ctx, head->image(), ctx->curnode->image());
}

template <uint32_t width, uint32_t extra>
int32_t emitheld(qha5ctx *ctx) {
    if (ctx->nodecount == 0) {
        const int32_t written = write(ctx, ctx->curnode);
        ctx->curnode = nullptr;
        return written == room ? full : failed;
    }
    switch (meethead<width>(ctx)) {
    case meeting::failed:
        return failed;
    case meeting::absorbed:
        followhead(ctx);
        return room;
    case meeting::apart:
        break;
    }
    if (write(ctx, ctx->curnode) != room)
        return failed;
    followhead(ctx);
    return roomleft<extra>(ctx);
}

// ---- choice ----------------------------------------------------------------

using emitter = decltype(merge_fields::emitfn);

template <uint32_t extra>
constexpr widthrow<emitter> heldemits[] = {
    {4, emitheld<4, extra>},   {8, emitheld<8, extra>},   {12, emitheld<12, extra>},
    {16, emitheld<16, extra>}, {20, emitheld<20, extra>}, {0, emitheld<0, extra>},
};

template <uint32_t extra>
emitter chooseby(const qha5ctx *ctx) {
    return ctx->recfunc == rf_none ? emithead<extra> : forwidth(heldemits<extra>, ctx->keylen);
}

} // namespace

emitter chooseemitfn(qha5ctx *ctx) {
    wireemit(ctx);
    return isvariable(ctx) ? chooseby<lengthword>(ctx) : chooseby<0>(ctx);
}

} // namespace kvern

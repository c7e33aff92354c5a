// The working storage of a merge, front to back:
//
//   sumbuf | selection operands | recwork | keyscratch | nodes | mergectl |
//   inputblocks | nodelist | partial lines | field tables |
//   mergecount + 1 blocks of one size: output, then one for each input
//
// There is a node more than inputs, so that a record can be read in before the one
// ahead of it has gone out.
#include "merge/merge.h"

#include "key/text/fieldtables.h"
#include "key/text/textfields.h"
#include "merge/routines.h"
#include "merge/sum/equalkeys.h"
#include "select/select.h"
#include "session/phaseclock.h"
#include "sort/convert/intake.h"
#include "sort/convert/probe.h"
#include "sort/record/blocks.h"
#include "sort/record/recordform.h"

#include <algorithm>
#include <cstring>

namespace kvern {
namespace {

uint64_t nodestride(const qha5ctx *ctx) {
    return arenaround(sizeof(mergenode) + uint64_t{ctx->intreclen});
}

int takebuffers(qha5ctx *ctx, workspace &space) {
    if (layoutsums(ctx, space) != 0)
        return -1;
    if (ctx->selectopt) {
        auto *operands = carve<uint8_t>(ctx, space, operandroom(ctx), KVRN_D_SETUP);
        if (operands == nullptr)
            return -1;
        layoutoperands(ctx, operands);
    }
    return layoutwork(ctx, space);
}

// Cleared, for no encoder writes the filler of a key area, and chained.
void chainnodes(qha5ctx *ctx, uint8_t *nodes, uint64_t count) {
    const uint64_t stride = nodestride(ctx);
    memset(nodes, 0, static_cast<size_t>(stride * count));
    mergenode *chain = nullptr;
    for (uint64_t i = count; i-- != 0;) {
        auto *node = reinterpret_cast<mergenode *>(nodes + stride * i);
        node->next = chain;
        chain = node;
    }
    ctx->freenodes = chain;
    // The plain way out gives the node of the record that went out before; the first
    // time there is none.
    if (ctx->recfunc == rf_none) {
        ctx->curnode = chain;
        ctx->freenodes = chain->next;
    }
}

// One for each input, null.
template <typename Object>
Object **takepointers(qha5ctx *ctx, workspace &space) {
    uint8_t *taken = carve<uint8_t>(ctx, space, sizeof(void *) * uint64_t{ctx->mergecount});
    auto **pointers = reinterpret_cast<Object **>(taken);
    if (pointers != nullptr)
        std::fill_n(pointers, ctx->mergecount, nullptr);
    return pointers;
}

int takenodes(qha5ctx *ctx, workspace &space) {
    const uint64_t count = uint64_t{ctx->mergecount} + 1;
    uint8_t *nodes = carve<uint8_t>(ctx, space, nodestride(ctx) * count, KVRN_D_SETUP);
    if (nodes == nullptr)
        return -1;
    chainnodes(ctx, nodes, count);
    ctx->mergectl = carve<mergecontrol>(ctx, space, 1);
    if (ctx->mergectl == nullptr)
        return -1;
    *ctx->mergectl = mergecontrol{};
    ctx->mergectl->needinput = true;
    ctx->inputblocks = takepointers<blockhdr>(ctx, space);
    ctx->nodelist = ctx->inputblocks != nullptr ? takepointers<mergenode>(ctx, space) : nullptr;
    return ctx->nodelist != nullptr ? 0 : -1;
}

int taketext(qha5ctx *ctx, workspace &space) {
    if (!layoutcarry(ctx, space, ctx->mergecount))
        return fail(ctx, msg_nostorage, KVRN_D_SETUP);
    if (ctx->fieldmode != KVRN_FIELDS)
        return 0;
    wirescanners(ctx);
    if (ctx->recfunc == rf_sum && layoutsumrows(ctx, space) != 0)
        return -1;
    return layouttables(ctx, space);
}

void wiremerge(qha5ctx *ctx) {
    wireencode(ctx);
    wireprobe(ctx);
    beginfolding(ctx);
    if (ctx->selectopt)
        chooseselect(ctx);
    ctx->selectfn = chooseselector(ctx);
    ctx->nextrecfn = choosenext(ctx);
    ctx->emitfn = chooseemitfn(ctx);
}

// ---- blocks ----------------------------------------------------------------

// With the caller at both ends a block holds one record.
blockuse blocksuse(const qha5ctx *ctx, uint64_t room) {
    if (!ctx->apiinput || !ctx->apioutput)
        return useof(ctx, room);
    const uint64_t prefix = prefixof(formof(ctx));
    const blockuse one = {ctx->inreclen + prefix, ctx->outreclen + prefix};
    return room < std::max(one.in, one.out) ? blockuse{} : one;
}

// Room in a data area is a multiple of 4 bytes, so that the longest variable record
// fits with its padding as well.
int layblocks(qha5ctx *ctx, workspace &space) {
    const uint32_t size =
        ctx->mergecount < space.left ? shareblocks(ctx, space.left, ctx->mergecount + 1) : 0;
    const uint64_t room = size > sizeof(blockhdr) ? size - sizeof(blockhdr) : 0;
    const blockuse use = blocksuse(ctx, room);
    if (use.in == 0)
        return fail(ctx, msg_nostorage, KVRN_D_STORAGE);
    setlengths(ctx, use);
    ctx->idleblocks = nullptr;
    for (uint32_t i = ctx->mergecount; i != 0; i--) {
        blockhdr *block = layblock(space.next + uint64_t{size} * i, ctx->inblklen);
        block->link = ctx->idleblocks;
        ctx->idleblocks = block;
    }
    ctx->outfill = layblock(space.next, ctx->outblklen);
    arenaleave(ctx, {space.next + uint64_t{size} * (uint64_t{ctx->mergecount} + 1),
                     space.left - size * (ctx->mergecount + 1)});
    return 0;
}

} // namespace

int preparemerge(qha5ctx *ctx) {
    markphase(ctx);
    workspace space = arenarest(ctx);
    if (takebuffers(ctx, space) != 0 || takenodes(ctx, space) != 0 || taketext(ctx, space) != 0)
        return -1;
    wiremerge(ctx);
    return layblocks(ctx, space);
}

} // namespace kvern

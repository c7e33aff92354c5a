// The fill is called once for each block until all inputs stand in the list; the
// steady state then goes record by record:
//
//   list + spare node   the next record of curnode's input joins the list, where that
//                       input has not ended
//   emit                the head goes out (or is held) and is curnode; what was
//                       curnode is the spare node
//   next record         of curnode's input into the spare node, tested against curnode
//
// The next record waits in the spare node, outside the list, over the end of a call:
// the output block may be full, or its input's block used up (needinput), in which case
// it is read and tested when the block has come.
//
// A record that sorts before the one ahead of it in its own input ends the session.
// The test is by key alone and sees only what the filter lets through.
#include "merge/routines.h"

#include "merge/mergelist.h"
#include "select/select.h"
#include "session/qha9msg.h"
#include "sort/convert/emit.h"
#include "sort/record/rawrecord.h"

namespace kvern {
namespace {

enum : int32_t { taken = 0, usedup = 1, failed = -1 };

// ---- the next record -------------------------------------------------------

// A variable record's step is rounded up to whole words, so `next` may pass `limit`.
bool holdsrecord(const blockhdr *block) {
    return block->next < block->limit;
}

int32_t takerecord(qha5ctx *ctx, blockhdr *block, uint32_t input, mergenode *node) {
    const int32_t length = ctx->encode(ctx, block->next, node->image());
    if (length < 0)
        return failed;
    node->input = static_cast<int32_t>(input);
    block->next += length;
    return taken;
}

int32_t nextrecord(qha5ctx *ctx, uint32_t input, mergenode *node) {
    blockhdr *block = ctx->inputblocks[input];
    if (!holdsrecord(block))
        return usedup;
    scanwithin(ctx, block);
    return takerecord(ctx, block, input, node);
}

int32_t nextselected(qha5ctx *ctx, uint32_t input, mergenode *node) {
    blockhdr *block = ctx->inputblocks[input];
    scanwithin(ctx, block);
    while (holdsrecord(block)) {
        const int32_t dropped = dropnext(ctx, block);
        if (dropped < 0)
            return failed;
        if (dropped == 0)
            return takerecord(ctx, block, input, node);
    }
    return usedup;
}

// ---- what both states do ---------------------------------------------------

// The output block that was used up takes records again.
void reuse(qha5ctx *ctx, blockhdr *done) {
    ctx->outfill = done;
    beginoutput(done);
}

void showoutput(const qha5ctx *ctx) {
    ctx->mergectl->outblock = endoutput(ctx->outfill, 0);
}

void askagain(const qha5ctx *ctx, uint32_t input) {
    mergecontrol &control = *ctx->mergectl;
    control.nextinput = input;
    control.spareblock = ctx->inputblocks[input];
    control.needinput = true;
}

template <uint32_t width>
int32_t checkorder(qha5ctx *ctx, const keyorder<width> &order) {
    if (order.compare(ctx->freenodes->image(), ctx->curnode->image()) < 0)
        return fail(ctx, msg_unsorted, KVRN_D_ORDER);
    return 0;
}

// The record behind curnode in its input goes to the spare node.
template <uint32_t width>
int32_t readahead(qha5ctx *ctx, const keyorder<width> &order) {
    const auto input = static_cast<uint32_t>(ctx->curnode->input);
    const int32_t result = ctx->nextrecfn(ctx, input, ctx->freenodes);
    if (result == taken)
        return checkorder(ctx, order) == 0 ? taken : failed;
    if (result == usedup)
        askagain(ctx, input);
    return result;
}

// ---- the steady state ------------------------------------------------------

// The block that was asked for has come, or its input has ended.
template <uint32_t width>
int32_t takeblock(qha5ctx *ctx, const keyorder<width> &order) {
    mergecontrol &control = *ctx->mergectl;
    ctx->inputblocks[control.nextinput] = control.inblock;
    control.needinput = false;
    control.spareblock = nullptr;
    return control.inblock == nullptr ? taken : readahead(ctx, order);
}

template <uint32_t width>
int32_t advance(qha5ctx *ctx, const keyorder<width> &order) {
    if (ctx->inputblocks[ctx->curnode->input] != nullptr)
        insertnode(ctx, order, ctx->freenodes);
    const int32_t emitted = ctx->emitfn(ctx);
    if (emitted < 0)
        return failed;
    if (emitted == 1)
        showoutput(ctx);
    if (ctx->curnode == nullptr)
        return taken;
    return readahead(ctx, order) < 0 ? failed : taken;
}

template <uint32_t width>
int32_t steadystep(qha5ctx *ctx) {
    mergecontrol &control = *ctx->mergectl;
    const keyorder<width> order(ctx->keylen);
    if (control.outblock != nullptr) {
        reuse(ctx, control.doneblock);
        control.outblock = nullptr;
    }
    if (ctx->curnode == nullptr) {
        showoutput(ctx);
        control.spareblock = nullptr;
        control.needinput = false;
        return 0;
    }
    if (control.needinput && takeblock(ctx, order) < 0)
        return failed;
    while (!control.needinput && control.outblock == nullptr)
        if (advance(ctx, order) < 0)
            return failed;
    return 0;
}

// ---- the fill --------------------------------------------------------------

// The first record goes out, or is held back where equal keys are treated.
template <uint32_t width>
int32_t beginsteady(qha5ctx *ctx, const keyorder<width> &order) {
    mergecontrol &control = *ctx->mergectl;
    ctx->selectfn = steadystep<width>;
    if (ctx->recfunc != rf_none)
        takeheadnode(ctx);
    else if (const int32_t emitted = ctx->emitfn(ctx); emitted < 0)
        return failed;
    else if (emitted == 1)
        showoutput(ctx);
    control.needinput = false;
    if (readahead(ctx, order) < 0)
        return failed;
    return control.needinput || control.outblock != nullptr ? 0 : steadystep<width>(ctx);
}

// 0: the input has its place or has ended; 1: its block held nothing.
template <uint32_t width>
int32_t placefirst(qha5ctx *ctx, const keyorder<width> &order) {
    mergecontrol &control = *ctx->mergectl;
    ctx->inputblocks[control.nextinput] = control.inblock;
    if (control.inblock == nullptr)
        return taken;
    mergenode *node = ctx->freenodes;
    const int32_t result = ctx->nextrecfn(ctx, control.nextinput, node);
    if (result == taken) {
        ctx->freenodes = node->next;
        insertnode(ctx, order, node);
    }
    return result;
}

template <uint32_t width>
int32_t fillstep(qha5ctx *ctx) {
    mergecontrol &control = *ctx->mergectl;
    const keyorder<width> order(ctx->keylen);
    control.spareblock = nullptr;
    const int32_t result = placefirst(ctx, order);
    if (result == failed)
        return failed;
    if (result == usedup) {
        control.spareblock = control.inblock;
        return 0;
    }
    if (++control.nextinput != ctx->mergecount)
        return 0;
    if (ctx->nodecount != 0)
        return beginsteady(ctx, order);
    control.needinput = false; // no record in any input
    beginoutput(ctx->outfill);
    showoutput(ctx);
    return 0;
}

using selectstep = decltype(merge_fields::selectfn);
constexpr widthrow<selectstep> fillsteps[] = {
    {4, fillstep<4>},   {8, fillstep<8>},   {12, fillstep<12>},
    {16, fillstep<16>}, {20, fillstep<20>}, {0, fillstep<0>},
};

} // namespace

selectstep chooseselector(const qha5ctx *ctx) {
    return forwidth(fillsteps, ctx->keylen);
}

decltype(merge_fields::nextrecfn) choosenext(const qha5ctx *ctx) {
    return ctx->selectopt ? nextselected : nextrecord;
}

} // namespace kvern

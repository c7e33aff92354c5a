// The drivers with caller input.  The caller brings a record of the input asked for,
// or its end, with each call.
//
// With an output file the records of an input are collected: its block goes into the
// merge when the next record might find no room, or marked as the last one when the
// input ends.  With the caller at both ends a block holds one record, since the caller
// is to have the next record out as soon as it is known.
//
// What the caller brings is tested before anything changes, so a refusal, though it
// fails the session, leaves the merge as it is.  Record calls in the right order bring
// records that pass; the tests also hold where they are called straight.
#include "merge/routines.h"

#include "merge/mergeflow.h"
#include "session/counts.h"
#include "session/qha9msg.h"

namespace kvern {
namespace {

constexpr char callname[] = "kvrnmrge";
constexpr char feedname[] = "qha5iorf"; // told in failures of the flow

// In the block's state: it holds the last records of its input.
constexpr uint16_t endedmark = 0x0100;

void markended(blockhdr *block) {
    block->state = static_cast<blockstate>(block->state | endedmark);
}
bool isended(const blockhdr *block) {
    return (block->state & endedmark) != 0;
}

int32_t refuseuse(qha5ctx *ctx) {
    return fail(ctx, msg_mergeuse, KVRN_D_MERGEUSE);
}

const uint8_t *recordbytes(const KVRNSESS *sess) {
    return static_cast<const uint8_t *>(sess->recaddr);
}

template <class form>
bool linedelimited(const qha5ctx *ctx) {
    const KVRNSESS *sess = ctx->userblk;
    return form::isdelimited(ctx, recordbytes(sess), sess->reclen);
}

template <class form>
int32_t checkrecord(qha5ctx *ctx) {
    const KVRNSESS *sess = ctx->userblk;
    if (sess->recaddr == nullptr)
        return fail(ctx, msg_norecord, KVRN_D_NORECORD, callname);
    if (!form::lengthfits(ctx, sess->reclen))
        return fail(ctx, msg_reclength, KVRN_D_RECLEN, callname);
    return 0;
}

// The code is known and the input number is one.
int32_t checkcode(qha5ctx *ctx) {
    const KVRNSESS *sess = ctx->userblk;
    const bool known = sess->code == KVRN_RECORD || sess->code == KVRN_END;
    return known && sess->inputno < ctx->mergecount ? 0 : refuseuse(ctx);
}

// The block's input is the one asked for, whatever number the caller gives; that one
// is where the record counts: intended, and no matter to calls in the right order.
template <class form>
int32_t storerecord(qha5ctx *ctx, blockhdr *block) {
    KVRNSESS *sess = ctx->userblk;
    if (countin(ctx, sess->inputno, 1) != 0)
        return -1;
    form::store(block, recordbytes(sess), sess->reclen);
    ++block->count;
    ++sess->putcount;
    return 0;
}

void closeblock(blockhdr *block) {
    block->limit = block->next;
    block->next = block->first;
}

void askcaller(const qha5ctx *ctx) {
    KVRNSESS *sess = ctx->userblk;
    const mergecontrol &control = *ctx->mergectl;
    sess->mergestat = control.needinput ? KVRN_WANTS_RECORD : KVRN_WANTS_NONE;
    if (control.needinput)
        sess->inputno = static_cast<uint16_t>(control.nextinput);
}

int32_t endfed(qha5ctx *ctx) {
    ctx->userblk->mergestat = KVRN_WANTS_NONE;
    shownothing(ctx->userblk);
    return endmerge(ctx);
}

// ---- output file -----------------------------------------------------------

int32_t failflow(qha5ctx *ctx, uint32_t place) {
    fail(ctx, msg_logic, KVRN_D_LOGIC, feedname, place);
    return breakmerge(ctx);
}

// Merges until the caller has to bring a record of some input.  An input whose last
// records are used up has ended: the caller is not asked again.
int32_t mergefed(qha5ctx *ctx) {
    mergecontrol &control = *ctx->mergectl;
    for (;;) {
        if (stepmerge(ctx) < 0)
            return breakmerge(ctx);
        if (atend(ctx))
            return control.needinput ? failflow(ctx, 62) : endfed(ctx);
        if (control.outblock != nullptr && writeoutblock(ctx) < 0)
            return breakmerge(ctx);
        if (!control.needinput)
            continue;
        control.inblock = nullptr;
        if (control.spareblock == nullptr || !isended(control.spareblock))
            break;
    }
    askcaller(ctx);
    shownothing(ctx->userblk);
    return merge_open;
}

template <class form>
int32_t collect(qha5ctx *ctx) {
    mergecontrol &control = *ctx->mergectl;
    if (control.inblock == nullptr)
        control.inblock = takeinblock(ctx);
    blockhdr *block = control.inblock;
    if (block == nullptr)
        return failflow(ctx, 61);
    if (storerecord<form>(ctx, block) != 0)
        return breakmerge(ctx);
    if (static_cast<uint64_t>(block->end - block->next) >= form::room(ctx->inreclen)) {
        shownothing(ctx->userblk);
        return merge_open;
    }
    closeblock(block);
    return mergefed(ctx);
}

template <class form>
int32_t feedfile(qha5ctx *ctx) {
    if (checkcode(ctx) != 0)
        return merge_failed;
    if (ctx->userblk->code == KVRN_RECORD) {
        if (checkrecord<form>(ctx) != 0)
            return merge_failed;
        if (!linedelimited<form>(ctx))
            return fail(ctx, msg_nodelimiter, KVRN_D_NODELIMITER, callname);
        return collect<form>(ctx);
    }
    if (blockhdr *block = ctx->mergectl->inblock; block != nullptr) {
        closeblock(block);
        markended(block);
    }
    return mergefed(ctx);
}

// ---- the caller at both ends -----------------------------------------------

template <class form>
int32_t checkbrought(qha5ctx *ctx) {
    if (checkcode(ctx) != 0)
        return -1;
    if (ctx->userblk->code == KVRN_END)
        return 0;
    if (checkrecord<form>(ctx) != 0)
        return -1;
    return linedelimited<form>(ctx) ? 0 : failstale(ctx, msg_nodelimiter, KVRN_D_NODELIMITER);
}

template <class form>
int32_t takebrought(qha5ctx *ctx) {
    mergecontrol &control = *ctx->mergectl;
    control.inblock = nullptr;
    if (ctx->userblk->code == KVRN_END)
        return 0;
    control.inblock = takeinblock(ctx);
    if (control.inblock == nullptr)
        return faillogic(ctx);
    if (storerecord<form>(ctx, control.inblock) != 0)
        return -1;
    closeblock(control.inblock);
    return 0;
}

template <class form>
void showbrought(qha5ctx *ctx) {
    KVRNSESS *sess = ctx->userblk;
    blockhdr *block = ctx->mergectl->outblock;
    if (block == nullptr) {
        shownothing(sess);
        return;
    }
    block->next = block->first;
    showrecord<form>(ctx, block);
    ++sess->getcount;
    countout(ctx, 1);
}

template <class form>
int32_t exchange(qha5ctx *ctx) {
    const bool fed = ctx->userblk->mergestat == KVRN_WANTS_RECORD;
    if (fed != ctx->mergectl->needinput)
        return refuseuse(ctx);
    if (fed && checkbrought<form>(ctx) != 0)
        return merge_failed;
    if ((fed && takebrought<form>(ctx) != 0) || stepmerge(ctx) < 0)
        return breakmerge(ctx);
    if (atend(ctx))
        return endfed(ctx);
    showbrought<form>(ctx);
    askcaller(ctx);
    return merge_open;
}

using driver = decltype(merge_fields::mergefn);
struct feedset {
    driver tofile, tocaller;
};
template <class form>
constexpr feedset feeds = {feedfile<form>, exchange<form>};
constexpr feedset feeders[recordforms] = {feeds<fixedrecord>, feeds<variablerecord>,
                                          feeds<textrecord>, feeds<textrecord>};

} // namespace

driver choosefeeder(const qha5ctx *ctx) {
    const feedset &chosen = feeders[formof(ctx)];
    return ctx->apioutput ? chosen.tocaller : chosen.tofile;
}

} // namespace kvern

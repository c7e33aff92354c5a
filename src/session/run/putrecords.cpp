// A block holds records as a file of the same form would: fixed records side by
// side, variable ones as a length word and the data, stepped by whole words, text
// lines with their delimiter.
//
// Nothing past recaddr + reclen is ever read.  Where the rules look or copy
// further, as they do with a delimiter of two bytes and with several lines in a
// text block, zero bytes stand there.

#include "session/run/steps.h"

#include "session/busy.h"
#include "session/counts.h"
#include "session/qha9msg.h"
#include "sort/record/blockrecord.h"
#include "sort/sort.h"

#include <cstring>

namespace kvern {

namespace {

constexpr char callname[] = "kvrnput";

const uint8_t *callerbytes(const KVRNSESS *sess) {
    return static_cast<const uint8_t *>(sess->recaddr);
}

int refusedata(qha5ctx *ctx, KVRNSESS *sess, uint32_t detail) {
    fail(ctx, detail == KVRN_D_RECLEN ? msg_reclength : msg_nodelimiter, detail, callname);
    return callfailed(ctx, sess);
}
int refuselength(qha5ctx *ctx, KVRNSESS *sess) {
    return refusedata(ctx, sess, KVRN_D_RECLEN);
}

// ---- the block -------------------------------------------------------------

uint64_t roomin(const blockhdr *block) {
    return static_cast<uint64_t>(block->end - block->next);
}

// Feeds the block as it stands; the next one is empty.
int handover(qha5ctx *ctx) {
    blockhdr *block = ctx->putblock;
    block->limit = block->next;
    block = ctx->putblock = feedblock(ctx, block);
    if (block == nullptr)
        return -1;
    block->count = 0;
    block->next = block->first;
    return 0;
}

// A block is laid out to hold the longest record at least.
int needroom(qha5ctx *ctx, uint64_t bytes) {
    if (roomin(ctx->putblock) >= bytes)
        return 0;
    if (handover(ctx) != 0)
        return -1;
    return roomin(ctx->putblock) >= bytes ? 0 : faillogic(ctx);
}

// Sequence numbers end where 32 bits end: better no order than a wrong one.
int countput(qha5ctx *ctx, KVRNSESS *sess, uint32_t records) {
    if (counttaken(ctx, records) != 0)
        return -1;
    ctx->putblock->count += records;
    sess->putcount += records;
    return 0;
}

// ---- record by record ------------------------------------------------------

template <class form>
int putrecord(qha5ctx *ctx, KVRNSESS *sess) {
    const uint8_t *const bytes = callerbytes(sess);
    const uint32_t length = sess->reclen;
    if (const uint32_t detail = refusalof<form>(ctx, bytes, length); detail != 0)
        return refusedata(ctx, sess, detail);
    if (needroom(ctx, form::room(length)) != 0)
        return callfailed(ctx, sess);
    form::store(ctx->putblock, bytes, length);
    return countput(ctx, sess, 1) == 0 ? 0 : callfailed(ctx, sess);
}

// ---- block by block --------------------------------------------------------

int putfixed(qha5ctx *ctx, KVRNSESS *sess) {
    if (sess->reclen % ctx->inreclen != 0)
        return refuselength(ctx, sess);
    const uint8_t *from = callerbytes(sess);
    uint32_t left = sess->reclen / ctx->inreclen;
    while (left != 0) {
        blockhdr *block = ctx->putblock;
        const uint64_t fits = roomin(block) / ctx->inreclen;
        const uint32_t records = fits < left ? static_cast<uint32_t>(fits) : left;
        const size_t bytes = size_t{records} * ctx->inreclen;
        memcpy(block->next, from, bytes);
        block->next += bytes;
        block->limit = block->next;
        from += bytes;
        left -= records;
        if (countput(ctx, sess, records) != 0)
            return callfailed(ctx, sess);
        if (roomin(block) < ctx->inreclen && handover(ctx) != 0)
            return callfailed(ctx, sess);
    }
    return 0;
}

int putvariables(qha5ctx *ctx, KVRNSESS *sess) {
    const uint8_t *from = callerbytes(sess);
    uint32_t left = sess->reclen;
    while (left >= lengthword) {
        const uint32_t length = loadword(from);
        if (!variablerecord::lengthfits(ctx, length) || length > left - lengthword)
            return refuselength(ctx, sess);
        if (needroom(ctx, variablerecord::room(length)) != 0)
            return callfailed(ctx, sess);
        variablerecord::store(ctx->putblock, from + lengthword, length);
        if (countput(ctx, sess, 1) != 0)
            return callfailed(ctx, sess);
        from += lengthword + length;
        left -= lengthword + length;
    }
    return left == 0 ? 0 : refuselength(ctx, sess);
}

// The caller's text block, followed by zero bytes without end.
struct textblock {
    const uint8_t *bytes;
    uint64_t length;
    const uint8_t *delimiter;
    uint32_t delimiterlength;

    bool delimiterat(uint64_t i) const {
        return length - i >= delimiterlength && memcmp(bytes + i, delimiter, delimiterlength) == 0;
    }
    bool delimited() const {
        return length >= delimiterlength && delimiterat(length - delimiterlength);
    }
    // The first `byte` from there on, or the block's end.
    uint64_t find(uint8_t byte, uint64_t from) const {
        const void *hit = memchr(bytes + from, byte, static_cast<size_t>(length - from));
        return hit != nullptr ? static_cast<uint64_t>(static_cast<const uint8_t *>(hit) - bytes)
                              : length;
    }
    // The first delimiter from there on; where none follows, the first zero byte.
    uint64_t lineend(uint64_t from) const {
        if (from >= length)
            return from;
        for (uint64_t i = find(delimiter[0], from); i < length; i = find(delimiter[0], i + 1))
            if (delimiterat(i))
                return i;
        return find(0, from);
    }
    void copy(uint8_t *to, uint64_t from, uint64_t count) const {
        const uint64_t there = count < length - from ? count : length - from;
        memcpy(to, bytes + from, static_cast<size_t>(there));
        memset(to + there, 0, static_cast<size_t>(count - there));
    }
};

// The length of a line goes on from that of the line before: intended, a block of
// one line is what this form is for, and several lines are taken as this count
// takes them.  A block that lacks its last delimiter fails the session, yet the
// call takes it.
int putlines(qha5ctx *ctx, KVRNSESS *sess) {
    const textblock text = {callerbytes(sess), sess->reclen, ctx->linedlmt, ctx->linedlmtlen};
    if (!text.delimited())
        refusedata(ctx, sess, KVRN_D_NODELIMITER);
    sess->putcount = 0;
    uint64_t line = 0; // bytes of the line, delimiter included
    for (uint64_t at = 0; at < text.length; at += line) {
        line = text.lineend(at + line) - at + text.delimiterlength;
        if (line > ctx->inreclen)
            return refuselength(ctx, sess);
        if (needroom(ctx, line) != 0)
            return callfailed(ctx, sess);
        text.copy(ctx->putblock->next, at, line);
        ctx->putblock->next += line;
        if (countput(ctx, sess, 1) != 0)
            return callfailed(ctx, sess);
    }
    return 0;
}

// ---- choice ----------------------------------------------------------------

int badmode(qha5ctx *ctx, KVRNSESS *sess) {
    fail(ctx, msg_logic, KVRN_D_LOGIC, callname, 80);
    return callfailed(ctx, sess);
}

struct putset {
    callroutine byrecord, byblock;
};
constexpr putset lineputs = {putrecord<textrecord>, putlines};
constexpr putset puts[recordforms] = {
    {putrecord<fixedrecord>, putfixed},
    {putrecord<variablerecord>, putvariables},
    lineputs,
    lineputs,
};

int putdata(qha5ctx *ctx, KVRNSESS *sess) {
    ctx->state = st_putting;
    if (sess->recaddr == nullptr) {
        fail(ctx, msg_norecord, KVRN_D_NORECORD, callname);
        return callfailed(ctx, sess);
    }
    return ctx->putfn(ctx, sess);
}

int endputs(qha5ctx *ctx, KVRNSESS *sess) {
    if (ctx->putblock->count != 0 && handover(ctx) != 0)
        return callfailed(ctx, sess);
    blockhdr *last = ctx->putblock;
    ctx->putblock = nullptr;
    ctx->getblock = endinput(ctx, last);
    if (ctx->getblock == nullptr)
        return callfailed(ctx, sess);
    sess->getcount = 0;
    ctx->getblock->count = 0;
    ctx->state = st_sorted;
    if (!ctx->apioutput) {
        if (writeoutput(ctx) != 0)
            return callfailed(ctx, sess);
        ctx->state = st_finished;
    }
    if (ctx->link != nullptr)
        ctx->link->chkp = qha5chkp;
    return 1;
}

} // namespace

callroutine chooseput(const qha5ctx *ctx) {
    const uint32_t mode = ctx->recoprat & (KVRN_PUT_RECORD | KVRN_PUT_BLOCK);
    if (mode != KVRN_PUT_RECORD && mode != KVRN_PUT_BLOCK)
        return badmode;
    const putset &chosen = puts[formof(ctx)];
    return mode == KVRN_PUT_RECORD ? chosen.byrecord : chosen.byblock;
}

int putcall(qha5ctx *ctx, KVRNSESS *sess) {
    if ((ctx->putblock == nullptr) || (ctx->putfn == nullptr))
        return refusecall(ctx, sess, KVRN_D_PUTUSE);
    switch (sess->code) {
    case KVRN_RECORD:
        return putdata(ctx, sess);
    case KVRN_END:
        return endputs(ctx, sess);
    default:
        fail(ctx, msg_putuse, KVRN_D_PUTUSE);
        return callfailed(ctx, sess);
    }
}

} // namespace kvern

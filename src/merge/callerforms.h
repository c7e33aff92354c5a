// What a merge does with single records of the caller, by record form: how one that
// comes lies in its block, and where in its block one that goes out is.
#pragma once

#include "key/text/textfields.h"
#include "session/arena.h"

#include <cstring>

namespace kvern {

struct fixedrecord {
    static bool lengthfits(const qha5ctx *ctx, uint32_t length) { return length == ctx->inreclen; }
    static bool delimited(const qha5ctx *, const KVRNSESS *) { return true; }
    static uint64_t longest(const qha5ctx *ctx) { return ctx->inreclen; }
    static void store(blockhdr *block, const void *from, uint32_t length) {
        memcpy(block->next, from, length);
        block->next += length;
    }
    // The record at `next`, which it steps over.
    static void show(const qha5ctx *ctx, blockhdr *block, KVRNSESS *sess) {
        sess->outaddr = block->next;
        sess->outlen = ctx->outreclen;
        block->next += ctx->outreclen;
    }
};

// A length word and the data; padded to whole words on the way in, not on the way out.
struct variablerecord {
    static constexpr uint32_t word = sizeof(uint32_t);
    static bool lengthfits(const qha5ctx *ctx, uint32_t length) { return length <= ctx->inreclen; }
    static bool delimited(const qha5ctx *, const KVRNSESS *) { return true; }
    static uint64_t longest(const qha5ctx *ctx) { return roundup(ctx->inreclen, word) + word; }
    static void store(blockhdr *block, const void *from, uint32_t length) {
        memcpy(block->next, &length, word);
        if (length != 0)
            memcpy(block->next + word, from, length);
        block->next += roundup(length, word) + word;
    }
    static void show(const qha5ctx *, blockhdr *block, KVRNSESS *sess) {
        uint32_t length;
        memcpy(&length, block->next, word);
        sess->outaddr = block->next + word;
        sess->outlen = length;
        block->next += word + length;
    }
};

struct textrecord {
    static bool lengthfits(const qha5ctx *ctx, uint32_t length) { return length <= ctx->inreclen; }
    // The whole delimiter is compared at the last byte, so that a line with one of two
    // bytes never passes: intended, such lines come by files.
    static bool delimited(const qha5ctx *ctx, const KVRNSESS *sess) {
        const auto *bytes = static_cast<const uint8_t *>(sess->recaddr);
        return sess->reclen != 0 && ctx->linedlmtlen == 1 &&
               bytes[sess->reclen - 1] == ctx->linedlmt[0];
    }
    static uint64_t longest(const qha5ctx *ctx) { return ctx->inreclen; }
    static void store(blockhdr *block, const void *from, uint32_t length) {
        fixedrecord::store(block, from, length);
    }
    // Of a delimiter of two bytes one is counted, so the next line begins with the
    // other: intended, callers live with it.
    static void show(const qha5ctx *ctx, blockhdr *block, KVRNSESS *sess) {
        const int32_t text = textlength(ctx, block->next, block->limit);
        const auto left = static_cast<uint32_t>(block->limit - block->next);
        const uint32_t line = text < 0 ? left : static_cast<uint32_t>(text) + 1;
        sess->outaddr = block->next;
        sess->outlen = line < left ? line : left;
        block->next += sess->outlen;
    }
};

} // namespace kvern

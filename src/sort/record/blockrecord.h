// A single record in a block, by record form: which the session takes, what it takes of
// an input block, and where in its block one that goes out is.
//
//   fixed      in, out   | record | record | ...
//   variable   in        | length | data | padding to whole words | length | ...
//              out       | length | data | length | ...
//   text       in, out   | line | delimiter | line | ...
#pragma once

#include "sort/record/rawrecord.h"

namespace kvern {

struct recordspan {
    uint8_t *bytes;
    uint32_t length;
};

struct fixedrecord {
    static constexpr uint32_t prefix = 0;
    static bool lengthfits(const qha5ctx *ctx, uint32_t length) { return length == ctx->inreclen; }
    // No delimiter in front of the record's end; one at its end.
    static bool isoneline(const qha5ctx *, const uint8_t *, uint32_t) { return true; }
    static bool isdelimited(const qha5ctx *, const uint8_t *, uint32_t) { return true; }
    // Bytes of an input block.
    static uint64_t room(uint32_t length) { return length; }
    // The data stand behind the prefix at `next`, which steps over the record.
    static void settle(blockhdr *block, uint32_t length) { block->next += length; }
    static void store(blockhdr *block, const uint8_t *from, uint32_t length) {
        memcpy(block->next, from, length);
        settle(block, length);
    }
    // The record to go out at `next`, which steps over it.  `counted` bytes of a line's
    // delimiter belong to it.
    static recordspan show(const qha5ctx *ctx, blockhdr *block, uint32_t /*counted*/) {
        const recordspan record = {block->next, ctx->outreclen};
        block->next += record.length;
        return record;
    }
};

struct variablerecord : fixedrecord {
    static constexpr uint32_t prefix = lengthword;
    static bool lengthfits(const qha5ctx *ctx, uint32_t length) { return length <= ctx->inreclen; }
    static uint64_t room(uint32_t length) { return paddedroom(length); }
    static void settle(blockhdr *block, uint32_t length) {
        memcpy(block->next, &length, lengthword);
        block->next += room(length);
    }
    static void store(blockhdr *block, const uint8_t *from, uint32_t length) {
        memcpy(block->next + prefix, from, length);
        settle(block, length);
    }
    static recordspan show(const qha5ctx *, blockhdr *block, uint32_t /*counted*/) {
        const recordspan record = {block->next + prefix, loadword(block->next)};
        block->next = record.bytes + record.length;
        return record;
    }
};

// With a delimiter of two bytes no line of the caller passes, for its second byte would
// lie behind the record: intended, such lines come in blocks or by files.
struct textrecord : fixedrecord {
    static bool lengthfits(const qha5ctx *ctx, uint32_t length) { return length <= ctx->inreclen; }
    static bool isoneline(const qha5ctx *ctx, const uint8_t *bytes, uint32_t length) {
        for (uint32_t i = 0; i + 1 < length; ++i) {
            const auto *hit = static_cast<const uint8_t *>(
                memchr(bytes + i, ctx->linedlmt[0], size_t{length} - 1 - i));
            if (hit == nullptr)
                return true;
            if (ctx->linedlmtlen == 1 || hit[1] == ctx->linedlmt[1])
                return false;
            i = static_cast<uint32_t>(hit - bytes);
        }
        return true;
    }
    static bool isdelimited(const qha5ctx *ctx, const uint8_t *bytes, uint32_t length) {
        return length != 0 && ctx->linedlmtlen == 1 && bytes[length - 1] == ctx->linedlmt[0];
    }
    // Where no delimiter follows, a line ends with the first zero byte or the data.
    static recordspan show(const qha5ctx *ctx, blockhdr *block, uint32_t counted) {
        const int32_t text = linelength(ctx, block->next, block->limit);
        const auto left = static_cast<uint32_t>(block->limit - block->next);
        const uint32_t line = text < 0 ? left : static_cast<uint32_t>(text) + counted;
        const recordspan record = {block->next, line < left ? line : left};
        block->next += record.length;
        return record;
    }
};

// A line of a block or a file, which may have a delimiter of two bytes.
struct blockline : textrecord {
    static bool isoneline(const qha5ctx *ctx, const uint8_t *bytes, uint32_t length) {
        const uint8_t *end = finddelimiter(ctx, bytes, bytes + length);
        return end == nullptr || end + ctx->linedlmtlen == bytes + length;
    }
    static bool isdelimited(const qha5ctx *ctx, const uint8_t *bytes, uint32_t length) {
        return length >= ctx->linedlmtlen &&
               memcmp(bytes + length - ctx->linedlmtlen, ctx->linedlmt, ctx->linedlmtlen) == 0;
    }
};

// The detail that a record is refused with, 0: it is taken.
template <class form>
uint32_t refusalof(const qha5ctx *ctx, const uint8_t *bytes, uint32_t length) {
    if (!form::lengthfits(ctx, length) || !form::isoneline(ctx, bytes, length))
        return KVRN_D_RECLEN;
    return form::isdelimited(ctx, bytes, length) ? 0 : KVRN_D_NODELIMITER;
}

// Whether a record of that length may come, where no routine was chosen by the form.
inline bool takeslength(const qha5ctx *ctx, uint32_t length) {
    return isfixed(ctx) ? fixedrecord::lengthfits(ctx, length)
                        : variablerecord::lengthfits(ctx, length);
}

} // namespace kvern

// A raw record as it lies in its block: where it ends, and how far to the next one.
// Nothing here reads at or past ctx->scanlimit.
#pragma once

#include "session/arena.h"
#include "session/qha9msg.h"
#include "sort/incore/keycompare.h"
#include "sort/record/recordform.h"

#include <cstring>

namespace kvern {

// What is read next lies in this block.
inline void scanwithin(qha5ctx *ctx, const blockhdr *block) {
    ctx->scanlimit = block->limit;
}

// What is read meanwhile is a record that stands by itself.
class scanalone {
  public:
    scanalone(qha5ctx *of, const uint8_t *end) : ctx(of), before(of->scanlimit) {
        ctx->scanlimit = end;
    }
    ~scanalone() { ctx->scanlimit = before; }
    scanalone(const scanalone &) = delete;
    scanalone &operator=(const scanalone &) = delete;

  private:
    qha5ctx *ctx;
    const uint8_t *before;
};

// Variable records are padded in an input block, and nowhere else.
constexpr uint64_t paddedroom(uint32_t length) {
    return lengthword + roundup(length, recordunit);
}
constexpr int32_t paddedlength(uint32_t length) {
    return static_cast<int32_t>(paddedroom(length));
}

// Data length of a variable record; false after reporting.
inline bool takevariable(qha5ctx *ctx, const uint8_t *raw, uint32_t *length) {
    const auto left = static_cast<uint32_t>(ctx->scanlimit - raw);
    if (left >= lengthword) {
        *length = loadword(raw);
        if (*length <= ctx->inreclen && *length <= left - lengthword)
            return true;
    }
    fail(ctx, msg_badlength, KVRN_D_RECLEN);
    return false;
}

// The line's delimiter, or null where none follows in front of `limit`.
inline const uint8_t *finddelimiter(const qha5ctx *ctx, const uint8_t *line, const uint8_t *limit) {
    const uint32_t behind = ctx->linedlmtlen - 1;
    for (const uint8_t *at = line; limit - at > static_cast<ptrdiff_t>(behind); ++at) {
        const auto left = static_cast<size_t>(limit - at) - behind;
        at = static_cast<const uint8_t *>(memchr(at, ctx->linedlmt[0], left));
        if (at == nullptr || memcmp(at, ctx->linedlmt, ctx->linedlmtlen) == 0)
            return at;
    }
    return nullptr;
}

// Length of a line without its delimiter: up to the delimiter, else up to the first
// zero byte, else -1; looks no further than `limit`.
inline int32_t linelength(const qha5ctx *ctx, const uint8_t *line, const uint8_t *limit) {
    if (line >= limit)
        return -1;
    const void *end = finddelimiter(ctx, line, limit);
    if (end == nullptr)
        end = memchr(line, 0, static_cast<size_t>(limit - line));
    return end != nullptr ? static_cast<int32_t>(static_cast<const uint8_t *>(end) - line) : -1;
}

// Length of a line without its delimiter; false after reporting.
inline bool takeline(qha5ctx *ctx, const uint8_t *raw, uint32_t *length) {
    const uint8_t *end = finddelimiter(ctx, raw, ctx->scanlimit);
    if (end == nullptr) {
        fail(ctx, msg_nodelimiter, KVRN_D_NODELIMITER);
        return false;
    }
    *length = static_cast<uint32_t>(end - raw);
    return true;
}

// The same for a line whose fields are located; `missing` and `detail` tell that it
// has too few.  The scanners take a zero byte for the end of a line that has no
// delimiter; such a line is not taken in.
inline bool takefields(qha5ctx *ctx, const uint8_t *raw, fieldrow *table, uint32_t maxfield,
                       msgno missing, uint32_t detail, uint32_t *length) {
    const int32_t whole = ctx->fieldscan(ctx, raw, table, maxfield);
    if (whole >= 0 && whole <= ctx->scanlimit - raw) {
        *length = static_cast<uint32_t>(whole) - ctx->linedlmtlen;
        if (memcmp(raw + *length, ctx->linedlmt, ctx->linedlmtlen) == 0)
            return true;
    }
    if (finddelimiter(ctx, raw, ctx->scanlimit) == nullptr) {
        fail(ctx, msg_nodelimiter, KVRN_D_NODELIMITER);
        return false;
    }
    fail(ctx, missing, detail);
    return false;
}

inline bool linefits(qha5ctx *ctx, uint32_t length) {
    if (length + ctx->linedlmtlen <= ctx->inreclen)
        return true;
    fail(ctx, msg_badlength, KVRN_D_RECLEN);
    return false;
}

// Sequence numbers are 32-bit words in the key: a record more would break the order.
inline bool countrecord(qha5ctx *ctx) {
    if (ctx->seqno == UINT32_MAX) {
        faillogic(ctx);
        return false;
    }
    ++ctx->seqno;
    return true;
}

} // namespace kvern

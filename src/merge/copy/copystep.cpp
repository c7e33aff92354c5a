// What a record takes in the input block and what it makes in the output block:
//
//   fixed      inreclen                             outreclen
//   variable   length word + data, padded to 4      length word + data
//   text       line + delimiter                     line + delimiter
//
// A block is through when its count of records is.  The counts of the files are not
// trusted: no record is looked for at or past the input block's limit.
#include "merge/copy/copystep.h"

#include "select/select.h"
#include "session/qha9msg.h"
#include "sort/record/rawrecord.h"
#include "sort/record/recordform.h"

#include <cstring>

namespace kvern {
namespace {

// Takes the record at `raw` to `to`.  Its bytes in the input block, -1 failed;
// *placed: bytes written.
using mover = int32_t (*)(qha5ctx *ctx, const uint8_t *raw, uint8_t *to, uint32_t *placed);

int32_t copyfixed(qha5ctx *ctx, const uint8_t *raw, uint8_t *to, uint32_t *placed) {
    memcpy(to, raw, ctx->inreclen);
    *placed = ctx->outreclen;
    return static_cast<int32_t>(ctx->inreclen);
}

int32_t stepfixed(qha5ctx *ctx, const uint8_t *raw, uint8_t *to, uint32_t *placed) {
    *placed = ctx->outreclen;
    return ctx->encode(ctx, raw, to);
}

int32_t copyvariable(qha5ctx *ctx, const uint8_t *raw, uint8_t *to, uint32_t *placed) {
    uint32_t length;
    if (!takevariable(ctx, raw, &length))
        return -1;
    *placed = lengthword + length;
    memcpy(to, raw, *placed);
    return paddedlength(length);
}

int32_t stepvariable(qha5ctx *ctx, const uint8_t *raw, uint8_t *to, uint32_t *placed) {
    const int32_t taken = ctx->encode(ctx, raw, to);
    if (taken != -1)
        *placed = lengthword + loadword(to);
    return taken;
}

int32_t copytext(qha5ctx *ctx, const uint8_t *raw, uint8_t *to, uint32_t *placed) {
    uint32_t length;
    if (!takeline(ctx, raw, &length) || !linefits(ctx, length))
        return -1;
    *placed = length + ctx->linedlmtlen;
    memcpy(to, raw, *placed);
    return static_cast<int32_t>(*placed);
}

int32_t steptext(qha5ctx *ctx, const uint8_t *raw, uint8_t *to, uint32_t *placed) {
    const int32_t taken = ctx->encode(ctx, raw, to);
    *placed = ctx->reconlen;
    return taken;
}

int32_t skiprejected(qha5ctx *ctx, blockhdr *in) {
    while (in->count != 0 && in->next < in->limit) {
        const int32_t size = dropnext(ctx, in);
        if (size <= 0)
            return size;
        --in->count;
    }
    return 0;
}

// What lies behind the last line that has the session's delimiter has another one:
// descriptor files are cut at line feeds.
template <recordform form>
int32_t inputused(qha5ctx *ctx, const blockhdr *in, copyresult result) {
    if (form == form_columns && in->next != in->limit)
        return fail(ctx, msg_nodelimiter, KVRN_D_NODELIMITER);
    return result;
}

template <recordform form, mover move, bool selecting>
int32_t copystep(qha5ctx *ctx, blockhdr *in, blockhdr *out) {
    const uint32_t room = ctx->outreclen + prefixof(form);
    scanwithin(ctx, in);
    for (;;) {
        if (selecting && skiprejected(ctx, in) != 0)
            return -1;
        if (in->count == 0) {
            out->limit = out->next;
            return inputused<form>(ctx, in, cr_inused);
        }
        if (in->next >= in->limit)
            return fail(ctx, msg_badlength, KVRN_D_RECLEN);
        uint32_t placed;
        const int32_t taken = move(ctx, in->next, out->next, &placed);
        if (taken == -1)
            return -1;
        in->next += taken;
        --in->count;
        out->next += placed;
        ++out->count;
        if (out->end - out->next < static_cast<ptrdiff_t>(room)) {
            out->limit = out->next;
            if (in->count != 0)
                return cr_outfull;
            return inputused<form>(ctx, in, cr_both);
        }
    }
}

struct stepset {
    steproutine selected, rebuilt, both;
};
template <recordform form, mover plain, mover rebuilt>
constexpr stepset steps = {copystep<form, plain, true>, copystep<form, rebuilt, false>,
                           copystep<form, rebuilt, true>};
// How lines are rebuilt is a matter of `encode`.
constexpr stepset textsteps = steps<form_columns, copytext, steptext>;
constexpr stepset stepsets[recordforms] = {
    steps<form_fixed, copyfixed, stepfixed>,
    steps<form_variable, copyvariable, stepvariable>,
    textsteps,
    textsteps,
};

} // namespace

steproutine choosestep(const qha5ctx *ctx) {
    const stepset &set = stepsets[formof(ctx)];
    if (!ctx->reconopt)
        return set.selected;
    return ctx->selectopt ? set.both : set.rebuilt;
}

} // namespace kvern

// The way out: the decoders of the key table put a record's bytes back in place,
// text is copied as it was kept.
//
// Room is measured for the longest record in fixed and variable form, since the
// decoders write all of it; a variable record then takes only its own length, and
// no padding.
#include "sort/convert/emit.h"

#include "sort/convert/rowrun.h"
#include "sort/incore/keycompare.h"
#include "sort/record/recordform.h"

namespace kvern {
namespace {

// Sorted records lie all over the storage; fetching them this many records ahead
// hides the way to memory.
constexpr uint32_t fetchahead = 8;
constexpr uint32_t cacheline = 64;

bool hasroom(blockhdr *block, uint32_t bytes) {
    if (block->end - block->next >= static_cast<ptrdiff_t>(bytes))
        return true;
    block->limit = block->next;
    return false;
}

// Decoders are routines of the table, or the walk of the plain table.
using decodewalk = void (*)(qha5ctx *ctx, const uint8_t *internal, uint8_t *image);

void decodeany(qha5ctx *ctx, const uint8_t *internal, uint8_t *image) {
    decoderows(ctx, internal, image);
}
template <bool sequenced>
void decodeeasy(qha5ctx *ctx, const uint8_t *internal, uint8_t *image) {
    decodeplain<sequenced>(ctx, internal, image);
}

template <decodewalk decode>
int32_t emitfixed(qha5ctx *ctx, blockhdr *block, const uint8_t *record) {
    if (!hasroom(block, ctx->outreclen))
        return 1;
    decode(ctx, record, block->next);
    block->next += ctx->outreclen;
    return 0;
}

template <decodewalk decode>
int32_t emitvariable(qha5ctx *ctx, blockhdr *block, const uint8_t *record) {
    if (!hasroom(block, ctx->outreclen + lengthword))
        return 1;
    decode(ctx, record, block->next);
    block->next += loadword(record + ctx->txtdataoff) + lengthword;
    return 0;
}

int32_t emittext(qha5ctx *ctx, blockhdr *block, const uint8_t *record) {
    const uint32_t length = loadword(record + ctx->txtlenoff);
    if (!hasroom(block, length + ctx->linedlmtlen))
        return 1;
    memcpy(block->next, record + ctx->txtdataoff, length);
    memcpy(block->next + length, ctx->linedlmt, ctx->linedlmtlen);
    block->next += length + ctx->linedlmtlen;
    return 0;
}

void prefetch(const qha5ctx *ctx, uint32_t at) {
    if (at >= ctx->seqno)
        return;
    const uint8_t *record = ctx->slotptrs[at]->record();
    __builtin_prefetch(record);
    __builtin_prefetch(record + cacheline);
}

template <emitroutine emit>
blockhdr *deliverplain(qha5ctx *ctx, blockhdr *block) {
    beginoutput(block);
    while (ctx->outpos < ctx->seqno) {
        prefetch(ctx, ctx->outpos + fetchahead);
        const int32_t placed = emit(ctx, block, ctx->slotptrs[ctx->outpos]->record());
        if (placed != 0)
            return endoutput(block, placed);
        ++ctx->outpos;
        ++block->count;
    }
    ctx->outdone = true;
    return endoutput(block, 0);
}

struct outputroutines {
    emitroutine emit;
    blockroutine deliver;
};
template <emitroutine emit>
constexpr outputroutines outputby = {emit, deliverplain<emit>};

// How the key table is walked: by its routines, or as a plain one.
enum walkkind : uint8_t { walk_any, walk_plain, walk_sequenced, walkkinds };

constexpr outputroutines outputs[recordforms][walkkinds] = {
    {outputby<emitfixed<decodeany>>, outputby<emitfixed<decodeeasy<false>>>,
     outputby<emitfixed<decodeeasy<true>>>},
    {outputby<emitvariable<decodeany>>, outputby<emitvariable<decodeeasy<false>>>,
     outputby<emitvariable<decodeeasy<true>>>},
    {outputby<emittext>, outputby<emittext>, outputby<emittext>},
    {outputby<emittext>, outputby<emittext>, outputby<emittext>},
};

const outputroutines &chooseoutput(const qha5ctx *ctx) {
    walkkind walk = walk_any;
    if (isplaintable(ctx))
        walk = ctx->keeporder ? walk_sequenced : walk_plain;
    return outputs[formof(ctx)][walk];
}

} // namespace

void beginoutput(blockhdr *block) {
    block->count = 0;
    block->next = block->limit = block->first;
    block->iostat = io_done;
}

blockhdr *endoutput(blockhdr *block, int32_t placed) {
    block->limit = block->next;
    if (placed == -1)
        block->iostat = io_failed;
    return block;
}

emitroutine chooseemit(const qha5ctx *ctx) {
    return chooseoutput(ctx).emit;
}

void wireemit(qha5ctx *ctx) {
    ctx->plainemit = chooseemit(ctx);
}

blockroutine chooseplain(const qha5ctx *ctx) {
    return chooseoutput(ctx).deliver;
}

} // namespace kvern

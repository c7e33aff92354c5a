// The working storage of a copy, front to back:
//
//   | selection operands, keyscratch | partial line of text | field tables |
//   | output block | input block |
//
// Both blocks have half of what is left, up to about a megabyte of data each.  All
// inputs read into the one input block.
#include "merge/copy/copy.h"

#include "key/text/fieldtables.h"
#include "key/text/textfields.h"
#include "select/select.h"
#include "session/phaseclock.h"
#include "session/workspace.h"
#include "sort/convert/intake.h"
#include "sort/record/blocks.h"

namespace kvern {
namespace {

constexpr uint32_t header = sizeof(blockhdr);

int nostorage(qha5ctx *ctx) {
    return fail(ctx, msg_nostorage, KVRN_D_SETUP);
}

int layoutselection(qha5ctx *ctx, workspace &space) {
    if (!ctx->selectopt)
        return 0;
    auto *area = carve<uint8_t>(ctx, space, operandroom(ctx), KVRN_D_SETUP);
    if (area == nullptr)
        return -1;
    layoutoperands(ctx, area);
    return layoutscratch(ctx, space, ctx->selmaxlen, KVRN_D_SETUP);
}

int layoutfields(qha5ctx *ctx, workspace &space) {
    if (ctx->fieldmode != KVRN_FIELDS)
        return 0;
    wirescanners(ctx);
    return layoutrows(ctx, space, 1, KVRN_D_SETUP);
}

int layoutlines(qha5ctx *ctx, workspace &space) {
    return layoutcarry(ctx, space, 1) ? layoutfields(ctx, space) : nostorage(ctx);
}

// ---- the two blocks ---------------------------------------------------------

int layoutblocks(qha5ctx *ctx, const workspace &space) {
    const uint32_t block = shareblocks(ctx, space.left, 2);
    const uint32_t data = block > header ? block - header : 0;
    const blockuse use = useof(ctx, data);
    if (use.in == 0)
        return nostorage(ctx);
    setlengths(ctx, use);
    blockhdr *out = layblock(space.next, ctx->outblklen);
    blockhdr *in = layblock(space.next + block, ctx->inblklen);
    ctx->outfile->block = out;
    for (uint32_t i = 0; i < ctx->filecount; ++i)
        ctx->infiles[i]->block = in;
    return 0;
}

} // namespace

int setupcopy(qha5ctx *ctx) {
    markphase(ctx);
    workspace space = arenarest(ctx);
    if (layoutselection(ctx, space) != 0 || layoutlines(ctx, space) != 0 ||
        layoutblocks(ctx, space) != 0)
        return -1;
    if (ctx->selectopt)
        chooseselect(ctx);
    if (ctx->reconopt)
        wireencode(ctx);
    return 0;
}

} // namespace kvern

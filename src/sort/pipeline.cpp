// The working storage of a sort behind its blocks, front to back:
//
//   field tables | sumbuf | holdrec, selection operands | recwork | keyscratch |
//   sort stack, pointers and slots (slots.h)
//
// Later phases divide the same storage anew from sortnext on, so what they must
// find again lies in front of it: the summation field tables alone, since the
// other areas serve intake or are laid out again.
#include "sort/steps.h"

#include "key/text/fieldtables.h"
#include "key/text/textfields.h"
#include "merge/sum/equalkeys.h"
#include "select/select.h"
#include "session/phaseclock.h"
#include "session/qha9msg.h"
#include "session/workspace.h"
#include "sort/convert/intake.h"
#include "sort/convert/probe.h"
#include "sort/incore/slots.h"

#include <algorithm>

namespace kvern {
namespace {

int layouttext(qha5ctx *ctx, workspace &space) {
    if (ctx->fieldmode != KVRN_FIELDS)
        return 0;
    wirescanners(ctx);
    if (ctx->recfunc == rf_sum) {
        if (layoutsumrows(ctx, space) != 0)
            return -1;
        ctx->sortnext = space.next;
        ctx->sortfree = space.left;
    }
    return layouttables(ctx, space);
}

// The held record and the operands of selection share one area: selection is
// through when the first record is held.
int layoutheld(qha5ctx *ctx, workspace &space) {
    const bool grouping = ctx->recfunc != rf_none;
    const bool selecting = ctx->selectopt;
    if (!grouping && !selecting)
        return 0;
    const uint64_t held = grouping ? ctx->intreclen : 0;
    const uint64_t operands = selecting ? operandroom(ctx) : 0;
    uint8_t *area = carve<uint8_t>(ctx, space, std::max(held, operands));
    if (area == nullptr)
        return -1;
    if (grouping)
        ctx->holdrec = area;
    if (selecting)
        layoutoperands(ctx, area);
    return 0;
}

int layoutbuffers(qha5ctx *ctx, workspace &space) {
    if (layoutsums(ctx, space) != 0 || layoutheld(ctx, space) != 0)
        return -1;
    return layoutwork(ctx, space);
}

void wiresort(qha5ctx *ctx) {
    wireencode(ctx);
    wireprobe(ctx);
    beginfolding(ctx);
    if (ctx->selectopt)
        chooseselect(ctx);
}

} // namespace

int setuppipeline(qha5ctx *ctx) {
    markphase(ctx);
    workspace space{ctx->sortnext, ctx->sortfree};
    if (layouttext(ctx, space) != 0 || layoutbuffers(ctx, space) != 0)
        return -1;
    wiresort(ctx);
    return layoutpool(ctx, space.next, space.left);
}

} // namespace kvern

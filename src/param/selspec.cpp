// The selection table: a small program of conditions, copied with its literals
// and refused where a condition could not be evaluated or leads nowhere.
#include "param/fieldspec.h"

#include "param/fieldlimits.h"
#include "param/tablecopy.h"
#include "sort/record/recordform.h"

namespace kvern {
namespace {

bool isoutcome(uint8_t code) {
    return code >= KVRN_GO_KEEP && code <= KVRN_GO_NEXT;
}
bool isverdict(uint8_t code) {
    return code == KVRN_GO_KEEP || code == KVRN_GO_DROP;
}

bool textoperand(uint8_t type) {
    return type == KVRN_CHAR || type == KVRN_COLLATE;
}

// The right type beside a mask must be a mask too, or a literal.
bool typesfit(const qha5ctx *ctx, const KVRNSELE &cond) {
    if (cond.op < KVRN_OP_EQ || cond.op > KVRN_OP_LE)
        return false;
    if (istext(ctx) &&
        (!textoperand(cond.ltype) || !(textoperand(cond.rtype) || cond.rtype == KVRN_FLD_LIT)))
        return false;
    if (!fieldfits(fielduse::left, cond.ltype, cond.llen) ||
        !fieldfits(fielduse::right, cond.rtype, cond.rlen))
        return false;
    if (cond.ltype == KVRN_CHARX && ctx->level < 4)
        return false;
    return cond.ltype != KVRN_MASKBYTE || cond.rtype == KVRN_MASKBYTE || cond.rtype == KVRN_FLD_LIT;
}

// Both branches lead to the next entry, one by a jump.
bool emptyjump(uint8_t jumping, uint32_t target, uint8_t other, uint32_t entry) {
    return jumping == KVRN_GO_JUMP && other == KVRN_GO_NEXT && target == entry + 1;
}

// One unknown outcome beside a known one passes: intended, it only matters if
// that branch is ever taken.  Jump words count only where the outcome jumps.
bool outcomesfit(const KVRNSELE &cond, uint32_t entry, uint32_t count) {
    if (!isoutcome(cond.iftrue) && !isoutcome(cond.iffalse))
        return false;
    if (cond.iftrue == cond.iffalse && cond.iftrue != KVRN_GO_JUMP)
        return false;
    if (cond.iftrue == KVRN_GO_JUMP && cond.truejump >= count)
        return false;
    if (cond.iffalse == KVRN_GO_JUMP && cond.falsejump >= count)
        return false;
    // Intended: the target is compared with the outcome code itself.
    if (cond.iftrue == KVRN_GO_JUMP && cond.iffalse == KVRN_GO_JUMP &&
        cond.truejump == KVRN_GO_JUMP)
        return false;
    return !emptyjump(cond.iftrue, cond.truejump, cond.iffalse, entry) &&
           !emptyjump(cond.iffalse, cond.falsejump, cond.iftrue, entry);
}

void movemask(KVRNSELE &cond) {
    if (cond.ltype != KVRN_MASKBYTE)
        return;
    cond.mask = static_cast<uint8_t>(cond.llen);
    cond.llen = 1;
    if (cond.rtype == KVRN_MASKBYTE)
        cond.rlen = 1;
}

int keepoperand(qha5ctx *ctx, KVRNSELE &cond, uint32_t entry) {
    if (cond.rlit == nullptr)
        return refuseselection(ctx, entry);
    cond.rlit = copybytes(ctx, cond.rlit, cond.rlen);
    return cond.rlit != nullptr ? 0 : -1;
}

int readcondition(qha5ctx *ctx, uint32_t entry) {
    KVRNSELE &cond = ctx->selspec->entry[entry];
    if (!typesfit(ctx, cond))
        return refuseselection(ctx, entry);
    if (ctx->fieldmode == KVRN_FIELDS)
        raise(ctx->selmaxfld, cond.lpos);
    movemask(cond);
    if (cond.rtype == KVRN_FLD_LIT) {
        if (keepoperand(ctx, cond, entry) != 0)
            return -1;
    } else if (ctx->fieldmode == KVRN_FIELDS) {
        raise(ctx->selmaxfld, cond.rpos);
    }
    if (!outcomesfit(cond, entry, ctx->selspec->count))
        return refuseselection(ctx, entry);
    return 0;
}

} // namespace

int readselection(qha5ctx *ctx, const KVRNSEL *table) {
    if (table == nullptr || table->count == 0)
        return refuseselection(ctx, 0);
    ctx->selspec = copytable(ctx, table);
    if (ctx->selspec == nullptr)
        return -1;
    const uint32_t count = ctx->selspec->count;
    for (uint32_t i = count; i-- != 0;)
        if (readcondition(ctx, i) != 0)
            return -1;
    const KVRNSELE &last = ctx->selspec->entry[count - 1];
    if (!isverdict(last.iftrue) || !isverdict(last.iffalse))
        return refuseselection(ctx, count - 1);
    return 0;
}

} // namespace kvern

// The program of conditions, once for each of the four record forms.  A condition
// compares two operands and goes by the outcome: keep, drop, the next condition, or
// a jump.  Chains that come round again would never end; who has taken more steps
// than there are conditions has been at one of them twice.

#include "select/select.h"

#include "key/text/textfields.h"
#include "select/operands.h"
#include "session/qha9msg.h"
#include "sort/incore/keycompare.h"
#include "sort/record/rawrecord.h"
#include "sort/record/recordform.h"

#include <algorithm>

namespace kvern {

namespace {

// Which results of a comparison an operator holds for, in the order of the codes.
enum : uint8_t { below = 1, equal = 2, above = 4 };
constexpr uint8_t operators[] = {equal, below | above, above, above | equal, below, below | equal};
static_assert(KVRN_OP_EQ + 5 == KVRN_OP_LE && sizeof operators == 6);

bool holds(uint8_t op, int result) {
    return (operators[op - KVRN_OP_EQ] >> (result + 1) & 1) != 0;
}

int32_t nofield(qha5ctx *ctx) {
    return fail(ctx, msg_noselfield, KVRN_D_NOSELFIELD);
}

// ---- record forms -----------------------------------------------------------
// enter: the record's size in its block, -1 when a field of any condition lies
// outside of it, be the condition reached or not.  encode: as operands.h says.

// All positions were proved to lie in the record.
struct fixedform {
    static int32_t enter(qha5ctx *ctx, const uint8_t *) {
        return static_cast<int32_t>(ctx->inreclen);
    }
    static int32_t encode(qha5ctx *ctx, const KVRNSELE &cond, const uint8_t *raw) {
        return encodebytes(ctx, cond, raw);
    }
};

struct variableform {
    static int32_t enter(qha5ctx *ctx, const uint8_t *raw) {
        const auto left = static_cast<uint32_t>(ctx->scanlimit - raw);
        const uint32_t length = left < lengthword ? UINT32_MAX : loadword(raw);
        if (left < lengthword || length > left - lengthword)
            return fail(ctx, msg_badlength, KVRN_D_RECLEN);
        return length > ctx->selmaxpos ? paddedlength(length) : nofield(ctx);
    }
    static int32_t encode(qha5ctx *ctx, const KVRNSELE &cond, const uint8_t *raw) {
        return encodebytes(ctx, cond, raw + lengthword);
    }
};

struct aloneform {
    static int32_t enter(qha5ctx *ctx, const uint8_t *data) {
        const auto length = static_cast<uint32_t>(ctx->scanlimit - data);
        return length > ctx->selmaxpos ? static_cast<int32_t>(length) : nofield(ctx);
    }
    static int32_t encode(qha5ctx *ctx, const KVRNSELE &cond, const uint8_t *data) {
        return encodebytes(ctx, cond, data);
    }
};

// A line that only a zero byte ends may have no room for the delimiter.
int32_t sizeofline(const qha5ctx *ctx, const uint8_t *line, int32_t size) {
    return static_cast<int32_t>(std::min<ptrdiff_t>(size, ctx->scanlimit - line));
}

struct columnform {
    static int32_t enter(qha5ctx *ctx, const uint8_t *line) {
        const int32_t length = linelength(ctx, line, ctx->scanlimit);
        if (length < 0)
            return fail(ctx, msg_nodelimiter, KVRN_D_NODELIMITER);
        if (static_cast<uint32_t>(length) <= ctx->selmaxpos)
            return nofield(ctx);
        return sizeofline(ctx, line, length + static_cast<int32_t>(ctx->linedlmtlen));
    }
    static operand field(qha5ctx *, const uint8_t *line, uint32_t position, uint32_t length) {
        return {line + position, length};
    }
};

struct numberform {
    static int32_t enter(qha5ctx *ctx, const uint8_t *line) {
        const int32_t size = ctx->fieldscan(ctx, line, ctx->selfields, ctx->selmaxfld);
        if (size >= 0)
            return sizeofline(ctx, line, size);
        if (linelength(ctx, line, ctx->scanlimit) < 0)
            return fail(ctx, msg_nodelimiter, KVRN_D_NODELIMITER);
        return nofield(ctx);
    }
    static operand field(qha5ctx *ctx, const uint8_t *line, uint32_t number, uint32_t length) {
        const fieldrow &row = ctx->selfields[number];
        return {line + row.offset, std::min(row.length, length)};
    }
};

template <typename Lines>
struct textform : Lines {
    static int32_t encode(qha5ctx *ctx, const KVRNSELE &cond, const uint8_t *line) {
        return encodetexts(ctx, cond, Lines::field(ctx, line, cond.lpos, cond.llen),
                           cond.rtype == KVRN_FLD_LIT
                               ? literalof(cond)
                               : Lines::field(ctx, line, cond.rpos, cond.rlen));
    }
};

// ---- evaluation ---------------------------------------------------------------

// An outcome that is none of the codes leads nowhere, like a chain that comes round.
template <typename Form>
int32_t evaluate(qha5ctx *ctx, const uint8_t *raw) {
    const int32_t size = Form::enter(ctx, raw);
    if (size < 0)
        return -1;
    const KVRNSEL &program = *ctx->selspec;
    uint32_t at = 0;
    for (uint32_t steps = program.count; steps != 0 && at < program.count; --steps) {
        const KVRNSELE &cond = program.entry[at];
        const int32_t length = Form::encode(ctx, cond, raw);
        if (length < 0)
            return -1;
        const int result = keycompare(ctx->selbufl, ctx->selbufr, static_cast<uint32_t>(length));
        const bool held = holds(cond.op, result);
        switch (held ? cond.iftrue : cond.iffalse) {
        case KVRN_GO_KEEP:
            return 0;
        case KVRN_GO_DROP:
            return size;
        case KVRN_GO_JUMP:
            at = held ? cond.truejump : cond.falsejump;
            break;
        case KVRN_GO_NEXT:
            ++at;
            break;
        default:
            return faillogic(ctx);
        }
    }
    return faillogic(ctx);
}

using selectroutine = int32_t (*)(qha5ctx *ctx, const uint8_t *raw);
struct evaluatorset {
    selectroutine inblock, alone;
};
constexpr evaluatorset evaluators[recordforms] = {
    {evaluate<fixedform>, evaluate<fixedform>},
    {evaluate<variableform>, evaluate<aloneform>},
    {evaluate<textform<columnform>>, evaluate<textform<columnform>>},
    {evaluate<textform<numberform>>, evaluate<textform<numberform>>},
};

} // namespace

void chooseselect(qha5ctx *ctx) {
    ctx->selecteval = evaluators[formof(ctx)].inblock;
    ctx->selectalone = evaluators[formof(ctx)].alone;
}

void layoutoperands(qha5ctx *ctx, uint8_t *area) {
    ctx->selbufl = area;
    ctx->selbufr = area + operandroom(ctx) / 2;
    ctx->heldliteral = nullptr;
}

} // namespace kvern

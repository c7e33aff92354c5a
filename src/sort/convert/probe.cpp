// What passed `refusal` has its form: the length fits, a line has its delimiter at its end
// and nowhere else.  So a source only rebuilds, and finds fields; a walk runs the rows.
#include "sort/convert/probe.h"

#include "key/encode/plainkeys.h"
#include "sort/convert/rebuild.h"
#include "sort/convert/rowrun.h"
#include "sort/record/rawrecord.h"
#include "sort/record/recordform.h"

namespace kvern {
namespace {

// Data that keys are made of, `prefix` bytes nearer to the start than the rows say.  Behind
// them there are zeros.
struct keydata {
    const uint8_t *bytes;
    uint32_t length;
};

// ---- sources ----------------------------------------------------------------
// open: false after reporting.

struct fixedsource {
    static constexpr uint32_t prefix = 0;
    static bool open(qha5ctx *, keydata &) { return true; }
};
struct variablesource {
    static constexpr uint32_t prefix = lengthword;
    static bool open(qha5ctx *, keydata &) { return true; }
};
struct linesource : fixedsource {
    static bool open(qha5ctx *ctx, keydata &data) {
        data.length -= ctx->linedlmtlen;
        return true;
    }
};
struct fieldsource : fixedsource {
    static bool open(qha5ctx *ctx, keydata &data) {
        return takefields(ctx, data.bytes, ctx->keyfields, ctx->keymaxfld, msg_nokeyfield,
                          KVRN_D_NOKEYFIELD, &data.length);
    }
};

bool joinall(qha5ctx *ctx, keydata &data) {
    joinpieces(*ctx->reconspec, data.bytes, ctx->recwork);
    data = {ctx->recwork, ctx->outreclen};
    return true;
}
struct fixedrebuilt : fixedsource {
    static bool open(qha5ctx *ctx, keydata &data) { return joinall(ctx, data); }
};
struct variablerebuilt : variablesource {
    static bool open(qha5ctx *ctx, keydata &data) {
        return holdspieces(ctx, data.length) && joinall(ctx, data);
    }
};
struct linerebuilt : linesource {
    static bool open(qha5ctx *ctx, keydata &data) {
        return linesource::open(ctx, data) && lineholds(ctx, data.length) && joinall(ctx, data);
    }
};
struct fieldrebuilt : fixedsource {
    static bool open(qha5ctx *ctx, keydata &data) {
        if (!findpieces(ctx, data.bytes, &data.length) ||
            joinline(ctx, data.bytes, ctx->recwork) == -1)
            return false;
        data = {ctx->recwork, textroom(ctx)};
        return true;
    }
};

// ---- places -----------------------------------------------------------------
// The field of a row, and how much of it is there.

template <uint32_t prefix>
struct inside {
    static textspan find(const qha5ctx *, const keydata &data, const keyentry &row) {
        return {data.bytes + (row.src - prefix), row.len};
    }
};

// A field that the end of the record cuts is completed in recwork.
template <uint32_t prefix>
struct padded {
    static textspan find(const qha5ctx *ctx, const keydata &data, const keyentry &row) {
        const uint32_t at = row.src - prefix;
        if (uint64_t{at} + row.len <= data.length)
            return {data.bytes + at, row.len};
        const uint32_t there = at < data.length ? data.length - at : 0;
        memcpy(ctx->recwork, data.bytes + (data.length - there), there);
        memset(ctx->recwork + there, 0, row.len - there);
        return {ctx->recwork, row.len};
    }
};

struct infields {
    static textspan find(const qha5ctx *ctx, const keydata &data, const keyentry &row) {
        const fieldrow &field = ctx->keyfields[row.src];
        return {data.bytes + field.offset, std::min(row.len, field.length)};
    }
};

// ---- walks ------------------------------------------------------------------

const keyentry *keysbegin(const qha5ctx *ctx) {
    return rowsbegin(ctx->keytable) + (ctx->keeporder ? 1 : 0);
}
const keyentry *keysend(const qha5ctx *ctx) {
    return rowsbegin(ctx->keytable) + ctx->keycount;
}

// A key is whole words.
void turnround(uint8_t *key, uint32_t length) {
    uint8_t *low = key;
    uint8_t *high = key + length;
    for (; high - low >= 16; low += 8) {
        high -= 8;
        const uint64_t word = loadwide(low);
        moveword<uint64_t>(low, high, flipnone, true);
        memcpy(high, &word, sizeof word);
        moveword<uint64_t>(high, high, flipnone, true);
    }
    for (; high - low >= 8; low += 4) {
        high -= 4;
        const uint32_t word = loadword(low);
        moveword<uint32_t>(low, high, flipnone, true);
        memcpy(high, &word, sizeof word);
        moveword<uint32_t>(high, high, flipnone, true);
    }
    if (high != low)
        moveword<uint32_t>(low, low, flipnone, true);
}

// Not every encoder fills its place, so all of it is cleared first.
struct encoded {
    template <class place>
    static int32_t run(const qha5ctx *ctx, const keydata &data, uint8_t *key) {
        const uint32_t low = sequenceroom(ctx);
        const uint32_t length = probedlength(ctx);
        memset(key, 0, length);
        for (const keyentry *row = keysbegin(ctx); row != keysend(ctx); ++row) {
            const textspan field = place::find(ctx, data, *row);
            if (row->encoder(ctx, key + (row->dst - low), field.start, *row, field.length) == -1)
                return -1;
        }
        turnround(key, length);
        return 0;
    }
};

// Keys that are their bytes reversed lie in the turned key as in the record.
struct straightened {
    template <class place>
    static int32_t run(const qha5ctx *ctx, const keydata &data, uint8_t *key) {
        memset(key, 0, probedlength(ctx));
        for (const keyentry *row = keysbegin(ctx); row != keysend(ctx); ++row) {
            const textspan field = place::find(ctx, data, *row);
            uint8_t *const to = key + (ctx->keylen - row->dst - row->len);
            copyflipped(to, field.start, row->len, flipoforder(row->order));
        }
        return 0;
    }
};

bool isstraight(const qha5ctx *ctx) {
    for (const keyentry *row = keysbegin(ctx); row != keysend(ctx); ++row)
        if (row->encoder != coded<keyform::reversed>.encoder)
            return false;
    return true;
}

// ---- choice -----------------------------------------------------------------

using proberoutine = decltype(sort_fields::probe);

template <class source, class place, class walk>
int32_t proberecord(qha5ctx *ctx, const uint8_t *record, uint32_t length, uint8_t *key) {
    keydata data = {record, length};
    if (!source::open(ctx, data))
        return -1;
    return walk::template run<place>(ctx, data, key);
}

struct probeset {
    proberoutine any, straight;
};
template <class source, class place>
constexpr probeset probeby = {proberecord<source, place, encoded>,
                              proberecord<source, place, straightened>};

template <class source, class place>
constexpr probeset textprobe = {proberecord<source, place, encoded>,
                                proberecord<source, place, encoded>};

struct proberow {
    probeset keyed, unkeyed, rebuilt, wholerebuilt; // unkeyed: the whole record is the key
};
constexpr auto fixedprobe = probeby<fixedsource, inside<0>>;
constexpr auto variableprobe = probeby<variablesource, padded<lengthword>>;
constexpr auto lineprobe = textprobe<linesource, padded<0>>;
constexpr auto joinedprobe = probeby<fixedrebuilt, inside<0>>;
constexpr auto variablejoined = probeby<variablerebuilt, inside<lengthword>>;
constexpr auto linejoined = textprobe<linerebuilt, inside<0>>;
constexpr proberow probes[recordforms] = {
    {fixedprobe, fixedprobe, joinedprobe, joinedprobe},
    {variableprobe, variableprobe, variablejoined, variablejoined},
    {lineprobe, lineprobe, linejoined, linejoined},
    {textprobe<fieldsource, infields>, lineprobe, textprobe<fieldrebuilt, infields>,
     textprobe<fieldrebuilt, inside<0>>},
};

const probeset &chooseset(const qha5ctx *ctx) {
    const proberow &row = probes[formof(ctx)];
    if (ctx->reconopt)
        return ctx->keygiven ? row.rebuilt : row.wholerebuilt;
    return ctx->keygiven ? row.keyed : row.unkeyed;
}

} // namespace

void wireprobe(qha5ctx *ctx) {
    const probeset &chosen = chooseset(ctx);
    ctx->probe = isstraight(ctx) ? chosen.straight : chosen.any;
}

} // namespace kvern

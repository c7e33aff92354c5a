// Places the pieces of a record in the internal record.
//
// Decoders run in row order: keys, summation fields, gaps.  Every byte of a
// fixed or variable record is restored exactly by some row: by a key whose
// normal form loses nothing there, by a summation field, or by a gap.  A byte
// that a key's decoder leaves alone (a sign) is covered by another row.
//
//   record of 12 bytes, keys ZONED at 2, length 5, and CHAR at 9, length 3
//   0 1 | 2 3 4 5 (6) | 7 8 | 9 10 11      (6): the sign byte, kept exactly
//   gap   zoned         gap   char         gaps: 0-1 and 6-8
//
// Lengths and positions are the caller's numbers; their sums are made in 64 bits
// and cut to 32 only for a table that is refused right after.
#include "key/keytable.h"

#include "key/keytypes.h"
#include "session/arena.h"
#include "session/qha9msg.h"
#include "sort/record/recordform.h"

#include <algorithm>
#include <cstring>

namespace kvern {
namespace {

constexpr uint64_t intreclimit = 32716; // longest internal record
constexpr uint32_t keyunit = 4;         // keys compare as 32-bit words
constexpr uint32_t sequenceword = 4;

constexpr uint32_t cut(uint64_t value) {
    return static_cast<uint32_t>(value);
}

// Offset in the source record.  A place beyond 32 bits stays beyond any record.
uint32_t sourceplace(const qha5ctx *ctx, uint32_t position) {
    const uint64_t place = uint64_t{position} + prefixof(formof(ctx));
    return cut(std::min<uint64_t>(place, UINT32_MAX));
}

int wirekeys(qha5ctx *ctx) {
    for (uint32_t i = ctx->keeporder ? 1 : 0; i < ctx->keycount; i++)
        if (wirekey(ctx, ctx->keytable->entry[i]) != 0)
            return -1;
    return 0;
}

// A row whose source bytes do not come back from the key area.
bool islost(const keyentry &row) {
    return row.decoder == nullptr || (row.options & KVRN_TXT_KEEPSOURCE) != 0 || row.kanjiconv != 0;
}

// A row that restores its source bytes, in the list by ascending source offset.
struct restored {
    uint32_t src;
    uint32_t len;
    uint32_t row;
    uint8_t type;
};

// At equal offsets the later row stands in front.
bool comesfirst(const restored &a, const restored &b) {
    return a.src != b.src ? a.src < b.src : a.row > b.row;
}

} // namespace

// A key and its gap, a summation field and its gap, and the gap at the end; the
// whole-record key counts as one, since it may need a gap too.
int tablebuilder::begin(uint32_t keys, uint32_t sums) {
    uint64_t wanted = keys != 0 ? keys : 1;
    if (!istext(ctx))
        wanted = wanted * 2 + 1 + uint64_t{sums} * 2;
    if (ctx->keeporder)
        wanted++;
    const uint64_t bytes = sizeof(keytab) - sizeof(keyentry) + wanted * sizeof(keyentry);
    uint8_t *area = arenaneed(ctx, bytes);
    if (area == nullptr)
        return -1;
    memset(area, 0, static_cast<size_t>(bytes));
    ctx->keytable = reinterpret_cast<keytab *>(area);
    keysleft = keys != 0 ? keys : 1;
    if (ctx->keeporder) {
        codesequence(addrow());
        place = sequenceword;
    }
    return 0;
}

keyentry *tablebuilder::addkey(uint32_t position, const keyfield &field) {
    if (keysleft == 0) {
        faillogic(ctx);
        return nullptr;
    }
    keysleft--;
    keyentry &row = addrow();
    static_cast<keyfield &>(row) = field;
    row.src = sourceplace(ctx, position);
    place += normalwidth(field);
    return &row;
}

int tablebuilder::finish(const KVRNSUM *sum) {
    ctx->keycount = rows;
    if (wirekeys(ctx) != 0)
        return -1;
    place = roundup(place, keyunit);
    ctx->keylen = cut(place);
    if (sum != nullptr)
        addsums(*sum);
    if (!isfixed(ctx)) {
        place = roundup(place, lengthword);
        ctx->txtdataoff = cut(place);
    }
    if (istext(ctx))
        place += ctx->outreclen;
    else if (addgaps() != 0)
        return -1;
    place = roundup(place, keyunit);
    if (place > intreclimit)
        return fail(ctx, msg_nostorage, KVRN_D_SETUP);
    ctx->intreclen = cut(place);
    ctx->keytable->count = rows;
    return 0;
}

keyentry &tablebuilder::addrow() {
    keyentry &row = ctx->keytable->entry[rows++];
    row.dst = cut(place);
    return row;
}

keyentry &tablebuilder::addraw(uint32_t src, uint64_t length) {
    keyentry &row = addrow();
    row.src = src;
    row.len = cut(length);
    codecarried(row);
    place += length;
    return row;
}

// Text is kept whole, so its summation fields need no rows and stay where the
// caller said.
void tablebuilder::addsums(const KVRNSUM &sum) {
    for (uint32_t i = 0; i < sum.count; i++) {
        const KVRNSUME &field = sum.entry[i];
        sumrow &out = ctx->sumspec->entry[i];
        out.length = field.length;
        out.type = field.type;
        if (!istext(ctx)) {
            out.position = addraw(sourceplace(ctx, field.position), field.length).dst;
            continue;
        }
        out.position = field.position;
        if (ctx->fieldmode == KVRN_FIELDS)
            ctx->summaxfld = std::max(ctx->summaxfld, field.position);
    }
}

// Sweeps over the record in source order.  `covered` is the first byte that no
// row so far restores.
int tablebuilder::addgaps() {
    const uint32_t present = rows;
    if (uint64_t{present} * sizeof(restored) > ctx->arenafree)
        return fail(ctx, msg_nostorage, KVRN_D_STORAGE);
    if (place > intreclimit)
        return 0; // refused as it is: gaps only add to it
    restored *list = reinterpret_cast<restored *>(ctx->arenanext); // scratch, not taken
    uint32_t listed = 0;
    for (uint32_t i = 0; i < present; i++) {
        const keyentry &row = ctx->keytable->entry[i];
        if (!islost(row))
            list[listed++] = {row.src, row.len, i, row.type};
    }
    std::sort(list, list + listed, comesfirst);

    uint64_t covered = 0;
    for (uint32_t i = 0; i < listed; i++) {
        const lostbytes lost = lostof(list[i].type);
        const uint64_t start = uint64_t{list[i].src} + lost.front;
        const uint64_t end = uint64_t{list[i].src} + list[i].len;
        if (start > covered)
            addgap(covered, start);
        else if (end <= covered)
            continue;
        covered = end - lost.tail;
    }
    const uint32_t prefix = prefixof(formof(ctx));
    const uint64_t recordend = uint64_t{ctx->reconopt ? ctx->outreclen : ctx->inreclen} + prefix;
    if (recordend > covered)
        addgap(covered, recordend);
    return 0;
}

void tablebuilder::addgap(uint64_t from, uint64_t to) {
    addraw(cut(from), to - from);
}

// The rows hold the prefix of 'v' already, and still the record gets a word more,
// unused: intended, the slot count shows it.
void addlength(qha5ctx *ctx) {
    if (istext(ctx))
        ctx->txtlenoff = ctx->intreclen;
    if (!isfixed(ctx))
        ctx->intreclen += lengthword;
}

} // namespace kvern

// Replacement selection.  All N slots play in a tree of losers (losertree.h) for the
// lowest key; the champion goes to the output WB, and the next record of the input
// takes its slot:
//
//   new record against the last one written
//     equal    written at once, the tree stays as it is
//     higher   plays from the champion's leaf; the new champion is written
//     lower    too late for this string: its slot is frozen, the loser nearest above
//              the leaf plays on in its place
//
// The last record written stays as an image in the output WB, counted but not yet
// stepped over, for the slot it came from is overwritten by the next record:
//
//   outwb   | r | r | r | image |  free      count 4
//           first       next          end
//
// A frozen slot is one that no entry of the tree holds; their number is enough to know.
// When frozenlimit slots are frozen the string ends: its WB goes out, whatever its
// count, and all slots enter a fresh tree, in the order of their addresses, so that
// building it runs through memory once.  The limit leaves about one WB of records
// that would still have fitted; they open the next string.  No string's end is
// recorded anywhere, for the final merge goes by the first keys of the WBs alone.
// With slots for 3 records and a limit of 2, the input 5 3 8 | 4 9 1 2:
//
//   tree 3 5 8 -> 3;  4 -> 4;  9 -> 5;  1 frozen -> 8;  2 frozen: the string 3 4 5 8
//   ends, 1 2 9 play on; at the end of input 1, and then 2 9, are the last strings
//
// Invariants: slots in the tree, frozen slots and the champion are together N;
// outwb has room for the image; the image is not above any record of the tree.
#include "sort/external/external.h"

#include "select/select.h"
#include "session/qha9msg.h"
#include "sort/external/blockindex.h"
#include "sort/external/tempfile.h"
#include "sort/external/wbio.h"
#include "sort/incore/keywidth.h"
#include "sort/incore/losertree.h"
#include "sort/incore/slots.h"
#include "sort/record/rawrecord.h"

#include <cassert>
#include <cstring>

namespace kvern {

namespace {

template <uint32_t width>
struct slotrules {
    keyorder<width> order;
    bool before(const slot &a, const slot &b) const {
        return order.compare(a.record(), b.record()) < 0;
    }
    auto weightof(const slot &player) const requires isnumber<width> {
        return keynumber<width>(player.record());
    }
    static uint32_t &leafof(slot &player) { return player.leaf; }
};
template <uint32_t width>
using slottree = losertree<slot, slotrules<width>>;

template <uint32_t width>
slottree<width> treeof(const qha5ctx *ctx) {
    return {ctx->slotptrs, {keyorder<width>(ctx->keylen)}};
}

slot *slotat(const qha5ctx *ctx, uint32_t number) {
    return reinterpret_cast<slot *>(reinterpret_cast<uint8_t *>(ctx->slotbase) +
                                    size_t{number} * ctx->slotstride);
}

// All slots but one, in the order of their addresses, as a chain at slotfirst.
void chainall(qha5ctx *ctx, const slot *without) {
    slot *next = nullptr;
    for (uint32_t at = ctx->slotcount; at != 0; --at) {
        slot *player = slotat(ctx, at - 1);
        if (player == without)
            continue;
        player->link = next;
        next = player;
    }
    ctx->slotfirst = next;
}

// For assertions: entries that hold a player.
[[maybe_unused]] uint32_t slotsintree(const qha5ctx *ctx) {
    uint32_t players = 0;
    for (uint32_t at = 0; at < ctx->slotcount; ++at)
        players += ctx->slotptrs[at] != nullptr ? 1 : 0;
    return players;
}

// Writes the output WB and takes the next.
int turnover(qha5ctx *ctx) {
    ++ctx->datawbcount;
    if (appendwb(ctx, ctx->outwb) != 0)
        return -1;
    ctx->outwb = nextoutwb(ctx);
    return ctx->outwb == nullptr ? -1 : 0;
}

void writeimage(const qha5ctx *ctx, const slot *player) {
    blockhdr *wb = ctx->outwb;
    assert(static_cast<size_t>(wb->end - wb->next) >= ctx->intreclen);
    ++wb->count;
    memcpy(wb->next, player->record(), ctx->intreclen);
}

// The tree of all N slots of the chain at slotfirst; its champion opens a string.
void openstring(const qha5ctx *ctx) {
    slottree<0> tree = treeof<0>(ctx);
    tree.build(ctx->slotfirst, ctx->slotcount);
    writeimage(ctx, tree.champion());
}

// All slots play for the next string, the frozen ones and those left in the tree.
int endstring(qha5ctx *ctx) {
    ++ctx->stringcount;
    if (ctx->outwb->count > 0 && turnover(ctx) != 0)
        return -1;
    assert(slotsintree(ctx) + ctx->frozencount == ctx->slotcount);
    ctx->frozencount = 0;
    chainall(ctx, nullptr);
    openstring(ctx);
    return 0;
}

// Steps the output WB over the image, so that another record has room.
inline int stepoutput(qha5ctx *ctx) {
    blockhdr *wb = ctx->outwb;
    wb->next += ctx->intreclen;
    return static_cast<size_t>(wb->end - wb->next) < ctx->intreclen ? turnover(ctx) : 0;
}

blockhdr *endintake(blockhdr *block, int32_t status) {
    block->iostat = status;
    return block;
}

// The new record, in the champion's slot, by how it compares with the last one written.
// Part of the loop below, and in line with it.
template <uint32_t width>
[[gnu::always_inline]] inline int playnew(qha5ctx *ctx, slottree<width> &tree, uint32_t *leaf,
                                          int against) {
    slot *player = tree.champion();
    if (against == 0) {
        writeimage(ctx, player);
        return 0;
    }
    if (against < 0) {
        tree.setchampion(nullptr);
        if (++ctx->frozencount >= ctx->frozenlimit) {
            if (endstring(ctx) != 0)
                return -1;
            *leaf = tree.champion()->leaf;
            return 0;
        }
        player = tree.takeabove(*leaf);
        if (player == nullptr)
            return faillogic(ctx);
    }
    tree.replay(*leaf, player);
    writeimage(ctx, tree.champion());
    *leaf = tree.champion()->leaf;
    return 0;
}

// The string-creating `intake`.
template <uint32_t width, bool selecting>
blockhdr *makestrings(qha5ctx *ctx, blockhdr *block) {
    slottree<width> tree = treeof<width>(ctx);
    const keyorder<width> order(ctx->keylen);
    const uintptr_t keytop = sizeof(slot) + (ctx->keylen > 8 ? ctx->keylen - 8 : 0);
    uint32_t leaf = tree.champion()->leaf;
    scanwithin(ctx, block);
    while (block->next < block->limit) {
        if constexpr (selecting) {
            const int32_t dropped = dropnext(ctx, block);
            if (dropped < 0)
                return endintake(block, io_failed);
            if (dropped > 0) {
                --block->count;
                continue;
            }
        }
        slot *player = tree.champion();
        tree.prefetch(leaf, keytop);
        const int32_t taken = ctx->encode(ctx, block->next, player->record());
        if (taken < 0)
            return endintake(block, io_failed);
        block->next += taken;
        --block->count;

        const int against = order.compare(player->record(), ctx->outwb->next);
        if (stepoutput(ctx) != 0 || playnew(ctx, tree, &leaf, against) != 0)
            return endintake(block, io_failed);
    }
    return endintake(block, io_done);
}

template <bool selecting>
constexpr widthrow<blockroutine> makers[] = {
    {4, makestrings<4, selecting>},   {8, makestrings<8, selecting>},
    {12, makestrings<12, selecting>}, {16, makestrings<16, selecting>},
    {24, makestrings<24, selecting>}, {0, makestrings<0, selecting>},
};

int writesorted(qha5ctx *ctx, uint32_t records) {
    for (uint32_t at = 0; at < records; ++at) {
        constexpr uint32_t ahead = 8; // slots lie in no order; fetch a few early
        if (at + ahead < records)
            __builtin_prefetch(ctx->slotptrs[at + ahead]->record());
        writeimage(ctx, ctx->slotptrs[at]);
        ctx->outwb->next += ctx->intreclen;
        if (ctx->outwb->count == ctx->recperwb && turnover(ctx) != 0)
            return -1;
    }
    return 0;
}

int firstfile(qha5ctx *ctx) {
    if (newtemp(ctx) != 0) // the first candidate decides, though more may remain: intended
        return -1;
    ctx->tempused = true;
    ctx->defaulttemp = true;
    return 0;
}

} // namespace

int goexternal(qha5ctx *ctx) {
    if (ctx->tempfilelimit == 0)
        ctx->tempfilelimit = platform::filelimit();
    if (firstfile(ctx) != 0 || openindex(ctx) != 0)
        return -1;
    ctx->outwb = nextoutwb(ctx);
    if (ctx->outwb == nullptr)
        return -1;
    ctx->frozencount = 0;
    ctx->slotbase = ctx->slotfirst;
    openstring(ctx);
    ctx->external = true;
    ctx->intake =
        ctx->selectopt ? forwidth(makers<true>, ctx->keylen) : forwidth(makers<false>, ctx->keylen);
    return 0;
}

int endstrings(qha5ctx *ctx) {
    ++ctx->stringcount;
    if (ctx->outwb->count > 0 && turnover(ctx) != 0)
        return -1;
    assert(slotsintree(ctx) + ctx->frozencount == ctx->slotcount);
    chainall(ctx, ctx->slotptrs[0]); // the champion's record is out already
    const uint32_t records = ctx->slotused - 1;
    if (sortslots(ctx, records) != 0 || writesorted(ctx, records) != 0)
        return -1;
    blockhdr *last = ctx->outwb;
    ctx->outwb = nullptr;
    if (last->count != 0) {
        ++ctx->datawbcount;
        if (appendwb(ctx, last) != 0)
            return -1;
    } else {
        returnwb(ctx, last);
    }
    return drain(ctx);
}

} // namespace kvern

// Block ordering.  In: a backward chain of index WBs, entries in the order of writing
// (blockindex.cpp).  Out: a forward chain, ascending by key; every WB but the last
// ends in an x entry that names the next and bears its lowest key:
//
//   root  | 10 | 20 | 30 | x40 | --> | 40 | 50 | 50 | x70 | --> | 70 | 80 |
//
// Only entries are read and written, never data, and the places of the index WBs are
// used over again.
//
//   sortnext  | sentinel | entries: at most (idxperwb - 1) * G + 1 | G + 1 places |
//
// Insertion: the index WBs are read one ahead; the entries of a WB are sorted and
// merged into the falling list in one walk.  When entries run short, the lowest
// idxperwb of the list go into the WB just read, as a group with an x entry in the
// list (indexlist.h), and the WB is written to the place it came from.  A WB that was
// taken in whole leaves its place in `places`.
//
// Output: the list from the highest entry down fills WBs from their last position
// down.  An x entry is read, its group merged into the list; if entries run short the
// lowest go out again in the same way.
//
// G is at least 3, so a group never reaches up to the head of the list.  Invariants:
// what indexlist.h tells; every d entry is counted once when read and once when put.
#include "sort/external/external.h"

#include "session/qha9msg.h"
#include "sort/external/indexlist.h"
#include "sort/external/tempfile.h"
#include "sort/external/wbio.h"

#include <cassert>
#include <cstring>

namespace kvern {

namespace {

// The place of a WB on disk that was read and may be written over.
struct placenode {
    placenode *link;
    tempfile *file;
    platform::filepos filepos;
};

constexpr uint32_t leastgroups = 3;

class ordering {
  public:
    explicit ordering(qha5ctx *session) : ctx(session) {}
    [[nodiscard]] int run();

  private:
    qha5ctx *ctx;
    placenode *places = nullptr; // places free for writing
    placenode *spare = nullptr;  // nodes without a place
    blockhdr *reading = nullptr; // index WB whose read was issued
    blockhdr *out = nullptr;     // WB being filled from its end
    uint32_t taken = 0;          // d entries read
    uint32_t moved = 0;          // d entries put

    [[nodiscard]] int layout();
    [[nodiscard]] int issueread(tempfile *file, platform::filepos place, uint32_t count);
    [[nodiscard]] int nextindexwb(blockhdr **wb);
    [[nodiscard]] int takein(blockhdr *wb);
    [[nodiscard]] int insertall();
    void insertsorted(idxentry *chain);
    void keepplace(const blockhdr *wb);

    [[nodiscard]] int outputall();
    [[nodiscard]] int openout();
    idxentry *topfree() const;
    void put(const idxentry *entry);
    [[nodiscard]] int writeback(blockhdr *wb);
    [[nodiscard]] int writeout();
    [[nodiscard]] int nextout();
    [[nodiscard]] int expand(idxentry *group);
    [[nodiscard]] int closeroot();
};

int ordering::layout() {
    const uint64_t entrylen = ctx->idxentlen;
    const uint64_t perwb = ctx->idxperwb;
    const uint64_t fixedpart = 2 * entrylen + sizeof(placenode);
    const uint64_t groups =
        ctx->sortfree < fixedpart
            ? 0
            : (ctx->sortfree - fixedpart) / ((perwb - 1) * entrylen + sizeof(placenode));
    if (groups < leastgroups)
        return faillogic(ctx);
    uint64_t count = (perwb - 1) * groups + 1;
    if (count > uint64_t{ctx->dataentries} + 1)
        count = uint64_t{ctx->dataentries} + 1;

    auto *sentinel = reinterpret_cast<idxentry *>(ctx->sortnext);
    memset(static_cast<void *>(sentinel), 0, ctx->idxentlen);
    sentinel->kind = ek_end;
    sentinel->link = sentinel;
    ctx->idxlist = ctx->idxsentinel = sentinel;
    ctx->idxcount = 1;
    layentries(ctx, ctx->sortnext + entrylen, static_cast<uint32_t>(count));
    auto *nodes = reinterpret_cast<placenode *>(ctx->sortnext + (count + 1) * entrylen);
    for (uint64_t at = 0; at <= groups; ++at) {
        nodes[at].link = spare;
        spare = &nodes[at];
    }
    assert(reinterpret_cast<uint8_t *>(nodes + groups + 1) <= ctx->sortnext + ctx->sortfree);
    return 0;
}

void ordering::keepplace(const blockhdr *wb) {
    placenode *node = spare;
    if (node == nullptr)
        return; // more than G + 1 free places serve nobody
    spare = node->link;
    *node = {places, wb->file, wb->filepos};
    places = node;
}

// ---- insertion ------------------------------------------------------------

int ordering::issueread(tempfile *file, platform::filepos place, uint32_t count) {
    blockhdr *wb = freewb(ctx);
    if (wb == nullptr)
        return -1;
    loadplace(wb, file, place, count);
    reading = wb;
    return readwb(ctx, wb);
}

// The index WB whose read was issued, or null at the end of the chain; issues the
// read of its predecessor.
int ordering::nextindexwb(blockhdr **wb) {
    *wb = reading;
    if (*wb == nullptr)
        return 0;
    if (takedone(ctx, *wb) == nullptr || (*wb)->iostat != io_done)
        return -1;
    (*wb)->state = bs_inside;
    const auto *chain = reinterpret_cast<const idxentry *>((*wb)->first);
    if (chain->tempfile != nullptr)
        return issueread(chain->tempfile, chain->filepos, chain->count);
    reading = nullptr;
    return 0;
}

// Of equal keys the later arrival stands in front.
void ordering::insertsorted(idxentry *chain) {
    (void)mergechain<listorder::falling_front>(ctx, &ctx->idxlist, sortfalling(ctx, chain));
}

// A group, to the place that the WB was read from.
int ordering::writeback(blockhdr *wb) {
    wb->count = ctx->idxperwb;
    if (overwritewb(ctx, wb) != 0)
        return -1;
    returnwb(ctx, wb);
    return 0;
}

int ordering::takein(blockhdr *wb) {
    if (wb->count == 0 || wb->count > ctx->idxperwb)
        return faillogic(ctx);
    entrysource source{wb->first + ctx->idxentlen, wb->count - 1};
    taken += source.left;
    insertsorted(takechain(ctx, &source).first);
    if (source.left == 0) {
        returnwb(ctx, wb);
        keepplace(wb);
        return 0;
    }
    idxentry **at = &ctx->idxlist;
    entrychain rest{};
    if (!evictgroup(ctx, wb, wb->first, &source, &at, &rest))
        return faillogic(ctx);
    insertsorted(rest.first);
    return writeback(wb);
}

int ordering::insertall() {
    if (!allidle(ctx))
        return faillogic(ctx);
    if (issueread(ctx->idxrootfile, ctx->idxrootpos, ctx->idxrootcount) != 0)
        return -1;
    for (;;) {
        blockhdr *wb = nullptr;
        if (nextindexwb(&wb) != 0)
            return -1;
        if (wb == nullptr)
            break;
        if (takein(wb) != 0)
            return -1;
    }
    assert(listholds(ctx));
    return taken == ctx->dataentries ? 0 : faillogic(ctx);
}

// ---- output ---------------------------------------------------------------

int ordering::openout() {
    out = freewb(ctx);
    return out == nullptr ? -1 : 0;
}

// The highest position that is still free.
idxentry *ordering::topfree() const {
    assert(out->count < ctx->idxperwb);
    const size_t position = ctx->idxperwb - 1 - out->count;
    return reinterpret_cast<idxentry *>(out->first + position * ctx->idxentlen);
}

void ordering::put(const idxentry *entry) {
    memcpy(static_cast<void *>(topfree()), static_cast<const void *>(entry), ctx->idxentlen);
    ++out->count;
}

// To a place that was read, or to a new one where there is none.
int ordering::writeout() {
    placenode *node = places;
    if (node == nullptr) {
        if (writewbsync(ctx, out) != 0)
            return -1;
    } else {
        places = node->link;
        node->link = spare;
        spare = node;
        loadplace(out, node->file, node->filepos, out->count);
        if (overwritewb(ctx, out) != 0)
            return -1;
    }
    returnwb(ctx, out);
    return 0;
}

// Writes the full WB and starts the next with an x entry for it.
int ordering::nextout() {
    if (writeout() != 0)
        return -1;
    const blockhdr full = *out;
    if (openout() != 0)
        return -1;
    idxentry *chain = topfree(); // may lie in the memory of the WB just written, not at its start
    memcpy(static_cast<void *>(chain), full.first, ctx->idxentlen);
    chain->kind = ek_index;
    chain->mark = em_unread;
    chain->tempfile = full.file;
    chain->filepos = full.filepos;
    chain->count = full.count;
    out->count = 1;
    return 0;
}

// Brings the group of the x entry at the head of the list back into the list.
int ordering::expand(idxentry *group) {
    blockhdr *wb = freewb(ctx);
    if (wb == nullptr)
        return -1;
    loadplace(wb, group->tempfile, group->filepos, group->count);
    if (readwbsync(ctx, wb) != 0)
        return -1;
    if (wb->count == 0 || wb->count > ctx->idxperwb)
        return faillogic(ctx);
    copyentry(ctx, group, wb->first);
    entrysource source{wb->first + ctx->idxentlen, wb->count - 1};
    idxentry **at =
        mergechain<listorder::falling_back>(ctx, &group->link, takechain(ctx, &source).first);
    if (source.left == 0) {
        returnwb(ctx, wb);
        keepplace(wb);
        return 0;
    }
    entrychain rest{};
    if (!evictgroup(ctx, wb, wb->first, &source, &at, &rest))
        return faillogic(ctx);
    (void)mergechain<listorder::falling_back>(ctx, at, rest.first);
    return writeback(wb);
}

// The last WB written is the root; its entries move down to position 0.
int ordering::closeroot() {
    const size_t bytes = size_t{out->count} * ctx->idxentlen;
    memmove(out->first, out->first + size_t{ctx->idxperwb} * ctx->idxentlen - bytes, bytes);
    const blockhdr *root = out;
    const uint32_t count = out->count;
    if (writeout() != 0)
        return -1;
    ctx->idxrootfile = root->file;
    ctx->idxrootpos = root->filepos;
    ctx->idxrootcount = count;
    return moved == ctx->dataentries ? 0 : faillogic(ctx);
}

int ordering::outputall() {
    if (openout() != 0)
        return -1;
    while (ctx->idxlist->kind != ek_end) {
        idxentry *head = ctx->idxlist;
        if (out->count == ctx->idxperwb && nextout() != 0)
            return -1;
        if (head->kind == ek_index) {
            if (expand(head) != 0)
                return -1;
            continue;
        }
        if (head->kind != ek_data)
            return faillogic(ctx);
        put(head);
        ++moved;
        ctx->idxlist = head->link;
        --ctx->idxcount;
        dropentry(ctx, head);
    }
    return closeroot();
}

int ordering::run() {
    return layout() != 0 || insertall() != 0 || outputall() != 0 ? -1 : 0;
}

} // namespace

int orderblocks(qha5ctx *ctx) {
    return ordering(ctx).run();
}

} // namespace kvern

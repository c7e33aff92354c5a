// Expansion of an x entry in the rising list of the final merge.  The first entry of
// the group takes the place of the x entry, the others are merged in behind it; spilled
// WBs may stand between them:
//
//   before  | 30 | x40 | 52 spilled | 90 | sentinel        on disk: 40 50 60
//   after   | 30 | 40 | 50 | 52 spilled | 60 | 90 | sentinel
//
// If entries run short, the highest idxperwb of all, those of the list and those of the
// group not yet placed, go out by way of sparewb, as a group of their own, to the place
// that the group was just read from:
//
//   list 30 40 50 52 90      not placed: 60 70      idxperwb 3: out go 60 70 90
//   after   | 30 | 40 | 50 | 52 | x60 | sentinel
//
// What stays are the lowest, so many WBs come due before the next group does.  At least
// one entry of the list goes out (the group has idxperwb - 1 entries to place), and
// the list holds at least four more than go out, so neither the head nor the x entry
// is among them.
#include "sort/external/indexlist.h"

#include "session/qha9msg.h"
#include "sort/external/wbio.h"
#include "sort/incore/keycompare.h"

#include <cassert>
#include <cstring>

namespace kvern {

namespace {

const uint8_t *bytesof(const idxentry *entry) {
    return reinterpret_cast<const uint8_t *>(entry);
}

const uint8_t *keyof(const uint8_t *image) {
    return image + sizeof(idxentry);
}

// Two rising sequences as one; of equal keys those of the list come first.
struct unionwalk {
    idxentry **link; // next entry of the list
    const uint8_t *source;
    uint32_t left; // entries of the source

    bool listfirst(const qha5ctx *ctx) const {
        return left == 0 || ((*link)->kind != ek_end &&
                             keycompare((*link)->key(), keyof(source), ctx->keylen) <= 0);
    }
    void step(const qha5ctx *ctx) {
        if (listfirst(ctx)) {
            link = &(*link)->link;
        } else {
            source += ctx->idxentlen;
            --left;
        }
    }
};

// Copies all that the walk still has to `image` and makes the first entry of the list
// among it the x entry for the place of `wb`; the others are given back.
void writegroup(qha5ctx *ctx, unionwalk walk, const blockhdr *wb, uint8_t *image) {
    idxentry *group = *walk.link;
    uint8_t *to = image;
    idxentry *rest = group;
    for (walk.link = &rest; *walk.link != ctx->idxsentinel || walk.left != 0;) {
        const bool fromlist = walk.listfirst(ctx);
        memcpy(to, fromlist ? bytesof(*walk.link) : walk.source, ctx->idxentlen);
        to += ctx->idxentlen;
        walk.step(ctx);
    }
    assert(to == image + size_t{ctx->idxperwb} * ctx->idxentlen);

    for (idxentry *entry = group->link; entry != ctx->idxsentinel; --ctx->idxcount) {
        idxentry *following = entry->link;
        dropentry(ctx, entry);
        entry = following;
    }
    copyentry(ctx, group, image);
    group->link = ctx->idxsentinel;
    group->kind = ek_index;
    group->mark = em_unread;
    group->tempfile = wb->file;
    group->filepos = wb->filepos;
    group->count = ctx->idxperwb;
}

// `at` is the link behind the last entry of the group that was placed.
int evicttop(qha5ctx *ctx, const blockhdr *buffer, entrysource source, idxentry **at) {
    const uint32_t all = ctx->idxcount - 1 + source.left;
    if (all <= ctx->idxperwb)
        return faillogic(ctx);
    unionwalk walk{&ctx->idxlist, source.next, source.left};
    for (uint32_t staying = all - ctx->idxperwb; staying != 0; --staying)
        walk.step(ctx);
    if (*walk.link == ctx->idxsentinel)
        return faillogic(ctx);
    writegroup(ctx, walk, buffer, ctx->sparewb->first);
    source.left -= walk.left;
    if (source.left != 0) // what was placed lies below what was not, so `at` still stands
        (void)mergechain<listorder::rising_back>(ctx, at, takechain(ctx, &source).first);
    if (source.left != 0)
        return faillogic(ctx);
    loadplace(ctx->sparewb, buffer->file, buffer->filepos, ctx->idxperwb);
    return overwritewb(ctx, ctx->sparewb);
}

} // namespace

int expandgroup(qha5ctx *ctx, idxentry *group, blockhdr *buffer) {
    loadplace(buffer, group->tempfile, group->filepos, group->count);
    if (readwbsync(ctx, buffer) != 0)
        return -1;
    if (buffer->count == 0 || buffer->count > ctx->idxperwb)
        return faillogic(ctx);
    copyentry(ctx, group, buffer->first);
    entrysource source{buffer->first + ctx->idxentlen, buffer->count - 1};
    idxentry **at =
        mergechain<listorder::rising_back>(ctx, &group->link, takechain(ctx, &source).first);
    if (source.left != 0 && evicttop(ctx, buffer, source, at) != 0)
        return -1;
    assert(listholds(ctx));
    buffer->state = bs_free;
    return 0;
}

} // namespace kvern

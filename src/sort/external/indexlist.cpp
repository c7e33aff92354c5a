#include "sort/external/indexlist.h"

#include "sort/incore/keycompare.h"

#include <cassert>
#include <cstring>

namespace kvern {

void layentries(qha5ctx *ctx, uint8_t *area, uint32_t count) {
    ctx->idxfree = nullptr;
    for (uint32_t at = count; at != 0; --at) {
        auto *entry = reinterpret_cast<idxentry *>(area + size_t{at - 1} * ctx->idxentlen);
        dropentry(ctx, entry);
    }
}

idxentry *takeentry(qha5ctx *ctx) {
    idxentry *entry = ctx->idxfree;
    ctx->idxfree = entry->link;
    entry->link = nullptr;
    return entry;
}

void dropentry(qha5ctx *ctx, idxentry *entry) {
    entry->tempfile = nullptr;
    entry->link = ctx->idxfree;
    ctx->idxfree = entry;
}

void copyentry(const qha5ctx *ctx, idxentry *to, const uint8_t *from) {
    idxentry *link = to->link;
    memcpy(static_cast<void *>(to), from, ctx->idxentlen);
    to->link = link;
}

namespace {

void append(const qha5ctx *ctx, entrychain *chain, idxentry *entry, entrysource *source) {
    copyentry(ctx, entry, source->next);
    source->next += ctx->idxentlen;
    --source->left;
    entry->link = nullptr;
    (chain->last == nullptr ? chain->first : chain->last->link) = entry;
    chain->last = entry;
}

} // namespace

entrychain takechain(qha5ctx *ctx, entrysource *source) {
    entrychain chain{};
    while (source->left != 0 && !onefree(ctx))
        append(ctx, &chain, takeentry(ctx), source);
    return chain;
}

namespace {

// The first of the last `size` entries in front of the sentinel.
idxentry *groupstart(const qha5ctx *ctx, uint32_t size) {
    idxentry *entry = ctx->idxlist;
    for (uint32_t links = ctx->idxcount - size - 1; links != 0; --links)
        entry = entry->link;
    return entry;
}

// The entry stands for itself and those that were behind it, up to `following`.
void makegroup(idxentry *head, idxentry *following, uint32_t size, const blockhdr *wb) {
    head->link = following;
    head->kind = ek_index;
    head->mark = em_unread;
    head->count = size;
    head->tempfile = wb->file;
    head->filepos = wb->filepos;
}

} // namespace

bool evictgroup(qha5ctx *ctx, const blockhdr *wb, uint8_t *image, entrysource *source,
                idxentry ***at, entrychain *taken) {
    const uint32_t groupsize = ctx->idxperwb;
    assert(listholds(ctx));
    if (source->left == 0 || ctx->idxcount <= groupsize)
        return false;
    idxentry *head = groupstart(ctx, groupsize);

    // The last free entry goes first: it makes the source one entry ahead of the
    // image, and from then on each member is copied before it is used again.
    *taken = entrychain{};
    append(ctx, taken, takeentry(ctx), source);
    memcpy(image, static_cast<const void *>(head), ctx->idxentlen);
    idxentry *member = head->link;
    for (uint32_t place = 1; place < groupsize; ++place) {
        idxentry *following = member->link;
        memcpy(image + size_t{place} * ctx->idxentlen, static_cast<const void *>(member),
               ctx->idxentlen);
        if (*at == &member->link)
            *at = &head->link;
        if (source->left != 0)
            append(ctx, taken, member, source);
        else
            dropentry(ctx, member);
        member = following;
    }
    assert(member->kind == ek_end);
    makegroup(head, member, groupsize, wb);
    ctx->idxcount -= groupsize - 1;
    return source->left == 0 && ctx->idxfree != nullptr;
}

namespace {

template <listorder order>
bool staysinfront(const qha5ctx *ctx, const idxentry *there, const idxentry *fresh) {
    const int against = keycompare(there->key(), fresh->key(), ctx->keylen);
    if constexpr (order == listorder::falling_front)
        return against > 0;
    else if constexpr (order == listorder::falling_back)
        return against >= 0;
    else
        return against <= 0;
}

} // namespace

template <listorder order>
idxentry **mergechain(qha5ctx *ctx, idxentry **at, idxentry *chain) {
    while (chain != nullptr) {
        idxentry *fresh = chain;
        chain = chain->link;
        while ((*at)->kind != ek_end && staysinfront<order>(ctx, *at, fresh))
            at = &(*at)->link;
        fresh->link = *at;
        *at = fresh;
        at = &fresh->link;
        ++ctx->idxcount;
    }
    return at;
}

template idxentry **mergechain<listorder::falling_front>(qha5ctx *, idxentry **, idxentry *);
template idxentry **mergechain<listorder::falling_back>(qha5ctx *, idxentry **, idxentry *);
template idxentry **mergechain<listorder::rising_back>(qha5ctx *, idxentry **, idxentry *);

namespace {

// Both chains fall; of equal keys those of `later` go first.
idxentry *mergefalling(const qha5ctx *ctx, idxentry *earlier, idxentry *later) {
    idxentry *first = nullptr;
    idxentry **tail = &first;
    while (earlier != nullptr && later != nullptr) {
        const bool takeearlier = keycompare(earlier->key(), later->key(), ctx->keylen) > 0;
        idxentry *&from = takeearlier ? earlier : later;
        *tail = from;
        tail = &from->link;
        from = from->link;
    }
    *tail = earlier != nullptr ? earlier : later;
    return first;
}

} // namespace

// A merge sort from the bottom up: waiting[i] is null or a sorted chain of 2^i entries,
// all of them earlier than those in waiting[j] for j below i.
idxentry *sortfalling(const qha5ctx *ctx, idxentry *chain) {
    constexpr uint32_t levels = 32;
    idxentry *waiting[levels] = {};
    while (chain != nullptr) {
        idxentry *sorted = chain;
        chain = chain->link;
        sorted->link = nullptr;
        uint32_t level = 0;
        for (; waiting[level] != nullptr; ++level) {
            sorted = mergefalling(ctx, waiting[level], sorted);
            waiting[level] = nullptr;
        }
        waiting[level] = sorted;
    }
    idxentry *all = nullptr;
    for (idxentry *sorted : waiting)
        if (sorted != nullptr)
            all = mergefalling(ctx, sorted, all);
    return all;
}

bool listholds(const qha5ctx *ctx) {
    uint32_t length = 1;
    const idxentry *entry = ctx->idxlist;
    for (; entry->kind != ek_end; entry = entry->link) {
        if (entry->kind != ek_data && entry->kind != ek_index)
            return false;
        ++length;
    }
    return length == ctx->idxcount && entry->link == entry;
}

} // namespace kvern

// The key definition blocks: a chain of blocks that starts with block 0, each
// with as many entries as fit.  The walk takes every entry that the header
// counts; a chain that loops ends all the same, since each block but the first
// has room for an entry.
#include "file/indexed/idxblock.h"
#include "file/indexed/idxformat.h"
#include "file/indexed/idxreader.h"

#include <cstring>

namespace kvern {

namespace {

using namespace idxformat;

enum class walkend : uint8_t {
    complete,
    torn,    // a block or an entry that is none
    cutoff,  // the last block comes before the last entry
    waiting, // more entries in the next block
};

void storepart(idxinfo &info, uint32_t number, const uint8_t *entry) {
    const uint8_t flags = entry[entryflagsat];
    const uint32_t position = big16(entry + positionat);
    keypart &part = info.keyparts[number];
    part.length = static_cast<uint8_t>(big16(entry + lengthat));
    part.position[0] = static_cast<uint8_t>(position);
    part.position[1] = static_cast<uint8_t>(position >> 8);
    part.flags = static_cast<uint8_t>(((flags & flag_attribute) != 0 ? kp_attribute : 0) |
                                      ((flags & flag_more) != 0 ? kp_more : 0));
    info.keynumber[number] = static_cast<uint8_t>(info.keycount);
    if ((flags & flag_more) != 0)
        return;
    info.keycount++;
    if ((flags & flag_attribute) != 0)
        info.dupkeycount++;
}

// Takes the entries of the block that was read; *taken counts them over all.
walkend takeentries(const qha5ctx *ctx, idxinfo &info, bool firstblock, uint32_t *taken) {
    const uint8_t *block = ctx->idxblock;
    if (block[typeat] != keyblock)
        return walkend::torn;
    uint64_t at = firstblock ? headerlen : headlen;
    for (; at + entrylen <= ctx->idxblocklen && *taken < info.keypartcount; at += entrylen) {
        uint8_t *entry = ctx->idxentry + size_t{*taken} * entrylen;
        memcpy(entry, block + at, entrylen);
        const uint32_t length = big16(entry + lengthat);
        if (length == 0 || length > longestpart || entry[entryflagsat] > allflags)
            return walkend::torn;
        storepart(info, *taken, entry);
        ++*taken;
    }
    if (*taken == info.keypartcount)
        return walkend::complete;
    return big32(block + nextat) == 0 ? walkend::cutoff : walkend::waiting;
}

walkend walkblocks(qha5ctx *ctx, const filectl *file, idxinfo &info) {
    uint32_t number = 0, taken = 0;
    walkend end;
    do {
        if (idxreadblock(ctx, file, number) != 0)
            return walkend::torn;
        end = takeentries(ctx, info, number == 0, &taken);
        number = big32(ctx->idxblock + nextat);
    } while (end == walkend::waiting);
    return end;
}

} // namespace

// A block that cannot be read is told of twice, as what happened and as what it
// means for the file: intended.
int idxreadkeys(qha5ctx *ctx, filectl *file) {
    idxinfo &info = *ctx->idxinfos[ctx->idxcur];
    info.keycount = info.dupkeycount = 0;
    const walkend end = walkblocks(ctx, file, info);
    idxclose(ctx, file);
    if (end == walkend::torn)
        return idxtorn(ctx, file);
    if (end != walkend::complete)
        return -1;
    info.variablerecs = info.minreclen != info.maxreclen ? 1 : 0;
    return 0;
}

} // namespace kvern

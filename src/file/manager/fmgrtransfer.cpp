// Records to and from the file manager, a request each; the message pump has its
// turn once a block.
#include "file/manager/fmgrcall.h"
#include "file/manager/fmgrio.h"
#include "session/pump.h"
#include "session/qha9msg.h"
#include "sort/record/blockrecord.h"

#include <cstring>

namespace kvern {

namespace {

constexpr uint8_t readflags[] = {0x80};
constexpr uint8_t writeflags[] = {0x00};

// ---- reading ----------------------------------------------------------------

int32_t failtransfer(qha5ctx *ctx, const filectl *file) {
    notesyscode(ctx, static_cast<uint32_t>(platform::lasterror()));
    return fail(ctx, msg_read, KVRN_D_READ, file->name, ctx->errnum);
}

int32_t failcoded(qha5ctx *ctx, const filectl *file, msgno message, const fmgrreply &reply) {
    tellsyserr(ctx, reply.code);
    return fail(ctx, message, KVRN_D_FILEMANAGER, file->name);
}

int32_t moved(const blockhdr *block) {
    return static_cast<int32_t>(block->next - block->first);
}

int32_t endblock(qha5ctx *ctx, blockhdr *block) {
    block->limit = block->next;
    return pumpround(ctx) ? -1 : moved(block);
}

// The block may hold records all the same; the next read then gives none.
int32_t endfile(blockhdr *block) {
    block->limit = block->next;
    return moved(block);
}

// The end shows as fs_end, once.  Asked again the manager of kinds 18 and 19 calls
// it a failure, that of kind 2 the end.
template <const fmgrkind &kind>
bool isfileend(filectl *file, uint8_t status) {
    if (status == fs_end) {
        file->atend = kind.readstatus ? 1 : file->atend;
        return true;
    }
    if (!kind.readstatus || status != fs_pastend || !file->atend)
        return false;
    file->atend = false;
    return true;
}

template <const fmgrkind &kind, class form>
int32_t readblock(qha5ctx *ctx, filectl *file) {
    if (file->kind != kind.kind)
        return -1;
    blockhdr *block = file->block;
    const auto room = static_cast<ptrdiff_t>(form::room(ctx->inreclen));
    block->next = block->first;
    block->count = 0;
    while (block->end - block->next >= room) {
        fmgrcall call(ctx, file->fmtable);
        call.number(fp_request, rq_read);
        call.number(fp_organisation, kind.organisation);
        call.string(fp_handle, file->fmhandle, file->handlelen);
        call.flags(fp_readflags, readflags, sizeof readflags);
        call.number(fp_length, ctx->inreclen);
        fmgrreply reply;
        if (!call.ask(block->next + form::prefix, &reply))
            return failtransfer(ctx, file);
        if (isfileend<kind>(file, reply.status))
            return endfile(block);
        if (kind.readstatus && reply.status != fs_done)
            return failcoded(ctx, file, msg_read, reply);
        // What is not longer than the longest record ends inside the block.  Any other
        // status of kind 2 comes as far as this: intended.
        fmgrvalue length;
        if (!call.scan(fp_length, &length) || !form::lengthfits(ctx, length.number))
            return failtransfer(ctx, file);
        form::settle(block, length.number);
        ctx->inbytes += length.number;
        ++block->count;
    }
    return endblock(ctx, block);
}

// ---- writing ----------------------------------------------------------------

int32_t failwrite(qha5ctx *ctx, const filectl *file) {
    notesyscode(ctx, static_cast<uint32_t>(platform::lasterror()));
    return fail(ctx, msg_write, KVRN_D_WRITE, file->name, ctx->errnum);
}

template <const fmgrkind &kind, class form>
int32_t writeblock(qha5ctx *ctx, filectl *file) {
    if (file->kind != kind.kind)
        return -1;
    blockhdr *block = file->block;
    for (block->next = block->first; block->count != 0; --block->count) {
        const recordspan record = form::show(ctx, block, 0);
        fmgrcall call(ctx, file->fmtable);
        call.number(fp_request, kind.write);
        call.number(fp_organisation, kind.organisation);
        call.string(fp_handle, file->fmhandle, file->handlelen);
        if constexpr (kind.writeflags)
            call.flags(fp_writeflags, writeflags, sizeof writeflags);
        call.number(fp_length, record.length);
        call.number(fp_37, 2);
        fmgrreply reply;
        if (!call.ask(record.bytes, &reply))
            return failwrite(ctx, file);
        if (reply.status != fs_done)
            return kind.writestatus ? failcoded(ctx, file, msg_write, reply) : failwrite(ctx, file);
        ctx->outbytes += record.length;
    }
    return pumpround(ctx) ? -1 : moved(block);
}

} // namespace

template <const fmgrkind &kind>
int32_t fmgrtransfer<kind>::readfixed(qha5ctx *ctx, filectl *file) {
    return readblock<kind, fixedrecord>(ctx, file);
}
template <const fmgrkind &kind>
int32_t fmgrtransfer<kind>::readvariable(qha5ctx *ctx, filectl *file) {
    return readblock<kind, variablerecord>(ctx, file);
}
template <const fmgrkind &kind>
int32_t fmgrtransfer<kind>::writefixed(qha5ctx *ctx, filectl *file) {
    return writeblock<kind, fixedrecord>(ctx, file);
}
template <const fmgrkind &kind>
int32_t fmgrtransfer<kind>::writevariable(qha5ctx *ctx, filectl *file) {
    return writeblock<kind, variablerecord>(ctx, file);
}

template struct fmgrtransfer<sequentialkind>;
template struct fmgrtransfer<indexedkind>;
template struct fmgrtransfer<relativekind>;

} // namespace kvern

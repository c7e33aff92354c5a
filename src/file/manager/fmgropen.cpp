// Opening and closing.  The manager is told of an indexed file what stands in the
// file's own header, and of an indexed output what the caller says of its keys.
#include "file/indexed/idxinfo.h"
#include "file/indexed/indexed.h"
#include "file/manager/fmgrcall.h"
#include "file/manager/fmgrio.h"
#include "file/manager/fmgrlibrary.h"
#include "session/qha9msg.h"
#include "sort/record/recordform.h"

#include <cstring>

namespace kvern {

namespace {

constexpr int toomanyfiles = 24; // error number behind the status fs_failed

// ---- failures ---------------------------------------------------------------

int32_t failopen(qha5ctx *ctx, const filectl *file) {
    notesyscode(ctx, static_cast<uint32_t>(platform::lasterror()));
    return fail(ctx, msg_open, KVRN_D_OPEN, file->name, ctx->errnum);
}

int32_t failform(qha5ctx *ctx, const filectl *file) {
    return fail(ctx, msg_fileblock, KVRN_D_FILEFORM, file->name, ctx->errnum);
}

int32_t failtoomany(qha5ctx *ctx) {
    return fail(ctx, msg_toomanyfiles, KVRN_D_TOOMANYFILES);
}

// An indexed file fails with the manager's own code, which the caller gets as
// syserr; the other kinds fail like any request.
template <const fmgrkind &kind>
int32_t failstatus(qha5ctx *ctx, const filectl *file, const fmgrreply &reply) {
    const bool reading = file->mode == 'r';
    if (reply.status == fs_refused)
        return reading ? fail(ctx, msg_noreadperm, KVRN_D_NOREADPERM, file->name)
                       : fail(ctx, msg_nowriteperm, KVRN_D_NOWRITEPERM, file->name);
    if (reply.status == fs_failed && platform::lasterror() == toomanyfiles)
        return failtoomany(ctx);
    if constexpr (kind.kind == KVRN_FILE_INDEXED) {
        tellsyserr(ctx, reply.code);
        return fail(ctx, msg_open, KVRN_D_FILEMANAGER, file->name);
    } else {
        return failopen(ctx, file);
    }
}

// ---- the request ------------------------------------------------------------

// Kinds 2 and 19: flag bytes by mode and record form.
struct openflags {
    uint32_t mode;
    bool variable;
    uint8_t bytes[4]; // the manager never told what the last one is for
};
constexpr openflags flagrows[] = {
    {'r', false, {0x00, 0x09, 0x08, 0}},
    {'r', true, {0x00, 0x09, 0x48, 0}},
    {'w', false, {0x80, 0x60, 0x09, 0}},
    {'w', true, {0x80, 0x60, 0x49, 0}},
};

int describeplain(const qha5ctx *ctx, const filectl *file, fmgrcall &call) {
    for (const openflags &row : flagrows)
        if (row.mode == file->mode && row.variable == isvariable(ctx))
            call.flags(fp_openflags, row.bytes, sizeof row.bytes);
    call.number(fp_longest, file->mode == 'r' ? ctx->inreclen : ctx->outreclen);
    return 0;
}

// Kind 18: the flags are a number.
constexpr uint32_t indexedinput = 0x8C900, indexedoutput = 0x9E080;
constexpr uint32_t indexedvariable = 0x400000;

// All inputs are opened as the last one was described: intended.
void describeinput(const qha5ctx *ctx, fmgrcall &call) {
    const idxinfo &info = *ctx->idxinfos[ctx->idxcur];
    call.number(fp_longest, info.maxreclen);
    call.number(fp_shortest, info.minreclen);
    call.string(fp_keyparts, info.keyparts,
                info.keypartcount * static_cast<uint32_t>(sizeof(keypart)));
    call.number(fp_19, info.openattr[0]);
    call.number(fp_20, info.openattr[1]);
    call.number(fp_blocksize, info.blocksize); // also where altblocksize is in force
    call.number(fp_46, info.indexattr[0]);
    call.number(fp_47, info.indexattr[1]);
}

int describeoutput(qha5ctx *ctx, const filectl *file, fmgrcall &call) {
    constexpr uint32_t newblocksize = 1024, new45 = 16;
    idxoutkeys keys;
    if (buildoutkeys(ctx, file, &keys) != 0)
        return -1;
    call.number(fp_longest, ctx->outreclen);
    call.number(fp_shortest, isfixed(ctx) ? ctx->outreclen : 0);
    call.string(fp_keyparts, keys.parts, keys.bytes);
    call.number(fp_blocksize, newblocksize);
    call.number(fp_45, new45);
    call.number(fp_46, keys.indexattr[0]);
    call.number(fp_47, keys.indexattr[1]);
    return 0;
}

int describekeyed(qha5ctx *ctx, const filectl *file, fmgrcall &call) {
    const bool reading = file->mode == 'r';
    const uint32_t variable = isvariable(ctx) ? indexedvariable : 0;
    call.number(fp_openflags, (reading ? indexedinput : indexedoutput) | variable);
    if (!reading)
        return describeoutput(ctx, file, call);
    describeinput(ctx, call);
    return 0;
}

template <const fmgrkind &kind>
int describe(qha5ctx *ctx, const filectl *file, fmgrcall &call) {
    call.number(fp_request, rq_open);
    call.number(fp_organisation, kind.organisation);
    if constexpr (kind.kind != KVRN_FILE_INDEXED)
        call.number(fp_16, 2);
    call.string(fp_name, file->name, static_cast<uint32_t>(strlen(file->name)));
    if constexpr (kind.kind == KVRN_FILE_INDEXED)
        return describekeyed(ctx, file, call);
    else
        return describeplain(ctx, file, call);
}

// ---- the reply --------------------------------------------------------------

bool keephandle(filectl *file, fmgrcall &call) {
    fmgrvalue value;
    if (!call.scan(fp_handle, &value) || value.length > sizeof file->fmhandle)
        return false;
    file->handlelen = value.length;
    if (value.length != 0)
        memcpy(file->fmhandle, value.bytes, value.length);
    return true;
}

template <const fmgrkind &kind>
int32_t takereply(qha5ctx *ctx, filectl *file, fmgrcall &call) {
    if (!keephandle(file, call))
        return failopen(ctx, file);
    if constexpr (kind.kind == KVRN_FILE_INDEXED) {
        fmgrvalue organisation;
        if (!call.scan(fp_organisation, &organisation))
            return failopen(ctx, file);
        if (organisation.bytes == nullptr || organisation.bytes[0] != org_indexed)
            return failtoomany(ctx);
    }
    file->isopen = true;
    return 0;
}

} // namespace

template <const fmgrkind &kind>
int32_t fmgropening<kind>::open(qha5ctx *ctx, filectl *file) {
    if (file->kind != kind.kind)
        return -1;
    if (file->mode != 'r' && file->mode != 'w')
        return kind.kind == KVRN_FILE_INDEXED ? failform(ctx, file) : -1;
    if (file->fmtable == nullptr || file->fmtable->session == 0)
        return failmanager(ctx);
    fmgrcall call(ctx, file->fmtable);
    if (describe<kind>(ctx, file, call) != 0)
        return -1;
    fmgrreply reply;
    if (!call.ask(nullptr, &reply))
        return failopen(ctx, file);
    return reply.status == fs_done ? takereply<kind>(ctx, file, call)
                                   : failstatus<kind>(ctx, file, reply);
}

template <const fmgrkind &kind>
int32_t fmgropening<kind>::close(qha5ctx *ctx, filectl *file) {
    if (file->kind != kind.kind || !file->isopen)
        return -1;
    file->isopen = false;
    fmgrcall call(ctx, file->fmtable);
    call.number(fp_request, rq_close);
    call.number(fp_organisation, kind.organisation);
    call.string(fp_handle, file->fmhandle, file->handlelen);
    fmgrreply reply;
    if (call.ask(nullptr, &reply) && reply.status == fs_done)
        return 0;
    notesyscode(ctx, static_cast<uint32_t>(platform::lasterror()));
    return fail(ctx, msg_close, KVRN_D_CLOSE, file->name, ctx->errnum);
}

template struct fmgropening<sequentialkind>;
template struct fmgropening<indexedkind>;
template struct fmgropening<relativekind>;

} // namespace kvern

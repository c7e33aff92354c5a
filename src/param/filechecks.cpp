// File checks.  No kind of file records its form, size or record length yet, so
// these read as zero; the tests on them stand for a kind that will.
#include "param/filechecks.h"

#include "file/bind/bindfile.h"
#include "file/filectl.h"
#include "param/fieldspec.h"
#include "session/qha9msg.h"

namespace kvern {
namespace {

constexpr uint32_t pathscratch = 2 * 520; // room that comparing two full names has always asked

bool isplain(const filectl &file) {
    return file.kind == KVRN_FILE_PLAIN || file.kind == KVRN_FILE_DESCRIPTOR;
}

// Standard output is told as it was given: without a name.
const char *givenname(const qha5ctx *ctx, const filectl &file) {
    return &file == ctx->outfile && file.name == nullptr ? "" : messagename(&file);
}

int badattribute(qha5ctx *ctx, const filectl &file, uint32_t detail) {
    return fail(ctx, msg_fileattribute, detail, givenname(ctx, file));
}

// Plain files hold no variable records.
int badformat(qha5ctx *ctx, const filectl &file) {
    return fail(ctx, msg_fileformat, KVRN_D_FORMAT, givenname(ctx, file));
}

// What the inputs looked at so far have in common.
struct inputsurvey {
    uint8_t form = 0;     // record form, 0 none yet
    uint32_t longest = 0; // recorded record length
    bool allplain = true; // so sizes tell the record count
    uint64_t bytes = 0;
};

int surveyform(qha5ctx *ctx, const filectl &file, inputsurvey &seen) {
    if (file.form != 0) {
        if (ctx->recform != 0)
            return file.form == ctx->recform ? 0 : badattribute(ctx, file, KVRN_D_FILEFORM);
        if (seen.form != 0 && seen.form != file.form)
            return badattribute(ctx, file, KVRN_D_ATTRIBUTE);
        seen.form = file.form;
        return 0;
    }
    if (ctx->recform == 0) {
        if (!isplain(file))
            return failstale(ctx, msg_prim, KVRN_D_PRIM);
        if (seen.form == KVRN_VARIABLE)
            return badattribute(ctx, file, KVRN_D_ATTRIBUTE);
        seen.form = KVRN_FIXED;
    }
    return ctx->recform == KVRN_VARIABLE && isplain(file) ? badformat(ctx, file) : 0;
}

int surveylength(qha5ctx *ctx, const filectl &file, inputsurvey &seen) {
    if (file.filereclen == 0)
        return ctx->inreclen != 0 ? 0 : failstale(ctx, msg_noreclength, KVRN_D_NORECLEN);
    if (ctx->inreclen == 0) {
        raise(seen.longest, file.filereclen);
        return 0;
    }
    const uint8_t form = file.form != 0 ? file.form : ctx->recform;
    const bool fits =
        form == KVRN_FIXED ? file.filereclen == ctx->inreclen : file.filereclen <= ctx->inreclen;
    return fits ? 0 : badattribute(ctx, file, KVRN_D_FILELENGTH);
}

int surveysize(qha5ctx *ctx, const filectl &file, inputsurvey &seen) {
    if (ctx->recform == 'r' || !seen.allplain)
        return 0;
    if (!isplain(file)) {
        seen.allplain = false;
        return 0;
    }
    if (ctx->inreclen != 0 && file.filesize % ctx->inreclen != 0)
        return badattribute(ctx, file, KVRN_D_FILELENGTH);
    seen.bytes += file.filesize;
    return 0;
}

int surveyinputs(qha5ctx *ctx) {
    inputsurvey seen;
    for (uint32_t i = ctx->filecount; i-- != 0;) {
        const filectl &file = *ctx->infiles[i];
        if (surveyform(ctx, file, seen) != 0 || surveylength(ctx, file, seen) != 0 ||
            surveysize(ctx, file, seen) != 0)
            return -1;
    }
    if (ctx->recform == 0)
        ctx->recform = seen.form;
    if (ctx->inreclen == 0)
        ctx->inreclen = seen.longest;
    if (seen.allplain && ctx->inreclen != 0) {
        const uint64_t records = seen.bytes / ctx->inreclen;
        ctx->estrecs = records < UINT32_MAX ? static_cast<uint32_t>(records) : UINT32_MAX;
    }
    return 0;
}

} // namespace

int checkinputs(qha5ctx *ctx) {
    if (ctx->apiinput != 0) {
        if (ctx->recform == 0 || ctx->inreclen == 0)
            return failstale(ctx, msg_prim, KVRN_D_PRIM);
        if ((ctx->recoprat & (KVRN_PUT_RECORD | KVRN_PUT_BLOCK)) == 0)
            ctx->recoprat |= KVRN_PUT_RECORD;
        return 0;
    }
    if (ctx->stdinopt != 0 && ctx->infiles[0]->kind != KVRN_FILE_DESCRIPTOR)
        return failstale(ctx, msg_fileblock, KVRN_D_FILEBLOCK);
    if (surveyinputs(ctx) != 0)
        return -1;
    for (uint32_t i = ctx->filecount; i-- != 0;)
        if (bindfile(ctx, ctx->infiles[i]) != 0)
            return -1;
    return 0;
}

int checkoutput(qha5ctx *ctx) {
    if (ctx->apioutput != 0) {
        if ((ctx->recoprat & (KVRN_GET_RECORD | KVRN_GET_BLOCK)) == 0)
            ctx->recoprat |= KVRN_GET_RECORD;
        return 0;
    }
    if (ctx->recform == KVRN_VARIABLE && isplain(*ctx->outfile))
        return badformat(ctx, *ctx->outfile);
    return bindfile(ctx, ctx->outfile);
}

// A sort reads its input whole before it writes, so it may write to an input
// when asked to, unless that would be an indexed file.
int checksamefile(qha5ctx *ctx) {
    if (ctx->apiinput != 0 || ctx->apioutput != 0 || ctx->stdinopt != 0 || ctx->stdoutopt != 0 ||
        ctx->outfile->special != 0)
        return 0;
    if (ctx->arenafree < pathscratch)
        return failstale(ctx, msg_nostorage, KVRN_D_STORAGE);
    if (ctx->function == KVRN_SORT && ctx->samefile != 0 && ctx->outfile->kind != KVRN_FILE_INDEXED)
        return 0;
    for (uint32_t i = 0; i < ctx->filecount; i++)
        if (platform::samepath(ctx->outfile->name, ctx->infiles[i]->name))
            return failstale(ctx, msg_samefile, KVRN_D_SAMEFILE);
    return 0;
}

int checkoutputform(qha5ctx *ctx) {
    if (ctx->apioutput != 0 || ctx->stdoutopt != 0 || ctx->outfile->special != 0)
        return 0;
    const filectl &file = *ctx->outfile;
    if (file.form != 0 && file.form != ctx->recform)
        return badattribute(ctx, file, KVRN_D_FILEFORM);
    if (file.filereclen == 0)
        return 0;
    const bool fits = ctx->recform == KVRN_VARIABLE ? file.filereclen <= ctx->outreclen
                                                    : file.filereclen == ctx->outreclen;
    return fits ? 0 : badattribute(ctx, file, KVRN_D_FILELENGTH);
}

} // namespace kvern

// File checks.  What a file holds is not looked at here: no kind tells its form or its
// record length before it is opened.
#include "param/steps.h"

#include "file/bind/bindfile.h"
#include "file/filectl.h"
#include "param/fieldspec.h"
#include "session/qha9msg.h"
#include "sort/record/recordform.h"

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

// Plain files hold no variable records.
int badformat(qha5ctx *ctx, const filectl &file) {
    return fail(ctx, msg_fileformat, KVRN_D_FORMAT, givenname(ctx, file));
}

int surveyinputs(qha5ctx *ctx) {
    for (uint32_t i = ctx->filecount; i-- != 0;) {
        if (isvariable(ctx) && isplain(*ctx->infiles[i]))
            return badformat(ctx, *ctx->infiles[i]);
        if (ctx->inreclen == 0)
            return failstale(ctx, msg_noreclength, KVRN_D_NORECLEN);
    }
    return 0;
}

} // namespace

int checkinputs(qha5ctx *ctx) {
    if (ctx->apiinput) {
        if (ctx->inreclen == 0)
            return failstale(ctx, msg_prim, KVRN_D_PRIM);
        if ((ctx->recoprat & (KVRN_PUT_RECORD | KVRN_PUT_BLOCK)) == 0)
            ctx->recoprat |= KVRN_PUT_RECORD;
        return 0;
    }
    if (ctx->stdinopt && ctx->infiles[0]->kind != KVRN_FILE_DESCRIPTOR)
        return failstale(ctx, msg_fileblock, KVRN_D_FILEBLOCK);
    if (surveyinputs(ctx) != 0)
        return -1;
    for (uint32_t i = ctx->filecount; i-- != 0;)
        if (bindfile(ctx, ctx->infiles[i]) != 0)
            return -1;
    return 0;
}

int checkoutput(qha5ctx *ctx) {
    if (ctx->apioutput) {
        if ((ctx->recoprat & (KVRN_GET_RECORD | KVRN_GET_BLOCK)) == 0)
            ctx->recoprat |= KVRN_GET_RECORD;
        return 0;
    }
    if (isvariable(ctx) && isplain(*ctx->outfile))
        return badformat(ctx, *ctx->outfile);
    return bindfile(ctx, ctx->outfile);
}

// A sort reads its input whole before it writes, so it may write to an input
// when asked to, unless that would be an indexed file.
int checksamefile(qha5ctx *ctx) {
    if (ctx->apiinput || ctx->apioutput || ctx->stdinopt || ctx->stdoutopt)
        return 0;
    if (ctx->arenafree < pathscratch)
        return failstale(ctx, msg_nostorage, KVRN_D_STORAGE);
    if (ctx->function == KVRN_SORT && ctx->samefile && ctx->outfile->kind != KVRN_FILE_INDEXED)
        return 0;
    for (uint32_t i = 0; i < ctx->filecount; i++)
        if (platform::samepath(ctx->outfile->name, ctx->infiles[i]->name))
            return failstale(ctx, msg_samefile, KVRN_D_SAMEFILE);
    return 0;
}

} // namespace kvern

// Temporary files: where they are created, in which order, and how they end.
//
// One of three sources gives the places, looked at in this order:
//
//   explicit paths     workpaths[0 .. workcount)      workpos    -> next
//   work directories   workpaths[0 .. workdircount)   workdirpos -> next
//   the system's default directory: one file and no more
//
// New blocks go to the newest open file; a full disk makes the next file, so the
// places fill in turn.  Every attempt uses up its place.  With a list of paths it
// uses up two: of {a, b, c, d, e} the paths a, c and e are tried.  That is
// intended: callers that list a spare behind each path rely on it.
//
// The records lie in the area that was reserved for them, a generated path behind
// its record:   tfrecnext -> | tempfile | "/tmp/QZ1234" | ... tfrecroom bytes |
//
// What is to be deleted at the end is taken off the disk at once where the system
// can do that (`hidden`), so that a killed process leaves nothing behind.
//
// Without sharing locks nothing but this file keeps a listed path from destroying
// data: an existing file is emptied only if it is a plain file, holds no blocks of
// this session and is neither an input nor the output.
#include "sort/external/tempfile.h"

#include "session/arena.h"
#include "session/qha9msg.h"

#include <cassert>
#include <cstring>

namespace kvern {

namespace {

constexpr platform::syserror err_pathnotfound = 3;
constexpr platform::syserror err_sharing = 32;
constexpr platform::syserror err_fileexists = 80;
constexpr platform::syserror err_alreadyexists = 183;

constexpr bool exists(platform::syserror error) {
    return error == err_fileexists || error == err_alreadyexists;
}

// Room for a record and a generated path in a directory of dirlen bytes.
constexpr uint64_t recordroom(uint64_t dirlen) {
    return arenaround(sizeof(tempfile) + dirlen + platform::maxpath);
}

char *pathbehind(tempfile *record) {
    return reinterpret_cast<char *>(record + 1);
}

// ---- explicit paths -------------------------------------------------------

int pickpath(qha5ctx *ctx, tempfile *record, uint32_t *room) {
    if (ctx->workpos >= ctx->workcount)
        return fail(ctx, msg_tempcreate, KVRN_D_TEMPCREATE);
    uint32_t at = ctx->workpos;
    while (at < ctx->workcount && ctx->workpaths[at] == nullptr)
        ++at;
    record->path = at < ctx->workcount ? ctx->workpaths[at] : nullptr;
    *room = static_cast<uint32_t>(arenaround(sizeof(tempfile)));
    ++ctx->workpos;
    return 0;
}

bool holdsblocks(const qha5ctx *ctx, const char *path) {
    for (const tempfile *file = ctx->tempfiles; file != nullptr; file = file->link)
        if (platform::isopenas(file->handle, path))
            return true;
    return false;
}

bool issessionfile(const qha5ctx *ctx, const char *path) {
    const auto names = [path](const filectl *file) {
        return file != nullptr && file->name != nullptr && platform::samepath(file->name, path);
    };
    for (uint32_t at = 0; ctx->infiles != nullptr && at < ctx->filecount; ++at)
        if (names(ctx->infiles[at]))
            return true;
    return names(ctx->outfile);
}

platform::syserror opengiven(qha5ctx *ctx, tempfile *record) {
    if (record->path == nullptr)
        return err_pathnotfound;
    if (holdsblocks(ctx, record->path) || issessionfile(ctx, record->path))
        return err_sharing;
    const platform::syserror error =
        platform::openfile(record->path, platform::openmode::tempcreate, &record->handle);
    if (!exists(error))
        return error;
    return platform::openfile(record->path, platform::openmode::tempreplace, &record->handle);
}

void tookpath(qha5ctx *ctx) {
    ++ctx->workpos;
}

int missedpath(qha5ctx *ctx) {
    ++ctx->workpos;
    return ctx->workpos >= ctx->workcount ? fail(ctx, msg_tempspace, KVRN_D_TEMPSPACE) : 1;
}

// ---- work directories -----------------------------------------------------

int pickdirectory(qha5ctx *ctx, tempfile *record, uint32_t *room) {
    for (; ctx->workdirpos < ctx->workdircount; ++ctx->workdirpos) {
        const char *directory = ctx->workpaths[ctx->workdirpos];
        if (directory == nullptr)
            continue;
        const uint64_t need = recordroom(strlen(directory));
        if (need > ctx->tfrecroom)
            break;
        const auto behind = static_cast<uint32_t>(need - sizeof(tempfile));
        notesyscode(ctx, platform::tempname(directory, pathbehind(record), behind));
        if (ctx->errnum == 0) {
            record->path = pathbehind(record);
            record->dirindex = ctx->workdirpos;
            *room = static_cast<uint32_t>(need);
            return 0;
        }
    }
    return fail(ctx, msg_tempcreate, KVRN_D_TEMPCREATE);
}

bool keepsfiles(const qha5ctx *ctx) {
    return (ctx->tmpoption & 1) != 0;
}

platform::syserror opengenerated(qha5ctx *ctx, tempfile *record) {
    const auto mode =
        keepsfiles(ctx) ? platform::openmode::tempcreate : platform::openmode::tempunnamed;
    const platform::syserror error = platform::openfile(record->path, mode, &record->handle);
    // Where the name was made by making an empty file, that file is ours to remove;
    // a file that stood in the way is a stranger's.
    if (error != 0 && !exists(error))
        (void)platform::deletefile(record->path);
    return error;
}

void tookdirectory(qha5ctx *ctx) {
    ++ctx->workdirpos;
}

int misseddirectory(qha5ctx *ctx) {
    ++ctx->workdirpos;
    return ctx->workdirpos >= ctx->workdircount ? fail(ctx, msg_tempspace, KVRN_D_TEMPSPACE) : 1;
}

// ---- the system's default -------------------------------------------------

int pickdefault(qha5ctx *ctx, tempfile *record, uint32_t *room) {
    if (ctx->defaulttemp)
        return fail(ctx, msg_tempspace, KVRN_D_TEMPSPACE);
    const uint64_t need = recordroom(0);
    if (need > ctx->tfrecroom)
        return fail(ctx, msg_tempcreate, KVRN_D_TEMPCREATE);
    char directory[platform::maxpath];
    if (!platform::tempdirectory(directory, sizeof directory))
        return fail(ctx, msg_tempcreate, KVRN_D_TEMPCREATE);
    const auto behind = static_cast<uint32_t>(need - sizeof(tempfile));
    notesyscode(ctx, platform::tempname(directory, pathbehind(record), behind));
    if (ctx->errnum != 0)
        return fail(ctx, msg_tempcreate, KVRN_D_TEMPCREATE);
    record->path = pathbehind(record);
    *room = static_cast<uint32_t>(need);
    ctx->defaulttemp = true;
    return 0;
}

void tookdefault(qha5ctx *) {}

int misseddefault(qha5ctx *ctx) {
    return fail(ctx, msg_tempcreate, KVRN_D_TEMPCREATE);
}

// ---- common ---------------------------------------------------------------

struct placesource {
    int (*pick)(qha5ctx *ctx, tempfile *record, uint32_t *room); // 0, or -1 when used up
    platform::syserror (*open)(qha5ctx *ctx, tempfile *record);
    void (*took)(qha5ctx *ctx);
    int (*missed)(qha5ctx *ctx); // 1 another may work; -1 none is left, reported
};
constexpr placesource explicitpaths{pickpath, opengiven, tookpath, missedpath};
constexpr placesource directories{pickdirectory, opengenerated, tookdirectory, misseddirectory};
constexpr placesource systemdefault{pickdefault, opengenerated, tookdefault, misseddefault};

const placesource &choosesource(const qha5ctx *ctx) {
    if (ctx->workcount != 0)
        return explicitpaths;
    return ctx->workdircount != 0 ? directories : systemdefault;
}

// A candidate's failure carries no detail code unless it is the session's first or the
// last: the session may yet go on, and a detail code, once set, would end it.
int reportmissed(qha5ctx *ctx, const placesource &source, const tempfile *record,
                 platform::syserror error) {
    notesyscode(ctx, error);
    (void)fail(ctx, msg_open, 0, record->path, error);
    const int outcome = source.missed(ctx);
    if (outcome == 1)
        (void)fail(ctx, msg_tempcreate, !ctx->tempused ? KVRN_D_TEMPCREATE : 0);
    return outcome;
}

void closeall(qha5ctx *ctx) {
    for (tempfile *file = ctx->tempfiles; file != nullptr; file = file->link) {
        const platform::syserror error = platform::closefile(file->handle);
        file->handle = platform::nofile;
        if (error != 0) {
            notesyscode(ctx, error);
            (void)fail(ctx, msg_close, KVRN_D_CLOSE, file->path, error);
        }
    }
}

void deletenamed(qha5ctx *ctx, const tempfile *file) {
    const platform::syserror error = platform::deletefile(file->path);
    if (error != 0) {
        notesyscode(ctx, error);
        (void)fail(ctx, msg_systemcall, 0, "DeleteFile", error);
    }
}

void notetraffic(qha5ctx *ctx, const tempfile *file) {
    point(ctx, msg_tempwrites, lv_inner, file->path, file->writes);
    point(ctx, msg_tempreads, lv_inner, file->path, file->reads);
}

// The record of a file that was made is the newest of the list.
void enlist(qha5ctx *ctx, tempfile *record, uint32_t room) {
    if (keepsfiles(ctx))
        record->deleteit = 0;
    else
        record->hidden = platform::hidetemp(record->handle, record->path) ? 1 : 0;
    record->state = fs_open;
    record->link = ctx->tempfiles;
    ctx->tempfiles = record;
    ++ctx->tempcount;
    assert(room <= ctx->tfrecroom);
    ctx->tfrecnext += room;
    ctx->tfrecroom -= room;
}

} // namespace

int newtemp(qha5ctx *ctx) {
    const uint64_t least = arenaround(sizeof(tempfile));
    if (ctx->tfrecroom < least) {
        tellsyserr(ctx, ctx->errnum);
        return fail(ctx, msg_tempcreate, KVRN_D_TEMPCREATE);
    }
    auto *record = reinterpret_cast<tempfile *>(ctx->tfrecnext);
    *record = tempfile{};
    record->deleteit = 1;

    const placesource &source = choosesource(ctx);
    uint32_t room = 0;
    if (source.pick(ctx, record, &room) != 0)
        return -1;
    const platform::syserror error = source.open(ctx, record);
    if (error != 0)
        return reportmissed(ctx, source, record, error);

    notesyscode(ctx, 0); // what made another place necessary is behind us
    source.took(ctx);
    enlist(ctx, record, room);
    return 0;
}

tempfile *activetemp(qha5ctx *ctx) {
    tempfile *file = ctx->tempfiles;
    while (file != nullptr && file->state != fs_open)
        file = file->link;
    if (file == nullptr)
        (void)faillogic(ctx);
    return file;
}

int deletetemps(qha5ctx *ctx) {
    const uint32_t detailbefore = ctx->errdetail;
    ctx->tempused = false;
    point(ctx, msg_tempfiles, lv_resources, ctx->tempcount);
    closeall(ctx);
    for (const tempfile *file = ctx->tempfiles; file != nullptr; file = file->link) {
        notetraffic(ctx, file);
        if (file->deleteit != 0 && file->hidden == 0)
            deletenamed(ctx, file);
    }
    // No handle may be closed twice: by then it could be a stranger's.
    ctx->tempfiles = nullptr;
    return detailbefore == 0 && ctx->errdetail != 0 ? -1 : 0;
}

} // namespace kvern

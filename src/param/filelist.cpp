// File-control records.  All are created here, cleared, with their kind, name
// and direction; opening comes later.  Records of the file manager share one copy
// of its library's name; an input that takes its kind from another has none, for
// the library is then loaded already.
#include "param/steps.h"

#include "file/indexed/indexed.h"
#include "param/tablecopy.h"
#include "session/qha9msg.h"

namespace kvern {
namespace {

constexpr char managerfile[] = "m7hxfmg.dll";
constexpr uint32_t keyspecroom = 1024; // key parts sent when an indexed output is created

struct kindrow {
    uint8_t given;
    uint8_t kind;
    uint8_t family;
};
constexpr kindrow kinds[] = {
    {KVRN_FILE_DEFAULT, KVRN_FILE_PLAIN, 0},         {KVRN_FILE_PLAIN, KVRN_FILE_PLAIN, 0},
    {KVRN_FILE_DESCRIPTOR, KVRN_FILE_DESCRIPTOR, 0}, {KVRN_FILE_MANAGER, KVRN_FILE_MANAGER, 1},
    {KVRN_FILE_INDEXED, KVRN_FILE_INDEXED, 1},       {KVRN_FILE_RELATIVE, KVRN_FILE_RELATIVE, 1},
};

const kindrow *findkind(uint8_t given) {
    for (const kindrow &row : kinds)
        if (row.given == given)
            return &row;
    return nullptr;
}

void setkind(filectl &file, const kindrow &row, const char *library) {
    file.kind = row.kind;
    file.family = row.family;
    file.libname = row.family != 0 ? library : nullptr;
}

// What the kind asks of the session.
void notekind(qha5ctx *ctx, uint8_t kind) {
    if (kind == KVRN_FILE_MANAGER || kind == KVRN_FILE_RELATIVE)
        ctx->usefilemgr = true;
    if (kind == KVRN_FILE_INDEXED)
        ctx->useindexed = true;
}

filectl *newfile(qha5ctx *ctx) {
    uint8_t *room = arenaneed(ctx, sizeof(filectl));
    if (room == nullptr)
        return nullptr;
    memset(room, 0, sizeof(filectl));
    return reinterpret_cast<filectl *>(room);
}

// A cleared array of pointers.
template <class T>
T **newpointers(qha5ctx *ctx, uint32_t count) {
    const uint64_t bytes = uint64_t{count} * sizeof(T *);
    uint8_t *room = arenaneed(ctx, bytes);
    if (room == nullptr)
        return nullptr;
    memset(room, 0, static_cast<size_t>(bytes));
    return reinterpret_cast<T **>(room);
}

int refusefiles(qha5ctx *ctx) {
    return failstale(ctx, msg_fileblock, KVRN_D_FILEBLOCK);
}

// Kinds are listed for the first files; those behind the list are as its last.
int inputkind(qha5ctx *ctx, filectl &file, uint32_t number, const KVRNFTYP *types,
              const char *library) {
    if (types == nullptr) {
        setkind(file, *findkind(KVRN_FILE_DEFAULT), nullptr);
    } else if (number >= types->count) {
        const filectl &last = *ctx->infiles[types->count - 1];
        file.kind = last.kind;
        file.family = last.family;
    } else {
        const kindrow *row = findkind(types->kind[number]);
        if (row == nullptr)
            return -1; // intended: no message and no detail
        setkind(file, *row, library);
    }
    notekind(ctx, file.kind);
    return 0;
}

int buildstdin(qha5ctx *ctx) {
    ctx->infiles = newpointers<filectl>(ctx, 1);
    if (ctx->infiles == nullptr)
        return -1;
    ctx->infiles[0] = newfile(ctx);
    if (ctx->infiles[0] == nullptr)
        return -1;
    ctx->filecount = 1;
    setkind(*ctx->infiles[0], *findkind(KVRN_FILE_DESCRIPTOR), nullptr);
    return 0;
}

int nameinput(qha5ctx *ctx, filectl *file, const char *path) {
    if (path == nullptr)
        return refusefiles(ctx);
    file->name = arenatext(ctx, path);
    file->mode = 'r';
    return file->name != nullptr ? 0 : -1;
}

int buildinputs(qha5ctx *ctx, const KVRNFLST &list, const KVRNFTYP *types, const char *&library) {
    ctx->infiles = newpointers<filectl>(ctx, list.count);
    if (ctx->infiles == nullptr)
        return -1;
    if (types != nullptr && types->count == 0)
        types = nullptr;
    if (types != nullptr && (library = arenatext(ctx, managerfile)) == nullptr)
        return -1;
    uint32_t indexed = 0;
    for (uint32_t i = 0; i < list.count; i++) {
        filectl *file = newfile(ctx);
        if (file == nullptr)
            return -1;
        ctx->infiles[i] = file;
        ctx->filecount = i + 1; // so that the close of a refused session meets no null
        if (inputkind(ctx, *file, i, types, library) != 0 ||
            nameinput(ctx, file, list.path[i]) != 0)
            return -1;
        if (file->kind == KVRN_FILE_INDEXED &&
            describeindexed(ctx, file, indexed++, list.count) != 0)
            return -1;
    }
    return 0;
}

int keydescription(qha5ctx *ctx, const KVRNOKEY *given) {
    ctx->keyspecbuf = arenaneed(ctx, keyspecroom);
    if (ctx->keyspecbuf == nullptr)
        return -1;
    memset(ctx->keyspecbuf, 0, keyspecroom);
    if (given == nullptr || given->count == 0)
        return 0;
    ctx->filetypes = copytable(ctx, given);
    return ctx->filetypes != nullptr ? 0 : -1;
}

// An unknown kind is that of the first input.
int outputkind(qha5ctx *ctx, filectl &file, uint8_t given, const char *library) {
    if (const kindrow *row = findkind(given)) {
        setkind(file, *row, library);
    } else if (ctx->filecount != 0) {
        const filectl &first = *ctx->infiles[0];
        file.kind = first.kind;
        file.family = first.family;
        file.libname = first.libname;
    } else {
        return refusefiles(ctx);
    }
    notekind(ctx, file.kind);
    if (file.family == 0 || file.libname != nullptr)
        return 0;
    // No input had a list of kinds, so there is no name to share.
    file.libname = arenatext(ctx, managerfile);
    return file.libname != nullptr ? 0 : -1;
}

int buildoutput(qha5ctx *ctx, const KVRNFILE *files, const char *library) {
    filectl *file = newfile(ctx);
    if (file == nullptr)
        return -1;
    ctx->outfile = file;
    if (ctx->stdoutopt) {
        setkind(*file, *findkind(KVRN_FILE_DESCRIPTOR), nullptr);
        return 0;
    }
    if (outputkind(ctx, *file, files->outtype, library) != 0)
        return -1;
    file->name = arenatext(ctx, files->outfile);
    if (file->name == nullptr)
        return -1;
    if (file->kind == KVRN_FILE_INDEXED && keydescription(ctx, files->outkey) != 0)
        return -1;
    file->mode = 'w';
    return 0;
}

// Paths of temporary files.  They take precedence over directories that the
// session found; a list of directories is in force already.
int copyplaces(qha5ctx *ctx, const KVRNFLST *list) {
    if (list == nullptr || list->count == 0 || ctx->workdirs == 'd')
        return 0;
    ctx->workcount = list->count;
    ctx->workpaths = newpointers<char>(ctx, list->count);
    if (ctx->workpaths == nullptr)
        return -1;
    for (uint32_t i = list->count; i-- != 0;) {
        if (list->path[i] == nullptr)
            continue;
        ctx->workpaths[i] = arenatext(ctx, list->path[i]);
        if (ctx->workpaths[i] == nullptr)
            return -1;
    }
    ctx->workkind = 'p';
    return 0;
}

} // namespace

int buildfiles(qha5ctx *ctx, const KVRNFILE *files) {
    static constexpr KVRNFILE none{};
    if (files == nullptr)
        files = &none;
    const KVRNFLST *list = files->infiles;
    const bool listed = list != nullptr && list->count != 0;
    ctx->apiinput = !ctx->stdinopt && !listed;
    ctx->apioutput = !ctx->stdoutopt && files->outfile == nullptr;

    const char *library = nullptr;
    if (ctx->stdinopt) {
        if (buildstdin(ctx) != 0)
            return -1;
    } else if (listed && buildinputs(ctx, *list, files->intypes, library) != 0) {
        return -1;
    }
    if (!ctx->apioutput && buildoutput(ctx, files, library) != 0)
        return -1;
    return copyplaces(ctx, files->workfiles);
}

} // namespace kvern

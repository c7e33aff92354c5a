// All files of the manager share one table.  The first that names the library
// loads it; a file that took its kind from another names none.
//
// The library lies in the product directory of the installation's settings, or
// else where the system looks for libraries.
#include "file/manager/fmgrlibrary.h"

#include "file/manager/fmgrcall.h"
#include "session/arena.h"
#include "session/qha9msg.h"

#include <algorithm>

namespace kvern {

namespace {

constexpr const char *managername = "TESLOV7"; // the manager in messages

// Storage that sessions with files of the manager need, beside what they use: tables
// for seven libraries, though one is ever loaded, and room to list the files.  It
// counts for the storage size that will do, which callers know by experience.
constexpr uint32_t tablecount = 7;

// Calls `each` for the inputs and then the output until one says -1.
template <class routine>
int eachmanaged(const qha5ctx *ctx, routine each) {
    for (uint32_t i = 0; i < ctx->filecount; i++)
        if (ctx->infiles[i]->family != 0 && each(ctx->infiles[i]) != 0)
            return -1;
    const bool managed = ctx->outfile != nullptr && ctx->outfile->family != 0;
    return managed ? each(ctx->outfile) : 0;
}

platform::library findmanager(const char *name) {
    char directory[platform::settingroom];
    const bool set = platform::readsetting(platform::setting::product_directory, directory);
    return platform::loadproduct(set ? directory : nullptr, name);
}

bool fetchfunctions(platform::library module, fmgrtable *table) {
    using platform::findroutine;
    return findroutine(module, "InitFileManager", &table->InitFileManager) &&
           findroutine(module, "InitReqMsgBuild", &table->InitReqMsgBuild) &&
           findroutine(module, "BldNumParm", &table->BldNumParm) &&
           findroutine(module, "FileManager", &table->FileManager) &&
           findroutine(module, "InitMsgScan", &table->InitMsgScan) &&
           findroutine(module, "ScanParmType", &table->ScanParmType) &&
           findroutine(module, "TermFileManager", &table->TermFileManager) &&
           findroutine(module, "BldStrParm", &table->BldStrParm) &&
           findroutine(module, "BldFlagParm", &table->BldFlagParm);
}

bool sendstart(const qha5ctx *ctx, const fmgrtable *table) {
    fmgrcall call(ctx, table);
    call.number(fp_request, rq_start);
    call.number(fp_19, 2);
    call.number(fp_34, 5);
    call.number(fp_35, 1);
    fmgrreply reply;
    return call.ask(nullptr, &reply) && reply.status == fs_done;
}

// No reply is read.
bool sendend(const qha5ctx *ctx, const fmgrtable *table) {
    fmgrcall call(ctx, table);
    call.number(fp_request, rq_end);
    return call.perform(nullptr);
}

bool loadmanager(qha5ctx *ctx, filectl *loader) {
    fmgrtable *table = loader->fmtable;
    loader->fmmodule = ctx->fmgrmodule = findmanager(loader->libname);
    if (loader->fmmodule == nullptr || !fetchfunctions(loader->fmmodule, table))
        return false;
    table->session = table->InitFileManager();
    if (table->session == 0)
        return false;
    ctx->fmgrstarted = true;
    return sendstart(ctx, table);
}

fmgrtable *newtables(qha5ctx *ctx) {
    uint8_t *room = arenaneed(ctx, tablecount * sizeof(fmgrtable));
    if (room == nullptr)
        return nullptr;
    auto *tables = reinterpret_cast<fmgrtable *>(room);
    std::fill_n(tables, tablecount, fmgrtable{});
    return tables;
}

// The list of the inputs and the output is not made: they are walked as they lie.
bool listfits(const qha5ctx *ctx) {
    return (uint64_t{ctx->filecount} + 1) * sizeof(filectl *) <= ctx->arenafree;
}

} // namespace

int failmanager(qha5ctx *ctx) {
    return fail(ctx, msg_filesystem, KVRN_D_FILESYSTEM, managername);
}

int fmgrstart(qha5ctx *ctx) {
    fmgrtable *table = newtables(ctx);
    if (table == nullptr || (ctx->fmgrmsg = arenaneed(ctx, fmgrmsgroom)) == nullptr)
        return -1;
    if (!listfits(ctx))
        return fail(ctx, msg_nostorage, KVRN_D_STORAGE);
    return eachmanaged(ctx, [ctx, table](filectl *file) {
        file->fmtable = table;
        const bool loads = file->libname != nullptr && ctx->fmgrmodule == nullptr;
        return loads && !loadmanager(ctx, file) ? failmanager(ctx) : 0;
    });
}

void fmgrfail(const qha5ctx *ctx) {
    (void)eachmanaged(ctx, [ctx](const filectl *file) {
        FailFileManagerfn tell;
        if (file->fmmodule != nullptr && ctx->fmgrstarted &&
            platform::findroutine(file->fmmodule, "FailFileManager", &tell))
            (void)tell(file->fmtable->session);
        return 0;
    });
}

int fmgrstop(qha5ctx *ctx) {
    return eachmanaged(ctx, [ctx](filectl *file) {
        if (file->fmmodule == nullptr)
            return 0;
        const fmgrtable *table = file->fmtable;
        const bool ended = !ctx->fmgrstarted || (sendend(ctx, table) && //
                                                 table->TermFileManager(table->session) == 0);
        platform::freelibrary(file->fmmodule);
        file->fmmodule = ctx->fmgrmodule = nullptr;
        ctx->fmgrstarted = false;
        return ended ? 0 : failmanager(ctx);
    });
}

} // namespace kvern

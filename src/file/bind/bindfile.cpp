// The rows of the binding: what a kind can do with a record form.
#include "file/bind/bindfile.h"

#include "file/manager/fmgrio.h"
#include "file/plain/plainfiles.h"
#include "session/qha9msg.h"

namespace kvern {

namespace {

struct bindrow {
    uint8_t kind;
    uint8_t form;
    fileroutine openfn, closefn, readfn, writefn;
};

constexpr bindrow bindrows[] = {
    {1, 'f', opendescr, closedescr, readfixeddescr, writedescr},
    {1, 'r', opendescr, closedescr, readlinedescr, writedescr},
    {16, 'f', openhandle, closehandle, readfixedhandle, writehandle},
    {16, 'r', openhandle, closehandle, readlinehandle, writehandle},
    {2, 'f', fmgrio::open, fmgrio::close, fmgrio::readfixed, fmgrio::writefixed},
    {2, 'v', fmgrio::open, fmgrio::close, fmgrio::readvariable, fmgrio::writevariable},
    {18, 'f', idxio::open, idxio::close, idxio::readfixed, idxio::writefixed},
    {18, 'v', idxio::open, idxio::close, idxio::readvariable, idxio::writevariable},
    {19, 'f', relio::open, relio::close, relio::readfixed, relio::writefixed},
    {19, 'v', relio::open, relio::close, relio::readvariable, relio::writevariable},
};

// Known by number only: its variable form binds nothing and succeeds (intended).
constexpr uint8_t emptykind = 5;

} // namespace

int bindfile(qha5ctx *ctx, filectl *file) {
    if (file->kind == emptykind)
        return ctx->recform == 'v' ? 0 : -1;
    bool known = false;
    for (const bindrow &row : bindrows) {
        if (row.kind != file->kind)
            continue;
        known = true;
        if (row.form != ctx->recform)
            continue;
        file->openfn = row.openfn;
        file->closefn = row.closefn;
        file->readfn = row.readfn;
        file->writefn = row.writefn;
        return 0;
    }
    return known ? fail(ctx, msg_fileblock, KVRN_D_FILEBLOCK) : -1;
}

} // namespace kvern

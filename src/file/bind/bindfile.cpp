// The rows of the binding: what a kind can do with a record form.
#include "file/bind/bindfile.h"

#include "file/manager/fmgrio.h"
#include "file/plain/plainfiles.h"
#include "session/qha9msg.h"
#include "sort/record/recordform.h"

namespace kvern {

namespace {

struct transfer {
    fileroutine readfn, writefn; // null: the kind has no such records
};
struct bindrow {
    uint8_t kind;
    fileroutine openfn, closefn;
    transfer byform[recordforms];
};

template <class io>
constexpr bindrow managed(uint8_t kind) {
    return {kind,
            io::open,
            io::close,
            {{io::readfixed, io::writefixed}, {io::readvariable, io::writevariable}}};
}

constexpr transfer linesbydescr = {descrlines, writedescr};
constexpr transfer linesbyhandle = {handlelines, writehandle};
constexpr bindrow bindrows[] = {
    {KVRN_FILE_DESCRIPTOR,
     opendescr,
     closedescr,
     {{descrrecords, writedescr}, {}, linesbydescr, linesbydescr}},
    {KVRN_FILE_PLAIN,
     openhandle,
     closehandle,
     {{handlerecords, writehandle}, {}, linesbyhandle, linesbyhandle}},
    managed<fmgrio>(KVRN_FILE_MANAGER),
    managed<idxio>(KVRN_FILE_INDEXED),
    managed<relio>(KVRN_FILE_RELATIVE),
};

// Known by number only: its variable form binds nothing and succeeds (intended).
constexpr uint8_t emptykind = 5;

} // namespace

int bindfile(qha5ctx *ctx, filectl *file) {
    if (file->kind == emptykind)
        return isvariable(ctx) ? 0 : -1;
    for (const bindrow &row : bindrows) {
        if (row.kind != file->kind)
            continue;
        const transfer &chosen = row.byform[formof(ctx)];
        if (chosen.readfn == nullptr)
            return fail(ctx, msg_fileblock, KVRN_D_FILEBLOCK);
        file->openfn = row.openfn;
        file->closefn = row.closefn;
        file->readfn = chosen.readfn;
        file->writefn = chosen.writefn;
        return 0;
    }
    return -1;
}

} // namespace kvern

// Kinds 2, 18 and 19: files that the file manager keeps.  Every routine has the
// contract of its slot (file_fields.h) and refuses a record of another kind
// silently.
#pragma once

#include "file/manager/fmgrapi.h"
#include "session/context.h"

namespace kvern {

// What sets the kinds apart in requests and replies.
struct fmgrkind {
    uint8_t kind;
    fmgrorganisation organisation;
    fmgrrequest write;
    bool readstatus;  // a failed read is told by its status, otherwise by its length
    bool writestatus; // a failed write is told with the manager's further code
    bool writeflags;  // a write sends fp_writeflags
};

inline constexpr fmgrkind sequentialkind = {
    KVRN_FILE_MANAGER, org_sequential, rq_write, false, false, false};
inline constexpr fmgrkind indexedkind = {
    KVRN_FILE_INDEXED, org_indexed, rq_writeindexed, true, true, true};
inline constexpr fmgrkind relativekind = {
    KVRN_FILE_RELATIVE, org_relative, rq_write, true, false, false};

template <const fmgrkind &kind>
struct fmgropening {
    static int32_t open(qha5ctx *ctx, filectl *file);
    static int32_t close(qha5ctx *ctx, filectl *file);
};

template <const fmgrkind &kind>
struct fmgrtransfer {
    static int32_t readfixed(qha5ctx *ctx, filectl *file);
    static int32_t readvariable(qha5ctx *ctx, filectl *file);
    static int32_t writefixed(qha5ctx *ctx, filectl *file);
    static int32_t writevariable(qha5ctx *ctx, filectl *file);
};

template <const fmgrkind &kind>
struct fmgrroutines : fmgropening<kind>, fmgrtransfer<kind> {};

using fmgrio = fmgrroutines<sequentialkind>;
using idxio = fmgrroutines<indexedkind>;
using relio = fmgrroutines<relativekind>;

} // namespace kvern

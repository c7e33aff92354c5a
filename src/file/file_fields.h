// File access: the file-control record and the context's lists of them.
#pragma once

#include "platform/platform.h"

#include <cstdint>

namespace kvern {

struct qha5ctx;
struct blockhdr;
struct filectl;
struct fmgrtable;
struct idxinfo;

// A file routine.  openfn and closefn: 0 done.  readfn fills the record's block:
// bytes in it, 0 at end of file.  writefn empties it: bytes written.  All: -1
// failed, the message is out (none when the session was cancelled).
using fileroutine = int32_t (*)(qha5ctx *ctx, filectl *file);

// One per input file and one for the output.  Zero when created.  The spare words, fileno
// and devno are never filled: what the record takes of the arena shows.
struct filectl {
    const char *libname;        // file-manager library, or null
    fmgrtable *fmtable;         // its functions; null until it is loaded
    platform::library fmmodule; // not null on the record that loaded it
    uint8_t kind;               // 1, 2, 16, 18, 19
    uint8_t family;             // 1 for kinds 2, 18, 19
    uint8_t spare1;
    bool isopen;
    union {
        int descriptor;              // kind 1
        platform::filehandle handle; // kind 16
        uint8_t fmhandle[12];        // kinds 2, 18, 19: the manager's own bytes
    };
    uint32_t handlelen; // of them
    blockhdr *block;    // what the next read or write works on
    const char *name;   // arena copy; null for standard input and output
    uint32_t spare2;
    uint32_t mode; // 'r', 'w', 0 for the standard streams
    fileroutine openfn, closefn, readfn, writefn;
    uint32_t fileno;
    uint32_t spare3[2];
    uint32_t blockcount; // blocks moved, counted by the callers of the slots
    uint16_t devno;
    bool eofseen; // text: the end mark 0x1A was met
    bool atend;   // kinds 18, 19: the manager has reported the end once
};
static_assert(sizeof(void *) != 4 || sizeof(filectl) == 84);

struct file_fields {
    uint64_t inbytes, outbytes; // moved by the file routines
    bool eofmark;               // an input ended in 0x1A, so the output gets one

    // The file manager; set by fmgrstart.
    uint8_t *fmgrmsg;             // request and reply, fmgrmsgroom bytes
    platform::library fmgrmodule; // null: not loaded
    bool fmgrstarted;             // its session runs

    // Indexed inputs, described one after the other while the session is set up.
    idxinfo **idxinfos;             // by indexed input, in the order of the list
    uint32_t idxcur;                // the one described last: all are opened by it
    uint8_t *idxhdr;                // 256 bytes, the file's header
    uint8_t *idxentry;              // its key entries as they lie in the file
    platform::filehandle idxhandle; // open between idxreadhdr and idxreadkeys
    uint8_t *idxblock;              // one block of the file
    uint32_t idxblocklen;           // its length
};

} // namespace kvern

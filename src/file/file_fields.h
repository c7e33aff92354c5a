// File access: the file-control record and the context's lists of them.
#pragma once

#include "platform/platform.h"

#include <cstdint>

namespace kvern {

struct qha5ctx;
struct blockhdr;
struct filectl;

// A file routine.  openfn and closefn: 0 done.  readfn fills the record's block:
// bytes in it, 0 at end of file.  writefn empties it: bytes written.  All: -1
// failed, the message is out (none when the session was cancelled).
using fileroutine = int32_t (*)(qha5ctx *ctx, filectl *file);

// One per input file and one for the output.  Zero when created.
struct filectl {
    const char *libname; // file-manager library, or null
    void *fmtable;
    void *fmmodule;
    uint8_t kind;   // 1, 2, 16, 18, 19
    uint8_t family; // 1 for kinds 2, 18, 19
    uint8_t form;   // no kind fills it yet
    uint8_t isopen;
    union {
        int descriptor;              // kind 1
        platform::filehandle handle; // kind 16
        uint8_t fmhandle[12];        // kinds 2, 18, 19
    };
    uint32_t handlelen;
    blockhdr *block;  // what the next read or write works on
    const char *name; // arena copy; null for standard input and output
    uint32_t special; // no kind fills it yet
    uint32_t mode;    // 'r', 'w', 0 for the standard streams
    fileroutine openfn, closefn, readfn, writefn;
    uint16_t devno;
    uint32_t fileno;
    uint32_t filesize;   // no kind fills it yet
    uint32_t filereclen; // no kind fills it yet
    uint32_t blockcount; // blocks moved, counted by the callers of the slots
    uint8_t eofseen;     // text: the end mark 0x1A was met
    uint8_t atend;
};

struct file_fields {
    filectl **infiles;
    uint32_t filecount;
    filectl *outfile;
    uint8_t usefilemgr, usefilemgr19, useindexed; // kinds 2 or 19, 19, 18 in use
    uint8_t eofmark; // 1: an input ended in 0x1A, so the output gets one
};

} // namespace kvern

// The functions of the external file manager, and the numbers that requests
// to it are made of.  The manager is a library of another maker that keeps the
// files of a COBOL run-time; whatever implements these functions can stand in
// its place.
//
// A request is built into a message buffer, parameter by parameter, performed,
// and its reply is scanned out of the same buffer:
//
//   InitReqMsgBuild, BldNumParm/BldStrParm/BldFlagParm ..., FileManager,
//   InitMsgScan, ScanParmType ...
//
// The builders and scanners take no buffer: they work on the one that was begun
// last.  Calls are plain C.  Numbers are 32 bits wide; results of the builders
// and scanners tell success by their low byte, which is 0 on failure.
#pragma once

#include "kvern.h"

#include <cstdint>

namespace kvern {

using fmgrsession = uintptr_t; // 0: none

using InitFileManagerfn = fmgrsession(KVRN_CALL *)();
using InitReqMsgBuildfn = uint32_t(KVRN_CALL *)(void *buffer, uint32_t length); // result unused
using BldNumParmfn = uint32_t(KVRN_CALL *)(uint32_t parm, uint32_t value);
// 0: performed, and the reply is in the buffer.  `data`: the record, read or written.
using FileManagerfn = uint32_t(KVRN_CALL *)(fmgrsession session, void *data, void *buffer,
                                            uint32_t length, uint32_t zero);
using InitMsgScanfn = uint32_t(KVRN_CALL *)(void *buffer, uint32_t two, uint32_t length);
using ScanParmTypefn = uint32_t(KVRN_CALL *)(uint32_t parm, uint32_t *length, const void **value,
                                             uint32_t *number);
using TermFileManagerfn = uint32_t(KVRN_CALL *)(fmgrsession session); // 0: ended
using BldStrParmfn = uint32_t(KVRN_CALL *)(uint32_t parm, uint32_t length, const void *bytes);
using BldFlagParmfn = uint32_t(KVRN_CALL *)(uint32_t parm, uint32_t length, const void *bytes);
// Beside the nine, and not of every manager: the session has failed or was stopped, so
// no output of it holds what was wanted.  0: noted.
using FailFileManagerfn = uint32_t(KVRN_CALL *)(fmgrsession session);

// One per session; the members bear the names that the library exports.
struct fmgrtable {
    fmgrsession session; // 0 until InitFileManager succeeded
    InitFileManagerfn InitFileManager;
    InitReqMsgBuildfn InitReqMsgBuild;
    BldNumParmfn BldNumParm;
    FileManagerfn FileManager;
    InitMsgScanfn InitMsgScan;
    ScanParmTypefn ScanParmType;
    TermFileManagerfn TermFileManager;
    BldStrParmfn BldStrParm;
    BldFlagParmfn BldFlagParm;
};

constexpr uint32_t fmgrmsgroom = 2052;   // bytes of the message buffer
constexpr uint32_t fmgrmsglength = 2051; // what the manager is told of them
constexpr uint32_t scanreply = 2;        // second argument of InitMsgScan

// Parameter numbers.  Those named by their number alone are the manager's own
// business: their values are what it expects.
enum fmgrparm : uint32_t {
    fp_request = 0,
    fp_status = 1, // reply: the first byte is an fmgrstatus; the number is a further code
    fp_organisation = 3,
    fp_handle = 5,
    fp_name = 6,
    fp_shortest = 9, // record lengths
    fp_longest = 10,
    fp_16 = 16,
    fp_keyparts = 18,
    fp_19 = 19,
    fp_20 = 20,
    fp_openflags = 22,
    fp_readflags = 25,
    fp_writeflags = 26,
    fp_length = 30, // of one record
    fp_34 = 34,
    fp_35 = 35,
    fp_37 = 37,
    fp_blocksize = 42,
    fp_45 = 45,
    fp_46 = 46, // index attributes
    fp_47 = 47,
};

enum fmgrrequest : uint32_t { // values of fp_request
    rq_open = 1,
    rq_close = 3,
    rq_read = 10,
    rq_writeindexed = 14,
    rq_write = 15,
    rq_start = 16,
    rq_end = 17,
};

enum fmgrorganisation : uint32_t { // values of fp_organisation
    org_sequential = 2,            // kind 2
    org_relative = 4,              // kind 19
    org_indexed = 6,               // kind 18
};

// COBOL file status, a decimal digit in each half of the byte.
enum fmgrstatus : uint8_t {
    fs_done = 0x00,
    fs_end = 0x10,
    fs_failed = 0x30, // with the error number 24: too many open files
    fs_refused = 0x37,
    fs_pastend = 0x96, // a read after the one that met the end
};

} // namespace kvern

// The session's own part of the context: who called, what failed, the arena,
// and the place in the session's life.
#pragma once

#include "kvern.h"

#include "platform/platform.h"

#include <cstdint>

namespace kvern {

struct qha5ctx;
struct blockhdr;

// One message argument, tagged so that a format never reads the wrong kind.
struct msgarg {
    enum kindcode : uint8_t { absent, text, number };
    const char *string; // kind text; null prints as ""
    uint32_t value;     // kind number
    kindcode kind;

    static constexpr msgarg of(const char *s) { return {s, 0, text}; }
    static constexpr msgarg of(uint32_t n) { return {nullptr, n, number}; }
};

// A report as it was issued, for those who ask later.
struct keptmessage {
    uint32_t number; // 0: none
    uint32_t detail;
    uint32_t syscode; // errnum at that time
    uint32_t argc;
    msgarg args[5];
};

// A count of 32 bits that may wrap, followed in 64 by looking at it before it has
// gone all the way round.
struct widecount {
    uint64_t total;
    uint32_t seen;
    uint64_t follow(uint32_t now) {
        total += static_cast<uint32_t>(now - seen);
        seen = now;
        return total;
    }
};

// What holds between two calls of a session.
enum sessionstate : uint8_t {
    st_created = 0,   // context exists, set-up not finished
    st_ready = 1,     // set-up finished
    st_putting = 2,   // input through kvrnput running
    st_sorted = 3,    // input complete
    st_getting = 4,   // output through kvrnget running
    st_finished = 5,  // all output delivered
    st_mergeopen = 6, // merge set up, files open
};

struct session_fields {
    // Set at creation, valid to the end.
    uint32_t version;
    KVRNSESS *userblk;     // the caller's session block
    KVRNLINK *link;        // the caller's link table
    platform::memory work; // the work area
    uint32_t worksize;     // bytes of it
    platform::memory self; // the context's own memory

    sessionstate state;
    bool busy;            // while an engine call runs; record calls and close are refused
    uint32_t refusedwith; // detail of the last of those or of a probe, 0 none;
    uint32_t refusedover; // and what it took the place of
    bool probing;         // a record is only looked at: reports leave no trace
    uint32_t probedetail; // of the last of them, for the probe's caller

    // Failure and reporting (qha9msg).
    uint32_t errdetail;          // first detail code of the session, kept
    uint32_t errno_detail;       // status for KVRNSESS.syserr
    uint32_t errnum;             // last system error number, 0 once it was got round
    keptmessage kept;            // first report with a detail code, until then the last
    const char *const *msgtable; // 93 rows
    uint32_t msgargc;
    msgarg msgarg1, msgarg2, msgarg3, msgarg4, msgarg5;
    uint8_t msglevel; // print threshold, 1 from creation

    // Written from outside, through the control calls or the hook.
    uint32_t cancelled;   // 1: the session was asked to stop
    const char *earlydir; // directories deposited during the start-up pump

    int64_t starttime; // seconds; read when msglevel is 3 or more
    int64_t phasetime;

    // Arena: bump allocation in the work area (arena.h).
    uint8_t *arenanext; // next free byte, aligned for a pointer
    uint32_t arenafree; // bytes left

    // Counts of the balance that qha5term tests.
    uint32_t incount;                       // records taken in
    uint32_t outcount;                      // records delivered
    uint32_t *perinput;                     // incount by input file
    widecount intotal, outtotal, droptotal; // follow incount, outcount, selectcount

    // What a record call of a sort does with code 16, by record form and exchange;
    // set before state 1 is left.  0, or -1 with sess->detail set.  They need
    // putblock and getblock, which are null while the caller has no business
    // with that side.
    blockhdr *putblock, *getblock;
    int (*putfn)(qha5ctx *ctx, KVRNSESS *sess);
    int (*getfn)(qha5ctx *ctx, KVRNSESS *sess);
    // The detail that a record alone is refused with, 0: it is taken.
    uint32_t (*refusal)(const qha5ctx *ctx, const uint8_t *bytes, uint32_t length);
};

} // namespace kvern

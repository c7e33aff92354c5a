// What the caller asked for, as the parameter analysis stored it, and the
// geometry that follows from it.  Set once during kvrnopen, read-only after.
#pragma once

#include "kvern.h"

#include <cstdint>

namespace kvern {

struct filectl;

// Record operation on equal keys.
enum recfunction : uint8_t { rf_none = 0, rf_sum = 1, rf_suppress = 2 };

constexpr uint8_t dbcsaware = 3; // value of dbcs when on

// The caller's sum table rewritten to internal offsets: the rows are filled by
// the key table builder.
struct sumrow {
    uint32_t position; // 'f','v': offset in the internal record; 'r': as given
    uint32_t length;
    uint8_t type;
    uint8_t adder; // set with sumrebuild
    uint8_t unused[2];
};
struct sumtable {
    uint32_t count;
    sumrow entry[1];
};

struct param_fields {
    // KVRNPRIM.
    uint8_t level; // interface level 0 to 4
    uint8_t function;
    uint8_t recform; // 'f', 'v' or 'r'
    bool samefile, stdoutopt, stdinopt;
    uint8_t recoprat;
    bool keeporder, suppressopt, sumopt, selectopt, reconopt, descall;
    uint8_t keyoption2;
    uint8_t tmpoption;
    uint8_t cdmode, altmode;
    uint8_t fieldmode;     // 243 by number, 244 by column, 0 no text
    uint8_t dbcs;          // dbcsaware: double-byte awareness in force
    bool keygiven;         // a key table with entries was given
    bool sepgiven;         // the caller gave a separator
    uint8_t linedlmt[3];   // zero-ended
    uint32_t linedlmtlen;  // 1 or 2; 0 at level 0
    const uint8_t *sepstr; // arena copy; one blank by default
    uint32_t seplen;
    uint32_t mergecount;

    // The two sides.
    filectl **infiles;
    uint32_t filecount; // of infiles
    filectl *outfile;
    bool usefilemgr, useindexed; // kinds 2 or 19, 18 in use
    bool msgprint;               // option bit 128: messages are printed
    bool apiinput, apioutput;    // through the record calls
    uint8_t recfunc;             // recfunction

    // Arena copies of the caller's tables.
    KVRNRCN *reconspec;
    KVRNSEL *selspec;
    sumtable *sumspec;
    KVRNOKEY *filetypes; // key description of an indexed output, or null
    uint8_t *keyspecbuf; // room for the key parts of an indexed output, or null

    // Work places for temporary files, found by the session or given as paths.
    uint8_t workkind;      // 'd' directories, 'p' paths, 0 none
    uint8_t workdirs;      // 'd': the caller's list names directories
    char **workpaths;      // entries may be null
    uint32_t workcount;    // paths in workpaths, kind 'p'
    uint32_t workdircount; // directories in workpaths, kind 'd'

    // Record geometry, bytes.
    uint32_t inreclen;  // exact for 'f', greatest for 'v' and (with delimiter) 'r'
    uint32_t outreclen; // likewise, of the record that goes out
    uint32_t sumlen;    // all summation fields, multiple of 4
    uint32_t summaxpos, selmaxpos, reconmaxpos; // highest byte position in use
    bool reconcopies;                           // a piece is copied, from reconmaxpos at most
    uint32_t selmaxlen;                         // work length of the longest selection operand
    uint32_t reconmaxfld, selmaxfld, keymaxfld; // field numbers, mode 243
};

} // namespace kvern

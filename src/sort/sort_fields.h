// The sort engine's part of the context: blocks, slots, strings, temporary
// files and the final merge.
#pragma once

#include "platform/platform.h"

#include <cstdint>

namespace kvern {

struct qha5ctx;
struct tempfile;
struct idxentry;

// A record node of the final merge: a place in a merge block's data area.  Links are
// positions in the block's `nodes`, so that a node takes 12 bytes on every target: the
// smaller the nodes, the more blocks merge at a time.
struct recnode {
    uint32_t next;
    uint32_t prev;
    uint32_t record; // offset of the place from the block's `first`
};
constexpr uint32_t nonode = UINT32_MAX;

enum blockstate : uint16_t {
    bs_free = 'f',   // on its free chain
    bs_inside = 'i', // inside intake or deliver, or owned by the engine
    bs_read = 'r',   // holds or awaits raw records; a read was issued
    bs_write = 'w',  // holds finished records; a write was issued
    bs_merging = 'u' // final merge: records being merged
};

enum : int32_t { io_done = 0, io_full = 1, io_failed = -1 };

// Header of caller blocks and work blocks.
struct blockhdr {
    blockhdr *link;
    uint32_t treenode;         // final merge: leaf in the merge tree
    platform::filepos filepos; // position in the temporary file
    tempfile *file;            // temporary file it is read from or written to
    int32_t iostat;            // io_done, io_full (write again elsewhere), io_failed
    uint32_t blockinput;       // input it serves; selects the carrytab entry
    uint8_t *first;            // first data byte
    uint8_t *end;              // one past the last usable byte
    uint8_t *next;             // next byte to read or write; final merge: lowest record
    uint8_t *limit;            // one past the last valid byte; final merge: highest record
    const uint8_t *nextkey;    // final merge: key of the entry behind this block
    blockstate state;
    blockhdr *prev; // final merge: chain of merge blocks
    recnode *nodes;
    uint32_t headnode; // lowest remaining record, a position in `nodes`
    uint32_t freenode; // chain of nodes whose records are used up
    uint32_t tailnode; // highest remaining record
    uint32_t count;    // records or index entries in the block
};
static_assert(sizeof(void *) != 4 || sizeof(blockhdr) == 72);

// A slot: one word, then an internal record of intreclen bytes.
struct slot {
    union {
        slot *link;    // in a chain
        uint32_t leaf; // in the tree: the node at which it entered
    };
    uint8_t *record() { return reinterpret_cast<uint8_t *>(this + 1); }
    const uint8_t *record() const { return reinterpret_cast<const uint8_t *>(this + 1); }
};

// One partition of the in-core sort that waits.
struct sortpair {
    slot **first;
    uint32_t countcare; // the sorter's own: elements, and how it chooses their pivot
};
// The larger side waits, so what is worked on halves at least with each pair that does.
// A sentinel is the lowest.
constexpr uint32_t qstackpairs = 32;
static_assert(sizeof(void *) != 4 || qstackpairs * sizeof(sortpair) == 256);

// Partial line left over from the last read of a text input.
struct carryentry {
    uint32_t length;
    uint8_t *bytes; // room for inreclen rounded up to 4
};

constexpr uint32_t workblocks = 3;    // WBs that a sort begins with
constexpr uint32_t tempfileroom = 20; // temporary file records reserved

// Consumes a block of raw records, or fills a block with finished records.  Returns the
// block; iostat -1 is failure, already reported.
using blockroutine = blockhdr *(*)(qha5ctx *ctx, blockhdr *block);

struct sort_fields {
    // Caller blocks.
    uint32_t inblklen, outblklen; // usable bytes for input and output
    uint32_t textreadlen;         // bytes asked of one line read
    carryentry *carrytab;         // one entry per input stream
    blockhdr *freeblocks;

    blockroutine intake, deliver;

    // Builds an internal record from the raw record; returns the bytes that the
    // record occupies in its block, -1 after reporting.  Counts seqno.
    int32_t (*encode)(qha5ctx *ctx, const uint8_t *raw, uint8_t *internal);
    // Writes the key alone, most significant byte first, of a record that stands by itself
    // and passed `refusal`: probedlength(ctx) bytes.  -1 after reporting.  Counts nothing.
    int32_t (*probe)(qha5ctx *ctx, const uint8_t *record, uint32_t length, uint8_t *key);
    // End of the valid bytes of the block that `raw` lies in: searches for a
    // delimiter stop here.  Set by whoever calls encode, probe or the filter.
    const uint8_t *scanlimit;
    uint32_t seqno;    // records encoded so far
    uint8_t *recwork;  // one record image
    uint32_t reconlen; // text length of the last copy-function rebuild

    // Work blocks.
    uint32_t wbcount, wbsize; // wbsize: whole internal records
    blockhdr *freewbs;        // consumed head first

    // What is left for slots and later phases.
    uint8_t *sortnext;
    uint32_t sortfree;

    // Slots and the in-core sort.
    slot *slotfirst;                         // head of the chain of filled or listed slots
    slot *slotnext;                          // next free slot
    uint32_t slotused, slotready, slotcount; // ready: chained and cleared
    uint32_t slotstride;                     // bytes from slot to slot
    slot **slotptrs;                         // sort array; also the tree of string creation
    sortpair *qstack, *qstackend;
    bool external; // after records went to temporary files
    uint32_t frozenlimit;
    uint32_t recperwb, idxperwb, idxentlen;
    uint32_t stringcount;

    // Output: plain and grouping.
    bool ordering;   // from the end of the input on
    uint32_t outpos; // next sorted record to deliver
    bool outdone;
    bool holdvalid;   // holdrec holds a record
    uint8_t *holdrec; // intreclen bytes

    // Temporary files.
    uint8_t *tfrecnext; // area of temporary file records
    uint32_t tfrecroom;
    bool tempused;       // from the first file until the files are deleted
    bool defaulttemp;    // the default place has its one file
    tempfile *tempfiles; // newest first
    uint32_t tempcount, workpos, workdirpos;
    uint64_t tempbytes, tempreads, tempwrites; // of all files: bytes taken, WBs moved
    platform::filepos tempfilelimit;           // bytes that a temporary file may have
    blockhdr *ioqueue, *ioqueuetail;           // finished operations, oldest first

    // String creation.
    blockhdr *outwb;      // WB being filled
    slot *slotbase;       // first of all slots, slotstride apart
    uint32_t frozencount; // slots set aside for the next string
    uint32_t datawbcount; // data WBs written

    // Index of first keys.
    blockhdr *idxwb;
    tempfile *idxrootfile;
    platform::filepos idxrootpos;
    uint32_t idxrootcount;
    uint32_t dataentries;
    idxentry *idxlist, *idxfree, *idxsentinel;
    uint32_t idxcount; // entries in idxlist, sentinel included

    // Final merge.
    uint32_t mergewidth; // merge blocks
    blockhdr **mergetree;
    blockhdr *mergeblocks;
    blockhdr *sparewb;
    bool mergeresume;
    uint8_t lastpending;
    uint32_t mergedone; // merge blocks with no WB left to take
    uint32_t spillcount, blocksread;
    uint32_t emitcounts; // 1: a record placed by `emit` counts; 0: emit counts itself
    // Puts one record into the output block: 0 placed, 1 no room, -1 failed.
    int32_t (*emit)(qha5ctx *ctx, blockhdr *block, const uint8_t *record);
    // The record form's routine, with which a grouping `emit` writes.
    int32_t (*plainemit)(qha5ctx *ctx, blockhdr *block, const uint8_t *record);
};

} // namespace kvern

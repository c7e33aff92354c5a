// The merge and copy functions' part of the context, and summation's.
#pragma once

#include <cstdint>

namespace kvern {

struct qha5ctx;
struct blockhdr;

// The next record of one input, as an internal record behind this header.
struct mergenode {
    mergenode *next; // in the chain of free nodes
    int32_t input;   // from 0
    uint8_t *image() { return reinterpret_cast<uint8_t *>(this + 1); }
    const uint8_t *image() const { return reinterpret_cast<const uint8_t *>(this + 1); }
};
static_assert(sizeof(void *) != 4 || sizeof(mergenode) == 8);

// What a merge driver and the selection step tell each other.
struct mergecontrol {
    blockhdr *inblock;    // for nextinput; null: that input has ended
    blockhdr *doneblock;  // output block that was used up
    blockhdr *outblock;   // output block that is ready; null: none
    uint32_t nextinput;   // the input whose block is awaited
    blockhdr *spareblock; // just used up, free for the next read
    bool needinput;       // no record goes out before nextinput has its block
};
static_assert(sizeof(void *) != 4 || sizeof(mergecontrol) == 24);

struct merge_fields {
    // Merge driver, for kvrnmrge too: 0 done, 1 end, -1 failed.  Null: none, or a
    // step has failed.
    int32_t (*mergefn)(qha5ctx *ctx);
    mergecontrol *mergectl;
    blockhdr *idleblocks; // no input reads into them yet
    blockhdr *outfill;    // takes the records that go out
    // The selection step: goes on until outblock or needinput is set.  0 or -1.
    int32_t (*selectfn)(qha5ctx *ctx);
    // Next record of an input into a node: 0 done, 1 the block is used up, -1 failed.
    int32_t (*nextrecfn)(qha5ctx *ctx, uint32_t input, mergenode *node);
    // Writes a record to outfill: 0 room for another, 1 full or all is out, -1 failed.
    int32_t (*emitfn)(qha5ctx *ctx);

    mergenode *freenodes;   // chain during the fill; then the one spare node
    mergenode **nodelist;   // nodes that wait, in order (mergelist.h)
    uint32_t nodecount;     // in nodelist
    mergenode *curnode;     // taken off the list last
    blockhdr **inputblocks; // current block of each input, null when it has ended

    // Folds `record` into `held`: 0 summed, 1 summation stopped, -1 failed.
    int32_t (*sumrebuild)(qha5ctx *ctx, uint8_t *held, const uint8_t *record);
    uint8_t *sumbuf;                  // sumlen bytes
    uint8_t folding;                  // recfunction in force: recfunc until a sum could not be made
    uint32_t suppresscount, sumcount; // records that folding made away with
};

} // namespace kvern

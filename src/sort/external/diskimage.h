// What lies in a temporary file: blocks of wbsize bytes, each at a multiple of
// wbsize, written and read whole.  A data WB holds internal records back to back;
// an index WB holds index entries back to back, exactly as they lie in memory.
//
//   data WB    | record | record | ... | stale |      count stands in its entry
//   index WB   | entry, key | entry, key | ... | stale |
//
// The pointers in an entry hold for this session only.
#pragma once

#include "session/arena.h"

#include <cstdint>

namespace kvern {

struct blockhdr;
struct tempfile;

enum entrykind : uint8_t {
    ek_data = 'd',  // names a data WB
    ek_index = 'x', // names an index WB
    ek_end = 'e'    // sentinel of the list in memory
};

enum entrymark : uint8_t {
    em_unread = 'u', // no read of its WB was issued
    em_reading = 'r' // a read is under way: `receiver` is the WB that gets the data
};

// keylen bytes of key follow: the key area of the first record of the WB.
struct idxentry {
    idxentry *link; // chain in memory; without meaning on disk
    union {
        kvern::tempfile *tempfile; // file of the WB named here; null ends a chain of index WBs
        blockhdr *receiver;
    };
    platform::filepos filepos; // its place in that file
    entrykind kind;
    entrymark mark;
    uint32_t count; // records in the named data WB, entries in the named index WB

    uint8_t *key() { return reinterpret_cast<uint8_t *>(this + 1); }
    const uint8_t *key() const { return reinterpret_cast<const uint8_t *>(this + 1); }
};
static_assert(sizeof(void *) != 4 || sizeof(idxentry) == 20);

// Bytes from entry to entry (idxentlen); keeps every entry aligned.
constexpr uint32_t idxentrylen(uint32_t keylen) {
    return static_cast<uint32_t>(arenaround(uint64_t{keylen} + sizeof(idxentry)));
}

} // namespace kvern

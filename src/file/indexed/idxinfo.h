// What the header and the key definitions of an indexed file say about it: read
// from the file itself while the session is set up, sent to the file manager
// when the file is opened.
#pragma once

#include <cstdint>

namespace kvern {

// A piece of a key as the file manager is told of it.
struct keypart {
    uint8_t length;
    uint8_t flags;       // kp_...
    uint8_t position[2]; // in the record, low byte first
};
static_assert(sizeof(keypart) == 4);

enum : uint8_t {
    kp_attribute = 0x10, // the manager's own: a key that may occur more than once
    kp_more = 0x20,      // the next part belongs to the same key
};

constexpr uint32_t keypartroom = 256; // the header counts the parts in one byte

struct idxinfo {
    uint32_t minreclen, maxreclen;
    uint32_t keypartcount; // entries in keyparts
    uint32_t keycount;     // keys that they make
    uint32_t dupkeycount;  // of these, keys whose last part has kp_attribute
    uint32_t blocksize, altblocksize;
    uint32_t hdrflags;              // lowest bit: blocks are altblocksize long
    uint32_t lastblock;             // number of the last block
    uint8_t indexattr[2];           // header bytes 20 and 23, each 1 or 2
    uint8_t openattr[2];            // header bytes 105 and 107
    uint8_t variablerecs;           // 1: minreclen and maxreclen differ
    uint8_t keynumber[keypartroom]; // by part: the key it belongs to, from 0
    keypart keyparts[keypartroom];
};

} // namespace kvern

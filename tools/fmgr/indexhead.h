// The head of an indexed file: header, key definition blocks, and what the manager
// itself has to know.  docs/file-manager.md draws the whole file.
#pragma once

#include "diskfile.h"

namespace fmgr {

struct keypart {
    uint32_t position, length;
};

struct keydef {
    std::vector<keypart> parts;
    bool duplicates; // several records may have it
    uint32_t length() const;
    // The key's bytes out of a record.
    void extract(const uint8_t *record, uint8_t *to) const;
};

struct indexhead {
    uint32_t shortest, longest; // records
    uint32_t attributes[2];
    uint32_t blocksize;
    std::vector<uint8_t> keyparts; // as requests send them, 4 bytes each
    // Settled when the file is complete:
    uint64_t records;     // how many
    uint64_t recordbytes; // of all of them, as they lie in the data blocks

    uint32_t headblocks() const; // with the header's own
    uint32_t payload() const;    // bytes of the data in one block
    uint64_t datablocks() const;
    // The keys, the primary one first.  Fails unless they are keys of such records.
    std::vector<keydef> keys() const;
};

constexpr uint32_t datahead = 10; // bytes of a data block before the data

// Fails with a conflict where no such file can be.
void checkhead(const indexhead &head);
// All blocks of the head.
std::vector<uint8_t> encodehead(const indexhead &head);
// Reads and checks it; the file's length fits afterwards.
indexhead readhead(const inputfile &file);

// Data blocks: type 2, the block's own number, the checksum, then the data.
std::vector<uint8_t> newdatablock(const indexhead &head);
void sealdatablock(std::vector<uint8_t> &block, uint64_t number);
bool soundblock(const std::vector<uint8_t> &block, uint64_t number);

} // namespace fmgr

// Records of a fuzzed session, cut from the last part of the input, which is read
// again and again, a little changed each time.  A record lies at the very end of
// its memory, so that a read past it shows.
#pragma once

#include "fuzz/bytesource.h"
#include "fuzz/fuzzblocks.h"

#include <vector>

namespace kvern::test {

struct recordspan {
    uint8_t *bytes;
    uint32_t length;
};

class recordmaker {
  public:
    // Takes its settings from the source; what is left there is the material.
    recordmaker(bytesource &from, const fuzzblocks &blocks, exactmemory &memory);

    [[nodiscard]] uint32_t records() const { return count; }
    // The record of that number, with its delimiter and, where it is asked for and
    // the form is 'v', with its length word.
    [[nodiscard]] recordspan record(uint32_t number, bool framed);
    // `some` records side by side, as a block or a file holds them.
    [[nodiscard]] recordspan block(uint32_t number, uint32_t some);
    // Bytes of the material as they are.
    [[nodiscard]] recordspan raw(uint32_t length);
    // Appends a file of the records to `out`.
    void file(std::vector<uint8_t> &out, uint32_t first, uint32_t some);

  private:
    const uint8_t *material;
    size_t size, at = 0;
    uint8_t form;
    uint32_t reclen;
    const char *delimiter;
    uint32_t delimiterlength;
    uint8_t alphabet, drift, shift = 0, counting;
    uint8_t digitsat, digits;
    uint32_t count;
    uint8_t *room;

    void stream(uint8_t *to, uint32_t length);
    uint32_t fill(uint8_t *end, uint32_t number, bool framed);
    void number(uint8_t *data, uint32_t length, uint32_t value) const;
};

} // namespace kvern::test

// Layout of an indexed file as far as it describes itself: the file header and
// the chain of key definition blocks.  Numbers are big-endian unless told
// otherwise.  Block n lies at byte n times the block size; the header is the
// beginning of block 0, which is also the first key definition block.
//
//   block 0   head  header        key entries ...
//             0     6             256
//   block n   head  key entries ...
//             0     6
#pragma once

#include <cstdint>
#include <cstring>

namespace kvern::idxformat {

constexpr uint32_t headerlen = 256;

// Head of every block.
constexpr uint32_t typeat = 1, nextat = 2; // u8, u32 number of the next block or 0
constexpr uint32_t headlen = 6;
constexpr uint8_t keyblock = 1; // the type of key definition blocks

constexpr char magic[] = {'R', 'M', 'K', 'F'};
constexpr uint32_t magicat = headlen;
constexpr uint32_t shortestat = 16, longestat = 18;     // u16 record lengths
constexpr uint32_t indexattrat = 20, otherindexat = 23; // u8
constexpr uint32_t partcountat = 25;                    // u8
constexpr uint32_t blocksizeat = 26, altsizeat = 30;    // u16
constexpr uint32_t flagsat = 32;                        // u32 in host order
constexpr uint32_t lastblockat = 42;                    // u32
constexpr uint32_t openattrat = 105, otheropenat = 107; // u8

// A key entry; the rest of it is not read.
constexpr uint32_t entrylen = 36;
constexpr uint32_t positionat = 0, lengthat = 2, entryflagsat = 4; // u16, u16, u8
constexpr uint32_t longestpart = 254;
constexpr uint8_t flag_attribute = 1, flag_more = 2, allflags = 3;

// A shorter block has no room for an entry, so a chain of such blocks would
// never come to an end.
constexpr uint32_t leastblock = headlen + entrylen;

inline uint32_t big16(const uint8_t *at) {
    return static_cast<uint32_t>(at[0] << 8 | at[1]);
}
inline uint32_t big32(const uint8_t *at) {
    return big16(at) << 16 | big16(at + 2);
}
inline uint32_t host32(const uint8_t *at) {
    uint32_t value;
    memcpy(&value, at, sizeof value);
    return value;
}

} // namespace kvern::idxformat

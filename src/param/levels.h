// Interface level: the caller's version word reduced once to a number from 0 to
// 4 that gates which fields of the blocks are read, and the few exact words that
// change behaviour inside their family.
#pragma once

#include "kvern.h"

#include <cstdint>

namespace kvern {

constexpr int nolevel = -1;

struct versionfamily {
    uint32_t mask;
    uint32_t word;
    int level;
};

// 0x1010 is no version that kvrnopen admits: only a direct caller of the engine
// brings it.
constexpr versionfamily versionfamilies[] = {
    {0xFFFF0000, 0x01100000, 0}, {0xFFFF0000, 0x10100000, 1}, {0xFFFF0000, 0x11100000, 2},
    {0xFFFF0000, 0x11200000, 3}, {0xFFFFFFFF, 0x11300000, 4},
};

constexpr int levelof(uint32_t version) {
    for (const versionfamily &family : versionfamilies)
        if ((version & family.mask) == family.word)
            return family.level;
    return nolevel;
}

// What single versions ask for beyond their level.
namespace quirks {

// The line delimiter stands in keyoption2's byte, which keeps its other meaning.
constexpr bool delimiter39(uint32_t version) {
    return version == KVRN_VERSION_L2_OLDDLMT;
}

// Big-endian unsigned keys are taken as little-endian signed ones.
constexpr bool littleubebin(uint32_t version) {
    return version == KVRN_VERSION_L0_LEBIN;
}

// A merge ignores the request for an output that is an input.
constexpr bool mergesamefile(uint32_t version) {
    return version >> 16 == 0x0110;
}

} // namespace quirks

} // namespace kvern

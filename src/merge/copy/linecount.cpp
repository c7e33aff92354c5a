// A copy reads every byte that passes only to count lines, so this must cost little
// beside the transfer itself, however short the lines are: sixteen bytes are compared
// at a time, and each of sixteen lanes counts its own hits.  A hit is the byte 0xFF,
// which is -1, so that a lane is full after 255 rounds.
#include "merge/copy/linecount.h"

#include <cstddef>
#include <cstring>

namespace kvern {
namespace {

constexpr uint32_t width = 16;
constexpr uint32_t fullrounds = 255;
using lanes [[gnu::vector_size(width)]] = uint8_t;

template <uint32_t length>
uint32_t count(const uint8_t *at, const uint8_t *end, uint8_t first, uint8_t last) {
    constexpr ptrdiff_t reach = width + length - 1; // bytes that a round looks at
    uint32_t found = 0;
    while (end - at >= reach) {
        lanes hits = {};
        for (uint32_t round = 0; round < fullrounds && end - at >= reach; ++round, at += width) {
            lanes heads;
            memcpy(&heads, at, width);
            auto match = heads == first;
            if constexpr (length > 1) {
                lanes tails;
                memcpy(&tails, at + 1, width);
                match &= tails == last;
            }
            hits -= reinterpret_cast<lanes>(match);
        }
        for (uint32_t lane = 0; lane < width; ++lane)
            found += hits[lane];
    }
    for (; end - at >= static_cast<ptrdiff_t>(length); ++at)
        found += at[0] == first && at[length - 1] == last ? 1 : 0;
    return found;
}

} // namespace

uint32_t countbyte(const uint8_t *at, const uint8_t *end, uint8_t byte) {
    return count<1>(at, end, byte, byte);
}

uint32_t counttext(const uint8_t *at, const uint8_t *end, const uint8_t *text, uint32_t length) {
    return length == 1 ? countbyte(at, end, text[0]) : count<2>(at, end, text[0], text[1]);
}

} // namespace kvern

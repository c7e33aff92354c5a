// Numbers in files and messages: so many bytes, highest or lowest first.
#pragma once

#include <cstddef>
#include <cstdint>

namespace fmgr {

inline uint64_t bigendian(const uint8_t *from, size_t width) {
    uint64_t value = 0;
    for (size_t i = 0; i < width; ++i)
        value = value << 8 | from[i];
    return value;
}

inline void putbig(uint8_t *to, size_t width, uint64_t value) {
    for (size_t i = width; i-- != 0; value >>= 8)
        to[i] = static_cast<uint8_t>(value & 0xFF);
}

inline uint64_t littleendian(const uint8_t *from, size_t width) {
    uint64_t value = 0;
    for (size_t i = width; i-- != 0;)
        value = value << 8 | from[i];
    return value;
}

inline void putlittle(uint8_t *to, size_t width, uint64_t value) {
    for (size_t i = 0; i < width; ++i, value >>= 8)
        to[i] = static_cast<uint8_t>(value & 0xFF);
}

} // namespace fmgr

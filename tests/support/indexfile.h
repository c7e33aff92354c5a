// Bytes of an indexed file as far as it describes itself: a sound header with
// its key definition blocks, to be read or to be spoilt.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace kvern::test {

struct indexpart {
    uint32_t position = 0, length = 1;
    uint8_t flags = 0;
};

inline void putbig(std::string &data, size_t at, uint32_t value, int bytes) {
    if (data.size() < at + static_cast<size_t>(bytes))
        data.resize(at + static_cast<size_t>(bytes));
    for (int i = bytes; i-- > 0; value >>= 8)
        data[at + static_cast<size_t>(i)] = static_cast<char>(value);
}

// A chain of block 0 and those behind the header, as many as the parts take; the
// last one is cut off behind its last part.
inline std::string indexfile(uint32_t blocksize, const std::vector<indexpart> &parts,
                             uint32_t shortest = 100, uint32_t longest = 100) {
    std::string data(256, 0);
    putbig(data, 16, shortest, 2);
    putbig(data, 18, longest, 2);
    data.replace(6, 4, "RMKF");
    data[1] = data[20] = data[23] = 1;
    data[25] = static_cast<char>(parts.size());
    putbig(data, 26, blocksize, 2);
    data[105] = 5;
    data[107] = 7;
    uint32_t block = 0;
    size_t at = 256;
    for (const indexpart &part : parts) {
        if (at + 36 > size_t{blocksize} * (block + 1)) {
            const uint32_t next = block == 0 ? (255 + blocksize) / blocksize : block + 1;
            putbig(data, size_t{blocksize} * block + 2, next, 4);
            block = next;
            at = size_t{blocksize} * block + 6;
            putbig(data, at - 5, 1, 1);
        }
        putbig(data, at, part.position, 2);
        putbig(data, at + 2, part.length, 2);
        putbig(data, at + 4, part.flags, 1);
        data.resize(at += 36);
    }
    putbig(data, 42, block, 4);
    return data;
}

} // namespace kvern::test

#include "fuzz/fuzzrecords.h"

#include <algorithm>
#include <cstring>
#include <string_view>

#ifdef __clang__
#define KVERN_UNWATCHED __attribute__((no_sanitize("address", "undefined")))
#else
#define KVERN_UNWATCHED
#endif

namespace kvern::test {

namespace {

// What the material's bytes stand for; the first one is the bytes as they are.
constexpr std::string_view alphabets[] = {
    {},
    "0123456789+-. ,\n",
    "0123456789pqystPQY{}AIJR",
    {"\x12\x34\x56\x78\x90\x1C\x2D\x3F\x0C\x9D\x00\xF0", 12},
    "ab",
    {"ab \t,;\\\r\n\x1A\x81@ZA\x00\xB1", 16},
    "\xF0\xF1\xF9\xC1\xD1\xB3\x60\x4E\x40",
};
struct meanings {
    uint8_t of[std::size(alphabets)][256];
};
constexpr meanings spell() {
    meanings all{};
    for (size_t a = 0; a < std::size(alphabets); ++a)
        for (size_t byte = 0; byte < 256; ++byte)
            all.of[a][byte] = static_cast<uint8_t>(alphabets[a].empty()
                                                       ? static_cast<char>(byte)
                                                       : alphabets[a][byte % alphabets[a].size()]);
    return all;
}
constexpr meanings spelled = spell();

constexpr uint32_t longest = 40000;    // beyond it no record passes the analysis
constexpr uint32_t fewbytes = 6000;    // of all records, as a rule
constexpr uint32_t manybytes = 150000; // more than the smallest storage holds
constexpr uint32_t manyrecords = 2500;
constexpr uint32_t spillfactor = 3; // now and then more strings than a merge takes
constexpr uint32_t blockrecords = 4;
constexpr uint32_t longestraw = 6000;

// One input in forty-eight of those that ask for it has many records: they cost a
// hundred times as much as the others.
bool chosen(const uint8_t *bytes, size_t length) {
    uint32_t sum = 0;
    for (size_t i = 0; i < length; ++i)
        sum += bytes[i];
    return sum % 48 == 7;
}

} // namespace

recordmaker::recordmaker(bytesource &from, const fuzzblocks &blocks, exactmemory &memory) {
    const KVRNPRIM &prim = *blocks.prim;
    form = blocks.text() ? uint8_t{'r'} : prim.recform;
    reclen = std::min(prim.reclen, longest);
    delimiter = blocks.delimiter();
    delimiterlength = static_cast<uint32_t>(strlen(delimiter));
    alphabet = static_cast<uint8_t>(from.byte() % std::size(alphabets));
    drift = from.byte();
    counting = from.byte();
    digitsat = from.byte() % 32;
    digits = from.byte() % 9;
    const uint8_t few = from.byte();
    material = from.rest();
    size = from.left();
    const bool many = few >= 192 && chosen(material, size);
    const uint32_t each = std::max(reclen, 8U);
    const uint32_t times = few >= 250 ? spillfactor : 1;
    count = many ? times * std::min(manyrecords, manybytes / each + 1)
                 : std::min(few % 48U, fewbytes / each + 1);
    room = static_cast<uint8_t *>(memory.take(blockrecords * size_t{reclen + 8})) +
           blockrecords * size_t{reclen + 8};
}

// The hot loop of a fuzzed session; it stays within the material and the room.
KVERN_UNWATCHED void recordmaker::stream(uint8_t *to, uint32_t length) {
    const uint8_t *meaning = spelled.of[alphabet];
    if (size == 0) {
        memset(to, shift, length);
        return;
    }
    size_t next = at;
    for (uint32_t i = 0; i < length; ++i) {
        to[i] = meaning[static_cast<uint8_t>(material[next] + shift)];
        if (++next == size) {
            next = 0;
            shift = static_cast<uint8_t>(shift + drift);
        }
    }
    at = next;
}

// A decimal number that goes up, down or stays, so that merge inputs may be in
// order and keys are equal now and then.
void recordmaker::number(uint8_t *data, uint32_t length, uint32_t value) const {
    if (counting % 4 == 0 || digitsat + digits > length)
        return;
    value = value * (counting >> 4) / 4;
    if (counting % 4 == 1)
        value = 99999 - value;
    for (uint32_t i = digitsat + digits; i-- > digitsat; value /= 10)
        data[i] = static_cast<uint8_t>('0' + value % 10);
}

// Writes a record that ends at `end`; its length.
uint32_t recordmaker::fill(uint8_t *end, uint32_t value, bool framed) {
    uint32_t length = reclen;
    if (form != KVRN_FIXED) {
        const uint8_t way = material != nullptr && size != 0 ? material[at] : uint8_t{0};
        length = way == 255 ? reclen + 1 : way < 192 ? way % (reclen + 1) : reclen;
        length = std::max(length, delimiterlength);
    }
    uint8_t *start = end - length;
    const uint32_t text = length - delimiterlength;
    stream(start, text);
    if (text == 0) {
        uint8_t passed;
        stream(&passed, 1);
    }
    memcpy(start + text, delimiter, delimiterlength);
    number(start, text, value);
    if (form != KVRN_VARIABLE || !framed)
        return length;
    memcpy(start - sizeof length, &length, sizeof length);
    return length + static_cast<uint32_t>(sizeof length);
}

recordspan recordmaker::record(uint32_t value, bool framed) {
    const uint32_t length = fill(room, value, framed);
    return {room - length, length};
}

recordspan recordmaker::block(uint32_t value, uint32_t some) {
    uint8_t *start = room;
    for (uint32_t i = std::min(some, blockrecords); i-- > 0;)
        start -= fill(start, value + i, true);
    return {start, static_cast<uint32_t>(room - start)};
}

recordspan recordmaker::raw(uint32_t length) {
    length = std::min({length, blockrecords * (reclen + 8), longestraw});
    uint8_t *start = room - length;
    stream(start, length);
    return {start, length};
}

void recordmaker::file(std::vector<uint8_t> &out, uint32_t first, uint32_t some) {
    for (uint32_t i = 0; i < some; ++i) {
        const recordspan one = record(first + i, true);
        out.insert(out.end(), one.bytes, one.bytes + one.length);
    }
}

} // namespace kvern::test

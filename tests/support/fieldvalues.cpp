#include "support/fieldvalues.h"

#include <algorithm>
#include <cstring>
#include <limits>

namespace kvern::test {

namespace {

// The last n decimal digits, each as `zone` above its value.
bytes digitsof(uint64_t v, size_t n, unsigned zone) {
    bytes out(n, static_cast<char>(zone));
    for (size_t i = n; i-- > 0 && v != 0; v /= 10)
        out[i] = static_cast<char>(zone + v % 10);
    return out;
}

bytes bigendian(int64_t v, size_t n) {
    bytes out(n, v < 0 ? '\xFF' : '\0');
    for (size_t i = n; i-- > 0 && n - i <= 8;)
        out[i] = static_cast<char>(v >> (8 * (n - 1 - i)));
    return out;
}

char zonedsign(char digit, bool negative, unsigned cdmode, randomness &r) {
    const int d = digit & 15;
    switch (cdmode) {
    case KVRN_CD_EBCDIC:
        return static_cast<char>((negative ? r.pick({0xB0, 0xD0}) : r.pick({0xC0, 0xF0})) + d);
    case KVRN_CD_OVERPUNCH:
        if (!negative && r.onein(2))
            return static_cast<char>('0' + d);
        return d == 0 ? (negative ? '}' : '{') : static_cast<char>((negative ? 'J' : 'A') + d - 1);
    case KVRN_CD_ZONE7:
        return static_cast<char>((negative ? 0x70 : r.pick({0x30, 0x50})) + d);
    default:
        return static_cast<char>((negative ? 0x50 : r.pick({0x30, 0x40, 0x70})) + d);
    }
}

bytes packeddecimal(uint64_t magnitude, bool negative, uint32_t length, randomness &r) {
    const bytes digits = digitsof(magnitude, 2 * length - 1, 0);
    bytes out(length, '\0');
    for (size_t i = 0; i < digits.size(); ++i)
        out[i / 2] = static_cast<char>(out[i / 2] | (digits[i] << (i % 2 == 0 ? 4 : 0)));
    const int sign = negative ? r.pick({0xB, 0xD}) : r.pick({0xA, 0xC, 0xE, 0xF});
    out.back() = static_cast<char>(out.back() | sign);
    return out;
}

bytes number(unsigned type, uint32_t length, unsigned cdmode, uint64_t magnitude, bool negative,
             randomness &r) {
    const bool ebcdic = cdmode == KVRN_CD_EBCDIC;
    const unsigned zone = ebcdic ? 0xF0 : 0x30;
    bytes digits = digitsof(magnitude, length, zone);
    const char minus = ebcdic ? '\x60' : '-', plus = ebcdic ? '\x4E' : r.pick({'+', ' ', '0'});
    switch (type) {
    case KVRN_PACKED:
        return packeddecimal(magnitude, negative, length, r);
    case KVRN_SIGNLEAD:
        digits.front() = negative ? minus : plus;
        return digits;
    case KVRN_SIGNTRAIL:
        return digits.substr(1) + (negative ? minus : plus);
    case KVRN_ZONEDLEAD:
        digits.front() = zonedsign(digits.front(), negative, cdmode, r);
        return digits;
    case KVRN_ZONED:
    case KVRN_ZONEDU:
        digits.back() = zonedsign(digits.back(), negative, cdmode, r);
        return digits;
    default:
        return digits;
    }
}

} // namespace

int64_t rankof(distribution d, size_t i, size_t n, randomness &r) {
    const auto at = static_cast<int64_t>(i), size = static_cast<int64_t>(n);
    switch (d) {
    case distribution::ascending:
        return at - size / 2;
    case distribution::descending:
        return size / 2 - at;
    case distribution::equal:
        return 7;
    case distribution::twovalues:
        return r.onein(2) ? -1 : 1;
    case distribution::sawtooth:
        return at % 17;
    case distribution::organpipe:
        return std::min(at, size - at);
    default:
        return static_cast<int64_t>(r.bits() >> r.between(1, 62)) * (r.onein(2) ? -1 : 1);
    }
}

bytes fieldof(unsigned type, uint32_t length, unsigned cdmode, int64_t v, randomness &r) {
    const uint64_t magnitude = static_cast<uint64_t>(v < 0 ? -v : v);
    bytes out;
    switch (type) {
    case KVRN_UBIN1:
    case KVRN_UBIN2:
    case KVRN_UBEBIN:
    case KVRN_SBEBIN:
        return bigendian(v, length);
    case KVRN_ULEBIN:
    case KVRN_SLEBIN:
        out = bigendian(v, length);
        std::reverse(out.begin(), out.end());
        return out;
    case KVRN_FLOAT4:
    case KVRN_FLOAT8: {
        const auto wide = static_cast<double>(v) / 3;
        const auto narrow = static_cast<float>(wide);
        out.assign(length, '\0');
        if (length < sizeof wide)
            std::memcpy(out.data(), &narrow, std::min<size_t>(length, sizeof narrow));
        else // longer fields have the number at their high end
            std::memcpy(&out[length - sizeof wide], &wide, sizeof wide);
        return out;
    }
    case KVRN_MASKBYTE:
        return bytes(1, static_cast<char>(v));
    default:
        return number(type, length, cdmode, magnitude, v < 0, r);
    }
}

bytes edgefield(unsigned type, uint32_t length, unsigned cdmode, randomness &r) {
    const uint32_t size = type == KVRN_MASKBYTE ? 1 : length;
    switch (r.below(5)) {
    case 0: // minus zero
        return number(type, size, cdmode, 0, true, r);
    case 1: // greatest magnitude: all nines, or what is nearest to them
        return number(type, size, cdmode, std::numeric_limits<uint64_t>::max(), r.onein(2), r);
    case 2: { // smallest and greatest of the binary types, in either byte order
        bytes out(size, r.onein(2) ? '\0' : '\xFF');
        out[r.onein(2) ? 0 : size - 1] = r.pick({'\x80', '\x7F'});
        return out;
    }
    case 3:
        return bytes(size, r.pick({'\0', '\xFF', ' ', '0'}));
    default: {
        bytes out(size, '\0');
        std::generate(out.begin(), out.end(), [&] { return r.byte(); });
        return out;
    }
    }
}

bytes textof(script kind, uint32_t room, int64_t v, randomness &r) {
    const uint64_t magnitude = static_cast<uint64_t>(v < 0 ? -v : v);
    bytes out;
    switch (kind) {
    case script::words:
        for (uint64_t rest = magnitude % 456976, i = 0; i < 4; ++i, rest = rest % 17576 * 26)
            out += static_cast<char>((r.onein(3) ? 'A' : 'a') + rest / 17576);
        for (uint32_t more = r.below(8); more-- > 0;)
            out += r.pick({'a', 'z', 'A', 'Z', '0', '9', '_', '-', '.', '~'});
        break;
    case script::numbers:
        out = std::to_string(magnitude).substr(0, 1 + r.below(12));
        out.insert(0, r.pick({"", "", "+", "-", "-0", "$", "-+", "a-"}));
        out += r.pick({"", "", "", "x", ".5", "-", "0"});
        break;
    case script::kanji:
        for (uint32_t more = r.below(10); more-- > 0;) {
            out += r.pick({'\x81', '\x88', '\x9F', '\xE0', '\xEA', '\xF0', '\xFC', 'A', 'z'});
            if (!r.onein(4))
                out += r.pick({'\x40', '\x5C', '\x7C', '\x7E', '\x80', '\x9E', '\x9F', '\xFC'});
        }
        break;
    case script::any:
        for (uint32_t more = r.below(16); more-- > 0;) {
            const char c = r.byte();
            out += c == '\r' || c == '\n' || c == '\x1A' || c == '\0' ? '?' : c;
        }
        break;
    }
    return out.substr(0, room);
}

} // namespace kvern::test

#include "support/fieldvalues.h"

#include <algorithm>
#include <cstring>

namespace kvern::test {

namespace {

int spelling(std::initializer_list<int> all, randomness *r) {
    return r != nullptr ? r->pick(all) : *all.begin();
}

char zonedsign(char digit, bool negative, unsigned cdmode, randomness *r) {
    const int d = digit & 15;
    switch (cdmode) {
    case KVRN_CD_EBCDIC:
        return static_cast<char>(spelling({negative ? 0xD0 : 0xC0, negative ? 0xB0 : 0xF0}, r) + d);
    case KVRN_CD_OVERPUNCH:
        if (!negative && r != nullptr && r->onein(2))
            return static_cast<char>('0' + d);
        return d == 0 ? (negative ? '}' : '{') : static_cast<char>((negative ? 'J' : 'A') + d - 1);
    case KVRN_CD_ZONE7:
        return static_cast<char>((negative ? 0x70 : spelling({0x30, 0x50}, r)) + d);
    default:
        return static_cast<char>((negative ? 0x50 : spelling({0x40, 0x30, 0x70}, r)) + d);
    }
}

bytes packed(const bytes &value, bool negative, uint32_t length, randomness *r) {
    bytes digits = padded(value, 2 * length - 1), out;
    digits +=
        static_cast<char>(negative ? spelling({0xD, 0xB}, r) : spelling({0xC, 0xA, 0xE, 0xF}, r));
    for (size_t i = 0; i < digits.size(); i += 2)
        out += static_cast<char>(digits[i] << 4 | (digits[i + 1] & 15));
    return out;
}

} // namespace

bytes padded(const bytes &digits, size_t n) {
    return (bytes(n, '0') + digits).substr(digits.size());
}

bytes bigendian(int64_t v, size_t n) {
    bytes out(n, v < 0 ? '\xFF' : '\0');
    for (size_t i = n; i-- > 0 && n - i <= 8;)
        out[i] = static_cast<char>(v >> (8 * (n - 1 - i)));
    return out;
}

bytes decimalfield(unsigned type, uint32_t length, unsigned cdmode, const bytes &digits,
                   bool negative, randomness *r) {
    const bool ebcdic = cdmode == KVRN_CD_EBCDIC;
    const int plus = ebcdic ? 0x4E : spelling({'+', ' ', '0'}, r), minus = ebcdic ? 0x60 : '-';
    const auto sign = static_cast<char>(negative ? minus : plus);
    if (type == KVRN_PACKED)
        return packed(digits, negative, length, r);
    bytes out = padded(digits, length);
    for (char &c : out)
        c = static_cast<char>(ebcdic ? c | 0xF0 : c);
    if (type == KVRN_SIGNTRAIL)
        return out.substr(1) + sign;
    if (type == KVRN_SIGNLEAD)
        out.front() = sign;
    else if (type == KVRN_ZONEDLEAD)
        out.front() = zonedsign(out.front(), negative, cdmode, r);
    else if (type == KVRN_ZONED || type == KVRN_ZONEDU)
        out.back() = zonedsign(out.back(), negative, cdmode, r);
    return out;
}

bytes fieldof(unsigned type, uint32_t length, unsigned cdmode, int64_t v, randomness &r) {
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
        return decimalfield(type, length, cdmode, std::to_string(v < 0 ? -v : v), v < 0, &r);
    }
}

bytes edgefield(unsigned type, uint32_t length, unsigned cdmode, randomness &r) {
    bytes out(bytesof(static_cast<uint8_t>(type), length), '\0');
    const auto size = static_cast<uint32_t>(out.size());
    switch (r.below(5)) {
    case 0: // minus zero
        return decimalfield(type, size, cdmode, "", true, &r);
    case 1: // greatest magnitude: all nines, or what is nearest to them
        return decimalfield(type, size, cdmode, std::to_string(UINT64_MAX), r.onein(2), &r);
    case 2: // smallest and greatest of the binary types, in either byte order
        out.assign(size, r.onein(2) ? '\0' : '\xFF');
        out[r.onein(2) ? 0 : size - 1] = r.pick({'\x80', '\x7F'});
        return out;
    case 3:
        return bytes(size, r.pick({'\0', '\xFF', ' ', '0'}));
    default:
        std::generate(out.begin(), out.end(), [&] { return r.byte(); });
        return out;
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

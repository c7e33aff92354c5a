#include "kvern/syntax/literals.h"

#include "kvern.h"
#include "kvern/system/failure.h"

#include <algorithm>
#include <cctype>
#include <string_view>

namespace command {

namespace {

// Characters that are the same in every variant of EBCDIC, by runs.
struct ebcdicrun {
    const char *characters;
    uint8_t first;
};
constexpr ebcdicrun ebcdicruns[] = {
    {" ", 0x40},         {".<(+", 0x4B},      {"&", 0x50},        {"*);", 0x5C},
    {"-/", 0x60},        {",%_>?", 0x6B},     {":", 0x7A},        {"'=\"", 0x7D},
    {"ABCDEFGHI", 0xC1}, {"JKLMNOPQR", 0xD1}, {"STUVWXYZ", 0xE2}, {"0123456789", 0xF0},
};

bool toebcdic(char &c) {
    for (const ebcdicrun &run : ebcdicruns) {
        const size_t at = std::string_view(run.characters).find(c);
        if (at != std::string_view::npos) {
            c = static_cast<char>(run.first + at);
            return true;
        }
    }
    return false;
}

int hexvalue(char c) {
    if (c >= '0' && c <= '9')
        return c - '0';
    const char lower = static_cast<char>(c | 32);
    return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

void readhex(const std::string &option, const std::string &text, size_t from, size_t to,
             std::string &out) {
    if ((to - from) % 2 != 0 || to == from)
        refuseat(option, text, to, "bytes are pairs of hexadecimal digits");
    for (; from < to; from += 2) {
        const int high = hexvalue(text[from]), low = hexvalue(text[from + 1]);
        if (high < 0 || low < 0)
            refuseat(option, text, from, "this is no hexadecimal byte");
        out += static_cast<char>(high * 16 + low);
    }
}

// ---- numbers ----------------------------------------------------------------

struct zonecode {
    uint8_t cdmode;
    uint8_t digit, plus, minus;  // zones
    uint8_t plussign, minussign; // of a separate sign
};
constexpr zonecode zonecodes[] = {
    {KVRN_CD_EBCDIC, 0xF0, 0xC0, 0xD0, 0x4E, 0x60},
    {KVRN_CD_ZONE5, 0x30, 0x30, 0x50, 0x2B, 0x2D},
    {KVRN_CD_ZONE7, 0x30, 0x30, 0x70, 0x2B, 0x2D},
    {KVRN_CD_OVERPUNCH, 0x30, 0, 0, 0x2B, 0x2D},
};

const zonecode &zonesof(uint8_t cdmode) {
    for (const zonecode &one : zonecodes)
        if (one.cdmode == cdmode)
            return one;
    return zonecodes[1];
}

char signeddigit(const zonecode &zones, char digit, bool negative) {
    const int value = digit - '0';
    if (zones.cdmode == KVRN_CD_OVERPUNCH)
        return (negative ? "}JKLMNOPQR" : "{ABCDEFGHI")[value];
    return static_cast<char>((negative ? zones.minus : zones.plus) | value);
}

std::string zoned(const zonecode &zones, const std::string &digits) {
    std::string out;
    for (char digit : digits)
        out += static_cast<char>(zones.digit | (digit - '0'));
    return out;
}

std::string packed(const std::string &digits, bool negative) {
    std::string out;
    for (size_t i = 0; i < digits.size(); i += 2) {
        const int low = i + 1 < digits.size() ? digits[i + 1] - '0' : negative ? 0xD : 0xC;
        out += static_cast<char>((digits[i] - '0') * 16 + low);
    }
    return out;
}

// Most significant byte first; false: more than the length holds.
bool binary(const literalnumber &number, bool signedtype, uint32_t length, std::string &out) {
    out.assign(length, '\0');
    for (char digit : number.digits) {
        int carry = digit - '0';
        for (size_t i = length; i-- > 0;) {
            const int value = static_cast<uint8_t>(out[i]) * 10 + carry;
            out[i] = static_cast<char>(value & 0xFF);
            carry = value >> 8;
        }
        if (carry != 0)
            return false;
    }
    if (number.negative) {
        int carry = 1;
        for (size_t i = length; i-- > 0;) {
            const int value = (~out[i] & 0xFF) + carry;
            out[i] = static_cast<char>(value & 0xFF);
            carry = value >> 8;
        }
    }
    const bool top = (out[0] & 0x80) != 0;
    return signedtype ? top == number.negative : !number.negative;
}

bool padzeros(const std::string &digits, size_t count, std::string &out) {
    if (digits.size() > count)
        return false;
    out = std::string(count - digits.size(), '0') + digits;
    return true;
}

} // namespace

// The line of the fault alone, of a long one the surroundings, so that the caret stands
// below its place.
void refuseat(const std::string &option, const std::string &text, size_t at,
              const std::string &why) {
    constexpr size_t before = 50, most = 76;
    at = std::min(at, text.size());
    while (at == text.size() && at > 0 && text[at - 1] == '\n')
        --at;
    const size_t feed = at == 0 ? std::string::npos : text.rfind('\n', at - 1);
    const size_t from = feed == std::string::npos ? 0 : feed + 1;
    std::string shown = text.substr(from, std::min(text.find('\n', at), text.size()) - from);
    size_t caret = at - from;
    if (caret > before && shown.size() > most) {
        shown = "..." + shown.substr(caret - before);
        caret = before + 3;
    }
    if (shown.size() > most)
        shown = shown.substr(0, most) + "...";
    for (char &c : shown)
        c = std::iscntrl(static_cast<unsigned char>(c)) ? ' ' : c;
    std::string where = option;
    if (std::count(text.begin(), text.end(), '\n') != 0)
        where += ", line " +
                 std::to_string(1 + std::count(text.begin(),
                                               text.begin() + static_cast<ptrdiff_t>(from), '\n'));
    refuse(where + ": " + why, shown + "\n  " + std::string(caret, ' ') + '^');
}

bool readliteral(const std::string &option, const std::string &text, size_t &at, bool ebcdic,
                 literaltext &out) {
    size_t quote = at;
    out.hexadecimal = text[at] == 'x' && at + 1 < text.size();
    if (out.hexadecimal)
        ++quote;
    if (quote >= text.size() || (text[quote] != '"' && text[quote] != '\''))
        return false;
    const size_t from = quote + 1, to = text.find(text[quote], from);
    if (to == std::string::npos)
        refuseat(option, text, at, "a quote is missing behind this text");
    out.bytes.clear();
    if (out.hexadecimal) {
        readhex(option, text, from, to, out.bytes);
    } else {
        out.bytes = text.substr(from, to - from);
        for (size_t i = 0; ebcdic && i < out.bytes.size(); ++i)
            if (!toebcdic(out.bytes[i]))
                refuseat(option, text, from + i,
                         "this character has no one place in EBCDIC, write it as x\"..\"");
    }
    at = to + 1;
    return true;
}

bool numberbytes(const literalnumber &number, uint8_t type, uint32_t length, uint8_t cdmode,
                 std::string &out) {
    const zonecode &zones = zonesof(cdmode);
    const char sign = static_cast<char>(number.negative ? zones.minussign : zones.plussign);
    std::string digits;
    switch (type) {
    case KVRN_ZONED:
    case KVRN_ZONEDU:
    case KVRN_ZONEDLEAD: {
        if (!padzeros(number.digits, length, digits))
            return false;
        const size_t place = type == KVRN_ZONEDLEAD ? 0 : length - 1;
        out = zoned(zones, digits);
        out[place] = signeddigit(zones, digits[place], number.negative);
        return true;
    }
    case KVRN_SIGNLEAD:
    case KVRN_SIGNTRAIL:
        if (!padzeros(number.digits, length - 1, digits))
            return false;
        out = zoned(zones, digits);
        out.insert(type == KVRN_SIGNLEAD ? 0 : out.size(), 1, sign);
        return true;
    case KVRN_PACKED:
        if (!padzeros(number.digits, size_t{length} * 2 - 1, digits))
            return false;
        out = packed(digits, number.negative);
        return true;
    case KVRN_UBEBIN:
        return binary(number, false, length, out);
    case KVRN_SBEBIN:
        return binary(number, true, length, out);
    case KVRN_MASKBYTE:
        return binary(number, false, 1, out);
    default:
        return false;
    }
}

} // namespace command

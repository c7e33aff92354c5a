#include "model/model.h"
#include "key/chartables.h"

#include <algorithm>
#ifdef _WIN32
#include <windows.h>
#endif

namespace kvern::test {

namespace {

uint8_t at(const bytes &text, size_t i) {
    return static_cast<uint8_t>(text[i]);
}
// The conversion tables are the engine's own, which its test knows by checksum.
bytes translated(bytes text, const uint8_t *table) {
    for (char &c : text)
        c = static_cast<char>(table[static_cast<uint8_t>(c)]);
    return text;
}
bytes ascii_to_ebcdic(const bytes &text, unsigned altmode) {
    const chartable *const tables[] = {&TBL_A2E0, &TBL_A2E1, &TBL_A2E2};
    return translated(text, tables[altmode]->code);
}
bytes ebcdic_to_ascii(const bytes &text, unsigned altmode) {
    const chartable *const tables[] = {&TBL_E2A0, &TBL_E2A1, &TBL_E2A2};
    return translated(text, tables[altmode]->code);
}
bytes reversed(const bytes &text) {
    return {text.rbegin(), text.rend()};
}
bool isdigit(char c) {
    return c >= '0' && c <= '9';
}

// ---- numbers --------------------------------------------------------------

// A zoned number: the sign byte is told apart by the code of the data, its
// digit stands beside the others.
keyvalue zoned(uint8_t cdmode, bytes field, size_t sign) {
    const uint8_t b = at(field, sign);
    const unsigned zone = b >> 4, digit = b & 15;
    switch (cdmode) {
    case KVRN_CD_EBCDIC:
        field[sign] = static_cast<char>(0xF0 + digit);
        return {zone == 0xB || zone == 0xD, field};
    case KVRN_CD_OVERPUNCH: {
        const bool letter = b >= 'J' && b <= 'R';
        field[sign] = static_cast<char>(letter                 ? '1' + (b - 'J')
                                        : b == '{' || b == '}' ? '0'
                                                               : '0' + static_cast<int>(digit));
        return {letter || b == '}', field};
    }
    default:
        field[sign] = static_cast<char>('0' + digit);
        return {zone == (cdmode == KVRN_CD_ZONE7 ? 7 : 5), field};
    }
}

keyvalue packed(bytes field) {
    const unsigned sign = at(field, field.size() - 1) & 15;
    field.back() = static_cast<char>(at(field, field.size() - 1) & 0xF0);
    return {sign == 0xB || sign == 0xD, field};
}

keyvalue separatesign(uint8_t cdmode, const bytes &field, size_t sign) {
    const char minus = cdmode == KVRN_CD_EBCDIC ? '\x60' : '-';
    return {field[sign] == minus, field.substr(sign == 0 ? 1 : 0, field.size() - 1)};
}

// Most significant byte first.  Of two negative numbers the greater bytes are
// the greater value, so the magnitude is their complement.
keyvalue twoscomplement(bytes field) {
    const bool negative = (at(field, 0) & 0x80) != 0;
    for (char &c : field)
        c = negative ? static_cast<char>(~c) : c;
    return {negative, field};
}

// Least significant byte first: a sign bit above exponent and mantissa, which
// together order as one number.
keyvalue floating(const bytes &field) {
    bytes magnitude = reversed(field);
    const bool negative = (at(magnitude, 0) & 0x80) != 0;
    magnitude[0] = static_cast<char>(magnitude[0] & 0x7F);
    return {negative, magnitude};
}

// ---- text -----------------------------------------------------------------

enum charclass { control, lower, plain, printable };

charclass classof(char c, bool kanji) {
    const auto b = static_cast<uint8_t>(c);
    if (c >= 'a' && c <= 'z')
        return lower;
    if (c == ' ' || isdigit(c) || (c >= 'A' && c <= 'Z'))
        return plain;
    if (b < 32 || b == 127 || b == 255 || (b >= 0x80 && b < 0xA0 && !kanji))
        return control;
    return printable;
}

// What the options leave of a text.
bytes cleaned(bytes text, unsigned options, bool kanji) {
    if (options & KVRN_TXT_SKIPBLANKS)
        text.erase(0, std::min(text.find_first_not_of(" \t"), text.size()));
    if (options & KVRN_TXT_ALNUM) {
        std::erase_if(
            text, [=](char c) { return classof(c, kanji) != lower && classof(c, kanji) != plain; });
    }
    if (options & KVRN_TXT_PRINTABLE)
        std::erase_if(text, [=](char c) { return classof(c, kanji) == control; });
    if (options & KVRN_TXT_FOLD)
        for (char &c : text)
            c = classof(c, kanji) == lower ? static_cast<char>(c - 32) : c;
    return text;
}

// A number written in a text: what follows its last digit is dropped, what
// stands before its first one counts for the sign only.
keyvalue numeric(bytes text, size_t room) {
    while (!text.empty() && !isdigit(text.back()))
        text.pop_back();
    keyvalue value{};
    for (char &c : text) {
        if (isdigit(c))
            break;
        value.negative = value.negative || c == '-';
        c = '0';
    }
    value.magnitude = bytes(room - text.size(), '0') + text;
    return value;
}

// Row and cell of each Shift-JIS character; single bytes stand in row 0.
bytes jis(const bytes &text) {
    bytes out;
    const auto pair = [&](unsigned row, unsigned cell) {
        out += static_cast<char>(row);
        out += static_cast<char>(cell);
    };
    for (size_t i = 0; i < text.size(); ++i) {
        unsigned b = at(text, i), beyond = 0;
        if (b < 0x81 || (b > 0x9F && b < 0xE0) || b > 0xFC) {
            pair(0, b);
            continue;
        }
        if (i + 1 == text.size()) {
            pair(b, 0);
            continue;
        }
        if (b >= 0xF0) {
            b -= 111;
            beyond = 94;
        }
        const unsigned row = 2 * b - (b < 0xE0 ? 256 : 384) + beyond, c = at(text, ++i);
        if (c >= 0x40 && c <= 0x9E && c != 0x7F)
            pair(row - 1, c - (c < 0x7F ? 63 : 64));
        else
            pair(row, c - 158);
    }
    return out;
}

// A text that does not fill its room loses the end of its codes to the filler,
// and what fills the front is 0 in either order: intended, only full fields
// compare as text.
keyvalue kanji(const keyspec &key, const bytes &field) {
    const bytes kept = cleaned(field, key.textoption, true);
    bytes codes = jis(kept);
    codes.resize(2 * kept.size());
    const bool descending = key.order == KVRN_DESCENDING;
    if (descending) {
        std::transform(codes.begin(), codes.end(), codes.begin(),
                       [](char c) { return static_cast<char>(~c); });
    }
    const size_t missing = 2 * key.length - codes.size();
    codes = bytes(missing, 0) + codes;
    codes.replace(codes.size() - missing, missing, missing, descending ? '\xFF' : '\0');
    return {false, codes};
}

keyvalue text(const sessionspec &spec, const keyspec &key, const bytes &field) {
    const bool descending = key.order == KVRN_DESCENDING;
    if (key.type == KVRN_CHAR && key.kanjiconv == KVRN_KANJI_JIS)
        return kanji(key, field);
    bytes kept = cleaned(field, key.textoption, false);
    if (key.textoption & KVRN_TXT_NUMERIC) {
        keyvalue value = numeric(kept, key.length);
        // The order of a numeric CHARX field has no effect: intended.
        value.descending = descending && key.type == KVRN_CHAR;
        return value;
    }
    kept.resize(key.length);
    if (key.type == KVRN_CHARX)
        kept = ascii_to_ebcdic(kept, spec.altmode);
    return {false, kept, descending};
}

// ---- records --------------------------------------------------------------

keyspec wholerecord(const sessionspec &spec) {
    keyspec key;
    key.length = spec.outlength();
    key.type = spec.cdmode == KVRN_CD_EBCDIC ? KVRN_CHARX : KVRN_CHAR;
    key.order = spec.descall ? KVRN_DESCENDING : KVRN_ASCENDING;
    key.textoption = spec.keyoption & 15;
    if (spec.keyoption & KVRN_KEYOPT_NUMERIC)
        key.textoption |= KVRN_TXT_NUMERIC;
    if (spec.level() >= 2)
        key.kanjiconv = spec.byte39() & KVRN_KANJI_JIS;
    return key;
}

bool splits(const bytes &line, size_t p, const bytes &separator) {
    return line.compare(p, separator.size(), separator) == 0;
}

struct rebuilt {
    uint32_t detail = 0;
    bytes data{};
    std::vector<bytes> fields{}; // by number, where keys go by number
};

rebuilt rebuild(const sessionspec &spec, const bytes &record) {
    const bool bynumber = spec.bynumber();
    rebuilt out;
    if (spec.pieces.empty()) {
        out.data = record;
        if (bynumber)
            out.fields = fieldsof(spec, record);
        return out;
    }
    const std::vector<bytes> source = bynumber ? fieldsof(spec, record) : std::vector<bytes>{};
    size_t highest = 0;
    bool copies = false;
    for (const piece &p : spec.pieces)
        if (!p.literal) {
            highest = std::max<size_t>(highest, bynumber ? p.position : p.position + p.length - 1);
            copies = true;
        }
    // A rebuilding that needs nothing but literals still asks an empty variable
    // record for its first byte: intended.
    const bool missing = bynumber           ? source.size() <= highest
                         : spec.form == 'f' ? false
                         : spec.form == 'v' ? record.size() <= highest
                                            : copies && record.size() <= highest;
    if (missing) {
        out.detail = KVRN_D_NORCNFIELD;
        return out;
    }
    for (const piece &p : spec.pieces) {
        const bytes part = p.literal  ? p.text
                           : bynumber ? source[p.position].substr(0, p.length)
                                      : record.substr(p.position, p.length);
        out.data += (bynumber && !out.fields.empty() ? spec.separator.value_or(" ") : "") + part;
        out.fields.push_back(part);
    }
    return out;
}

} // namespace

bool leadbyte(char byte) {
#ifdef _WIN32
    return IsDBCSLeadByte(static_cast<BYTE>(byte)) != 0;
#else
    const auto b = static_cast<uint8_t>(byte);
    return (b >= 0x81 && b <= 0x9F) || (b >= 0xE0 && b <= 0xFC);
#endif
}

int compare(const keyvalue &a, const keyvalue &b) {
    int order = a.magnitude.compare(b.magnitude);
    if (a.negative != b.negative)
        order = a.negative ? -1 : 1;
    else if (a.negative)
        order = -order;
    return a.descending ? -order : order;
}

keyvalue valueof(const sessionspec &spec, const keyspec &key, const bytes &field) {
    if (spec.form == 'r')
        return text(spec, key, field);
    const uint8_t cdmode = spec.cdmode == 0 ? uint8_t{KVRN_CD_ZONE5} : spec.cdmode;
    const bool ebcdic = cdmode == KVRN_CD_EBCDIC;
    const size_t last = field.size() - 1;
    unsigned type = key.type;
    if (spec.version == KVRN_VERSION_L0_LEBIN && type == KVRN_UBEBIN)
        type = KVRN_SLEBIN;
    const auto decoded = [&]() -> keyvalue {
        switch (type) {
        case KVRN_CHAR:
            return {false, ebcdic ? ebcdic_to_ascii(field, spec.altmode) : field};
        case KVRN_CHARX:
            return {false, ebcdic ? field : ascii_to_ebcdic(field, spec.altmode)};
        case KVRN_TABLED:
            return {false, translated(field, reinterpret_cast<const uint8_t *>(key.table.data()))};
        case KVRN_ZONED:
        case KVRN_ZONEDU:
            return zoned(cdmode, field, last);
        case KVRN_ZONEDLEAD:
            return zoned(cdmode, field, 0);
        case KVRN_SIGNLEAD:
            return separatesign(cdmode, field, 0);
        case KVRN_SIGNTRAIL:
            return separatesign(cdmode, field, last);
        case KVRN_PACKED:
            return packed(field);
        case KVRN_SBEBIN:
            return twoscomplement(field);
        case KVRN_SLEBIN:
            return twoscomplement(reversed(field));
        case KVRN_FLOAT4:
        case KVRN_FLOAT8:
            return floating(field);
        case KVRN_ULEBIN:
            return {false, reversed(field)};
        case KVRN_MASKBYTE:
            return {false, bytes(1, static_cast<char>(at(field, 0) & key.length))};
        default:
            return {false, field}; // most significant byte first
        }
    };
    keyvalue value = decoded();
    value.descending = key.order == KVRN_DESCENDING;
    return value;
}

std::vector<bytes> fieldsof(const sessionspec &spec, const bytes &line) {
    std::vector<bytes> fields;
    const auto white = [&](size_t p) { return line[p] == ' ' || line[p] == '\t'; };
    const bytes separator = spec.separator.value_or("");
    const uint8_t first = separator.empty() ? uint8_t{0} : at(separator, 0);
    const bool pairs =
        spec.doublebyte() && ((first >= 64 && first <= 126) || (first >= 161 && first <= 223));
    for (size_t p = 0;; p += spec.separator ? separator.size() : 1) {
        const size_t start = p;
        if (!spec.separator) // white space in front belongs to the field
            while (p < line.size() && white(p))
                ++p;
        while (p < line.size()) {
            const bool lead = pairs && leadbyte(line[p]);
            const bool stop = !spec.separator
                                  ? white(p)
                                  : splits(line, p, separator) && !(lead && separator.size() == 1);
            if (stop)
                break;
            p += lead && p + 1 < line.size() ? 2U : 1U;
        }
        fields.push_back(line.substr(start, p - start));
        if (p == line.size())
            return fields;
        if (spec.separator && separator.empty()) // every field is empty, without end
            return std::vector<bytes>(256);
    }
}

modelrecord taken(const sessionspec &spec, const bytes &record) {
    const rebuilt source = rebuild(spec, record);
    modelrecord made{source.data, {}, source.detail};
    if (made.detail != 0 || spec.function == KVRN_COPY)
        return made;
    // Short records read as zero behind their end.
    bytes padded = source.data;
    padded.resize(std::max<size_t>(padded.size(), spec.outlength()));
    for (const keyspec &key :
         spec.keys.empty() ? std::vector<keyspec>{wholerecord(spec)} : spec.keys) {
        bytes field;
        if (spec.bynumber() && !spec.keys.empty()) {
            if (key.position >= source.fields.size()) {
                made.detail = KVRN_D_NOKEYFIELD;
                return made;
            }
            field = source.fields[key.position].substr(0, key.length);
        } else {
            field = padded.substr(key.position, key.type == KVRN_MASKBYTE ? 1 : key.length);
        }
        made.key.push_back(valueof(spec, key, field));
    }
    return made;
}

int compare(const modelrecord &a, const modelrecord &b) {
    for (size_t i = 0; i < a.key.size(); ++i)
        if (const int order = compare(a.key[i], b.key[i]); order != 0)
            return order;
    return 0;
}

} // namespace kvern::test

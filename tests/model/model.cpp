#include "model/model.h"
#include "key/encode/chartables.h"

#include <algorithm>
#ifdef _WIN32
#include <windows.h>
#endif

namespace kvern::test {

namespace {

uint8_t at(const bytes &text, size_t i) {
    return static_cast<uint8_t>(text[i]);
}
bytes translated(bytes text, const uint8_t *table) {
    for (char &c : text)
        c = static_cast<char>(table[static_cast<uint8_t>(c)]);
    return text;
}
// The tables are the engine's own, which its test knows by checksum.
bytes recoded(const bytes &text, unsigned altmode, bool toebcdic) {
    const chartable *const tables[][3] = {{&TBL_E2A0, &TBL_E2A1, &TBL_E2A2},
                                          {&TBL_A2E0, &TBL_A2E1, &TBL_A2E2}};
    return translated(text, tables[toebcdic ? 1 : 0][altmode]->code);
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
    const int b = at(field, sign), zone = b >> 4;
    const bool ebcdic = cdmode == KVRN_CD_EBCDIC, overpunch = cdmode == KVRN_CD_OVERPUNCH;
    const bool letter = overpunch && b >= 'J' && b <= 'R';
    const int digit = letter ? b - 'I' : overpunch && (b == '{' || b == '}') ? 0 : b & 15;
    field[sign] = static_cast<char>((ebcdic ? 0xF0 : '0') + digit);
    const bool negative = ebcdic      ? zone == 0xB || zone == 0xD
                          : overpunch ? letter || b == '}'
                                      : zone == (cdmode == KVRN_CD_ZONE7 ? 7 : 5);
    return {negative, field};
}

keyvalue packed(bytes field) {
    const int sign = field.back() & 15;
    field.back() = static_cast<char>(field.back() & 0xF0);
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
    std::erase_if(text, [=](char c) {
        const charclass is = classof(c, kanji);
        return (is == control && (options & (KVRN_TXT_PRINTABLE | KVRN_TXT_ALNUM))) ||
               (is == printable && (options & KVRN_TXT_ALNUM));
    });
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

bool opensjis(unsigned b) {
    return (b >= 0x81 && b <= 0x9F) || (b >= 0xE0 && b <= 0xFC);
}

// Row and cell of each Shift-JIS character; single bytes stand in row 0.
bytes jis(const bytes &text) {
    bytes out;
    for (size_t i = 0; i < text.size(); ++i) {
        unsigned row = 0, cell = at(text, i);
        if (opensjis(cell) && i + 1 == text.size()) {
            std::swap(row, cell);
        } else if (opensjis(cell)) {
            row = 2 * cell - (cell < 0xE0 ? 256 : 384);
            cell = at(text, ++i);
            const bool odd = cell >= 0x40 && cell <= 0x9E && cell != 0x7F;
            row -= odd ? 1 : 0;
            cell -= !odd ? 158 : cell < 0x7F ? 63 : 64;
        }
        out += {static_cast<char>(row), static_cast<char>(cell)};
    }
    return out;
}

// A text that does not fill its room loses the end of its codes to the filler,
// and what fills the front is 0 in either order: intended, only full fields
// compare as text.
keyvalue kanji(const keyspec &key, const bytes &field) {
    const bool descending = key.order == KVRN_DESCENDING;
    const bytes kept = cleaned(field, key.textoption, true);
    bytes codes = jis(kept);
    codes.resize(2 * kept.size());
    for (char &c : codes)
        c = static_cast<char>(descending ? ~c : c);
    const size_t missing = 2 * key.length - codes.size();
    codes = bytes(missing, '\0') + codes;
    codes.resize(codes.size() - missing);
    return {false, codes + bytes(missing, descending ? '\xFF' : '\0')};
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
        kept = recoded(kept, spec.altmode, true);
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

} // namespace

bool leadbyte(char byte) {
#ifdef _WIN32
    return IsDBCSLeadByte(static_cast<BYTE>(byte)) != 0;
#else
    return opensjis(static_cast<uint8_t>(byte));
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
            return {false, ebcdic ? recoded(field, spec.altmode, false) : field};
        case KVRN_CHARX:
            return {false, ebcdic ? field : recoded(field, spec.altmode, true)};
        case KVRN_TABLED:
            return {false, translated(field, reinterpret_cast<const uint8_t *>(key.table.data()))};
        case KVRN_ZONED:
        case KVRN_ZONEDU:
        case KVRN_ZONEDLEAD:
            return zoned(cdmode, field, type == KVRN_ZONEDLEAD ? 0 : last);
        case KVRN_SIGNLEAD:
        case KVRN_SIGNTRAIL:
            return separatesign(cdmode, field, type == KVRN_SIGNLEAD ? 0 : last);
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

keyvalue bydigits(const sessionspec &spec, uint8_t type, const bytes &field) {
    const keyvalue value = valueof(spec, {0, 0, type}, field);
    keyvalue out{value.negative, {}};
    for (const char c : value.magnitude) {
        if (type == KVRN_PACKED)
            out.magnitude += static_cast<char>(static_cast<uint8_t>(c) >> 4);
        out.magnitude += static_cast<char>(c & 15);
    }
    if (type == KVRN_PACKED)
        out.magnitude.pop_back(); // where the sign stood
    return out;
}

std::vector<bytes> fieldsof(const sessionspec &spec, const bytes &line) {
    std::vector<bytes> fields;
    const bytes separator = spec.separator.value_or(" ");
    if (separator.empty() && !line.empty()) // every field is empty, without end
        return std::vector<bytes>(256);
    const int first = separator.empty() ? 0 : at(separator, 0);
    const bool pairs =
        spec.doublebyte() && ((first >= 64 && first <= 126) || (first >= 161 && first <= 223));
    const auto ends = [&](size_t p) {
        if (!spec.separator)
            return line[p] == ' ' || line[p] == '\t';
        const bool lead = pairs && separator.size() == 1 && leadbyte(line[p]);
        return line.compare(p, separator.size(), separator) == 0 && !lead;
    };
    for (size_t p = 0;; p += separator.size()) {
        const size_t start = p;
        while (!spec.separator && p < line.size() && ends(p)) // white space in front belongs to it
            ++p;
        while (p < line.size() && !ends(p))
            p += pairs && leadbyte(line[p]) && p + 1 < line.size() ? 2U : 1U;
        fields.push_back(line.substr(start, p - start));
        if (p == line.size())
            return fields;
    }
}

modelrecord taken(const sessionspec &spec, const bytes &record) {
    const bool bynumber = spec.bynumber();
    std::vector<bytes> fields = bynumber ? fieldsof(spec, record) : std::vector<bytes>{};
    modelrecord made{record, {}, 0};
    if (!spec.pieces.empty()) {
        // A rebuilding that needs nothing but literals still asks an empty variable
        // record for its first byte: intended.
        const uint32_t needs = std::max(spec.rebuildingneeds(), spec.form == 'v' ? 1U : 0U);
        made.data.clear();
        if (spec.form != 'f' && (bynumber ? fields.size() : record.size()) < needs) {
            made.detail = KVRN_D_NORCNFIELD;
            return made;
        }
        std::vector<bytes> parts;
        for (const piece &p : spec.pieces) {
            made.data += bynumber && !parts.empty() ? spec.separator.value_or(" ") : "";
            parts.push_back(p.literal  ? p.text
                            : bynumber ? fields[p.position].substr(0, p.length)
                                       : record.substr(p.position, p.length));
            made.data += parts.back();
        }
        fields = parts;
    }
    if (spec.function == KVRN_COPY)
        return made;
    // Short records read as zero behind their end.
    bytes padded = made.data;
    padded.resize(std::max<size_t>(padded.size(), spec.outlength()));
    if (spec.keys.empty())
        made.key.push_back(valueof(spec, wholerecord(spec), padded.substr(0, spec.outlength())));
    for (const keyspec &key : spec.keys) {
        if (bynumber && key.position >= fields.size()) {
            made.detail = KVRN_D_NOKEYFIELD;
            return made;
        }
        made.key.push_back(valueof(spec, key,
                                   bynumber ? fields[key.position].substr(0, key.length)
                                            : padded.substr(key.position, key.width())));
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

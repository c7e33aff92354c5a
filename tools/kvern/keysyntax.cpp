#include "keysyntax.h"

#include "report.h"
#include "streams.h"

#include <cctype>
#include <limits>

namespace command {

namespace {

constexpr const char *columnform = "a key is POS,LEN[,TYPE][,a|d], as 21,6,pd,d";
constexpr const char *fieldform = "a key is F[:WIDTH][letters], letters of bdfinr, as 3:12nr";

// Types by name; "ch" follows the code of the data.
struct keytype {
    const char *name;
    uint8_t type;
    uint32_t least, most; // bytes; most 0: no bound of its own
    bool intext;
};
constexpr keytype keytypes[] = {
    {"ch", KVRN_CHAR, 1, 0, true},          {"ac", KVRN_CHAR, 1, 0, true},
    {"ec", KVRN_CHARX, 1, 0, true},         {"sj", KVRN_CHAR, 1, 0, true},
    {"zd", KVRN_ZONED, 1, 256, false},      {"zl", KVRN_ZONEDLEAD, 1, 256, false},
    {"clo", KVRN_ZONEDLEAD, 1, 256, false}, {"sl", KVRN_SIGNLEAD, 2, 256, false},
    {"csl", KVRN_SIGNLEAD, 2, 256, false},  {"st", KVRN_SIGNTRAIL, 2, 256, false},
    {"cst", KVRN_SIGNTRAIL, 2, 256, false}, {"pd", KVRN_PACKED, 1, 256, false},
    {"bi", KVRN_UBEBIN, 1, 256, false},     {"fi", KVRN_SBEBIN, 1, 256, false},
    {"bil", KVRN_ULEBIN, 1, 256, false},    {"fil", KVRN_SLEBIN, 1, 256, false},
    {"fp", KVRN_FLOAT8, 1, 256, false},     {"bit", KVRN_MASKBYTE, 1, 1, false},
    {"tbl", KVRN_TABLED, 1, 0, false},
};

// A number of the user's, at least 1; false when the text is none.
bool parsenumber(const std::string &text, uint32_t *out) {
    if (text.empty() || text.size() > 10)
        return false;
    uint64_t number = 0;
    for (char c : text) {
        if (!std::isdigit(static_cast<unsigned char>(c)))
            return false;
        number = number * 10 + static_cast<uint64_t>(c - '0');
    }
    if (number > std::numeric_limits<uint32_t>::max())
        return false;
    *out = static_cast<uint32_t>(number);
    return true;
}

std::vector<std::string> splitcommas(const std::string &text) {
    std::vector<std::string> parts(1);
    for (char c : text)
        if (c == ',')
            parts.emplace_back();
        else
            parts.back() += c;
    return parts;
}

std::string keyname(const std::string &text, size_t number) {
    return "key " + std::to_string(number) + " (" + text + ")";
}

uint32_t placefrom1(const keyspec &key, const std::string &text, const char *form) {
    uint32_t number;
    if (!parsenumber(text, &number))
        refuse(key.name + ": " + quoted(text) + " is no number", form);
    if (number == 0)
        refuse(key.name + ": positions count from 1", form);
    return number - 1;
}

uint32_t lengthof(const keyspec &key, const std::string &text, const char *form) {
    uint32_t length;
    if (!parsenumber(text, &length))
        refuse(key.name + ": " + quoted(text) + " is no number", form);
    if (length == 0)
        refuse(key.name + ": a length of 0 compares nothing", form);
    return length;
}

uint32_t parsemask(const keyspec &key, const std::string &text) {
    uint32_t mask = 0;
    if (text.size() > 2 && text.size() <= 4 && text[0] == '0' && (text[1] | 32) == 'x' &&
        text.find_first_not_of("0123456789abcdefABCDEF", 2) == std::string::npos)
        mask = static_cast<uint32_t>(std::stoul(text, nullptr, 16));
    else if (!parsenumber(text, &mask))
        mask = 0;
    if (mask < 1 || mask > 255)
        refuse(key.name + ": the mask is 1 to 255", "write it as bit=64 or bit=0x40");
    return mask;
}

std::vector<uint8_t> readtable(const keyspec &key, const std::string &path) {
    const int file = openinput(path);
    if (file < 0)
        throw failure{ending::file, key.name + ": " + path + ": " + systemerror(), ""};
    std::vector<uint8_t> table(257); // one more, to see a longer file
    size_t size = 0;
    int64_t count;
    while (size < table.size() &&
           (count = readsome(file, table.data() + size, table.size() - size)) > 0)
        size += static_cast<size_t>(count);
    closeinput(file);
    if (size != 256)
        refuse(key.name + ": " + path + " has not 256 bytes", "a table has a byte for each code");
    table.resize(256);
    return table;
}

void settype(keyspec &key, const std::string &text, const keydefaults &defaults) {
    const size_t equals = text.find('=');
    const std::string name = text.substr(0, equals);
    const std::string value = equals == std::string::npos ? "" : text.substr(equals + 1);
    const keytype *found = nullptr;
    for (const keytype &one : keytypes)
        if (name == one.name)
            found = &one;
    const bool wantsvalue = name == "bit" || name == "tbl";
    if (!found || wantsvalue != (equals != std::string::npos))
        refuse(key.name + ": " + quoted(text) + " is no type",
               "types are ch ac ec zd zl sl st pd bi fi bil fil fp bit=MASK tbl=FILE sj");
    if (defaults.text && !found->intext)
        refuse(key.name + ": lines of text have no " + name + " fields",
               "types of text are ch ac ec sj");
    if (!defaults.text && name == "sj")
        refuse(key.name + ": sj is a type of text", "use --columns in place of --fixed");
    if (key.length < found->least || (found->most && key.length > found->most))
        refuse(key.name + ": a " + name + " field has " + std::to_string(found->least) +
                   (found->most == found->least ? " byte"
                    : found->most               ? " to " + std::to_string(found->most) + " bytes"
                                                : " bytes or more"),
               columnform);
    key.type = found->type;
    if (name == "ch" && defaults.ebcdic)
        key.type = KVRN_CHARX;
    if (name == "sj")
        key.kanjiconv = KVRN_KANJI_JIS;
    if (name == "bit")
        key.length = parsemask(key, value);
    if (name == "tbl")
        key.table = readtable(key, value);
}

uint8_t optionof(char letter) {
    switch (letter) {
    case 'b':
        return KVRN_TXT_SKIPBLANKS;
    case 'd':
        return KVRN_TXT_ALNUM;
    case 'f':
        return KVRN_TXT_FOLD;
    case 'i':
        return KVRN_TXT_PRINTABLE;
    case 'n':
        return KVRN_TXT_NUMERIC;
    default:
        return 0;
    }
}

} // namespace

keyspec parsecolumnkey(const std::string &text, size_t number, const keydefaults &defaults) {
    keyspec key;
    key.name = keyname(text, number);
    key.descending = defaults.reverse;
    key.textoption = defaults.textoption;
    std::vector<std::string> parts = splitcommas(text);
    if (parts.size() < 2)
        refuse(key.name + " has no length", columnform);
    if (parts.size() > 2 && (parts.back() == "a" || parts.back() == "d")) {
        key.descending = parts.back() == "d";
        parts.pop_back();
    }
    key.position = placefrom1(key, parts[0], columnform);
    key.length = lengthof(key, parts[1], columnform);
    std::string type = parts.size() > 2 ? parts[2] : "ch";
    for (size_t i = 3; i < parts.size(); ++i)
        type += ',' + parts[i]; // a file name may hold commas
    settype(key, type, defaults);
    if (key.textoption & KVRN_TXT_NUMERIC) {
        if (key.kanjiconv)
            refuse(key.name + ": -n and sj exclude each other", "leave one out");
        key.type = KVRN_CHAR; // a number has no order of characters
    }
    return key;
}

keyspec parsefieldkey(const std::string &text, size_t number, const keydefaults &defaults) {
    keyspec key;
    key.name = keyname(text, number);
    key.descending = defaults.reverse;
    key.textoption = defaults.textoption;

    const size_t digits = text.find_first_not_of("0123456789");
    const std::string field = text.substr(0, digits);
    std::string rest = digits == std::string::npos ? "" : text.substr(digits);
    key.position = placefrom1(key, field.empty() ? text : field, fieldform);
    if (!rest.empty() && rest[0] == ',') {
        // F,F is how a single field is spelled elsewhere.
        const size_t end = rest.find_first_not_of("0123456789", 1);
        const std::string last = rest.substr(1, end == std::string::npos ? end : end - 1);
        if (last != field)
            refuse(key.name + " is no single field",
                   "a key is one field, as -k 3; give --columns for POS,LEN");
        rest = end == std::string::npos ? "" : rest.substr(end);
    } else if (!rest.empty() && rest[0] == ':') {
        const size_t end = rest.find_first_not_of("0123456789", 1);
        key.length =
            lengthof(key, rest.substr(1, end == std::string::npos ? end : end - 1), fieldform);
        rest = end == std::string::npos ? "" : rest.substr(end);
    }
    if (!rest.empty()) { // letters of its own: the common ones do not hold
        key.descending = false;
        key.textoption = 0;
    }
    for (char letter : rest) {
        const uint8_t option = optionof(letter);
        if (letter == 'r')
            key.descending = true;
        else if (option == 0)
            refuse(key.name + ": " + quoted(std::string(1, letter)) + " is no letter of a key",
                   fieldform);
        key.textoption = static_cast<uint8_t>(key.textoption | option);
    }
    return key;
}

KVRNKEYE keyentry(const keyspec &key) {
    KVRNKEYE entry{};
    entry.position = key.position;
    entry.length = key.length;
    entry.type = key.type;
    entry.order = key.descending ? KVRN_DESCENDING : KVRN_ASCENDING;
    entry.textoption = key.textoption;
    entry.kanjiconv = key.kanjiconv;
    entry.table = key.table.empty() ? nullptr : key.table.data();
    return entry;
}

} // namespace command

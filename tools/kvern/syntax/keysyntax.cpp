#include "kvern/syntax/keysyntax.h"

#include "kvern/system/report.h"
#include "kvern/system/streams.h"

namespace command {

namespace {

constexpr const char *columnform = "a key is POS,LEN[,TYPE][,a|d], as 21,6,pd,d";
constexpr const char *fieldform = "a key is F[:WIDTH][letters], letters of bdfinr, as 3:12nr";

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

void settype(keyspec &key, const std::string &text, const recordview &view) {
    const size_t equals = text.find('=');
    const std::string value = equals == std::string::npos ? "" : text.substr(equals + 1);
    const fieldtype *found = findtype(text.substr(0, equals));
    const std::string name = found != nullptr ? found->name : "";
    const bool wantsvalue = name == "bit" || name == "tbl";
    if (found == nullptr || wantsvalue != (equals != std::string::npos))
        refuse(key.name + ": " + quoted(text) + " is no type",
               "types are ch ac ec zd zl sl st pd bi fi bil fil fp bit=MASK tbl=FILE sj");
    if (view.text && !found->intext)
        refuse(key.name + ": lines of text have no " + name + " fields",
               "types of text are ch ac ec sj");
    if (!view.text && name == "sj")
        refuse(key.name + ": sj is a type of text", "use --columns in place of --fixed");
    checklength(key.name, *found, key.length, found->keymost, columnform);
    key.type = found->code;
    if (name == "ch" && view.ebcdic())
        key.type = KVRN_CHARX;
    if (name == "sj")
        key.kanjiconv = KVRN_KANJI_JIS;
    if (name == "bit")
        key.length = parsemask(key.name, value);
    if (name == "tbl")
        key.table = readtable(key, value);
}

// 0: none.
uint8_t bitof(char letter) {
    for (const textletter &one : textletters)
        if (one.letter() == letter)
            return one.bit;
    return 0;
}

// POS,LEN[,TYPE][,a|d]
void readplaced(keyspec &key, const std::string &text, const recordview &view) {
    std::vector<std::string> parts = splitat(text, ',');
    if (parts.size() < 2)
        refuse(key.name + " has no length", columnform);
    if (const std::string order = lowercase(parts.back());
        parts.size() > 2 && (order == "a" || order == "d")) {
        key.descending = order == "d";
        parts.pop_back();
    }
    key.position = parseposition(key.name, parts[0], columnform);
    key.length = parselength(key.name, parts[1], columnform);
    std::string type = parts.size() > 2 ? parts[2] : "ch";
    for (size_t i = 3; i < parts.size(); ++i)
        type += ',' + parts[i]; // a file name may hold commas
    settype(key, type, view);
    if (key.textoption & KVRN_TXT_NUMERIC) {
        if (key.kanjiconv)
            refuse(key.name + ": -n and sj exclude each other", "leave one out");
        key.type = KVRN_CHAR; // a number has no order of characters
    }
}

// The digits behind the first character of the text, which is cut off with them.
std::string takedigits(std::string &text) {
    std::string digits = digitsat(text, 1);
    text.erase(0, 1 + digits.size());
    return digits;
}

// Letters of its own: the common ones do not hold.
void readletters(keyspec &key, const std::string &letters) {
    if (letters.empty())
        return;
    key.descending = false;
    key.textoption = 0;
    for (char letter : letters) {
        const uint8_t bit = bitof(letter);
        if (letter == 'r')
            key.descending = true;
        else if (bit == 0)
            refuse(key.name + ": " + quoted(std::string(1, letter)) + " is no letter of a key",
                   fieldform);
        key.textoption |= bit;
    }
}

// F[:WIDTH][letters]
void readnumbered(keyspec &key, const std::string &text) {
    const std::string field = digitsat(text, 0);
    std::string rest = text.substr(field.size());
    key.position = parseposition(key.name, field.empty() ? text : field, fieldform);
    if (!rest.empty() && rest[0] == ',') {
        // F,F is how a single field is spelled elsewhere.
        if (takedigits(rest) != field)
            refuse(key.name + " is no single field", "a key of text is one field, as -k 3; POS,LEN "
                                                     "needs --fixed, --variable or --columns");
    } else if (!rest.empty() && rest[0] == ':') {
        key.length = parselength(key.name, takedigits(rest), fieldform);
    }
    readletters(key, rest);
}

} // namespace

keyspec parsekey(const std::string &text, size_t number, const keydefaults &defaults) {
    keyspec key;
    key.name = "key " + std::to_string(number) + " (" + text + ")";
    key.descending = defaults.reverse;
    key.textoption = defaults.textoption;
    if (defaults.view.byfield)
        readnumbered(key, text);
    else
        readplaced(key, text, defaults.view);
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

// The two spellings of a key: POS,LEN[,TYPE][,a|d] for fixed records and columns
// of text, F[:WIDTH][letters] for fields of text.
#pragma once

#include "kvern/syntax/fieldtypes.h"

#include <cstdint>
#include <string>
#include <vector>

namespace command {

struct keyspec {
    std::string name;      // as it is told in messages: key 2 (91,11,pd)
    uint32_t position = 0; // from 0; the field's number for keys by field
    uint32_t length = 0;   // 0: as wide as the field's widest value
    uint8_t type = KVRN_CHAR;
    bool descending = false;
    uint8_t textoption = 0; // as KVRNKEYE has it
    uint8_t kanjiconv = 0;
    std::vector<uint8_t> table; // tbl=FILE

    // Bytes of a text key in the internal record.
    uint64_t keybytes() const { return kanjiconv ? uint64_t{2} * length : length; }
    // The last byte of the record that the key needs, from 1.
    uint64_t reach() const {
        return uint64_t{position} + (type == KVRN_MASKBYTE ? uint64_t{1} : length);
    }
};

// The options of text and, without the hyphen, letters of a key; each is a bit of
// `textoption`.
struct textletter {
    const char *option;
    uint8_t bit;
    const char *what; // for the help

    char letter() const { return option[1]; }
};
constexpr textletter textletters[] = {
    {"-b", KVRN_TXT_SKIPBLANKS, "Text: skip leading blanks"},
    {"-d", KVRN_TXT_ALNUM, "Text: letters, digits and blanks only"},
    {"-f", KVRN_TXT_FOLD, "Text: lower case counts as upper case"},
    {"-i", KVRN_TXT_PRINTABLE, "Text: printable characters only"},
    {"-n", KVRN_TXT_NUMERIC, "Text: compare as numbers"},
};

// What holds for keys that do not say otherwise.
struct keydefaults {
    const recordview &view;
    bool reverse;
    uint8_t textoption;
};

// `number` counts from 1.  Throws a failure that names the key.
keyspec parsekey(const std::string &text, size_t number, const keydefaults &defaults);

// The engine's entry; the table's bytes stay with the spec.
KVRNKEYE keyentry(const keyspec &key);

} // namespace command

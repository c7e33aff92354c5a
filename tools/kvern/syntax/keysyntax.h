// The two spellings of a key: POS,LEN[,TYPE][,a|d] for fixed records and columns
// of text, F[:WIDTH][letters] for fields of text.
#pragma once

#include "kvern.h"

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
    uint8_t textoption = 0;
    uint8_t kanjiconv = 0;
    std::vector<uint8_t> table; // tbl=FILE

    // Bytes of a text key in the internal record.
    uint64_t keybytes() const { return kanjiconv ? uint64_t{2} * length : length; }
    // The last byte of the record that the key needs, from 1.
    uint64_t reach() const {
        return uint64_t{position} + (type == KVRN_MASKBYTE ? uint64_t{1} : length);
    }
};

// What holds for keys that do not say otherwise.
struct keydefaults {
    bool text = false;
    bool ebcdic = false;
    bool reverse = false;
    uint8_t textoption = 0; // of -b -d -f -i -n
};

// `number` counts from 1.  Both throw a failure that names the key.
keyspec parsecolumnkey(const std::string &text, size_t number, const keydefaults &defaults);
keyspec parsefieldkey(const std::string &text, size_t number, const keydefaults &defaults);

// The engine's entry; the table's bytes stay with the spec.
KVRNKEYE keyentry(const keyspec &key);

} // namespace command

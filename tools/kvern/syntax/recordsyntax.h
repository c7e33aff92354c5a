// Sums and rebuilt records: --sum FIELD and --rebuild SPEC.
#pragma once

#include "kvern/syntax/fieldtypes.h"
#include "kvern/syntax/layout.h"

#include <cstdint>
#include <string>
#include <vector>

namespace command {

struct sumspec {
    std::string name;      // as it is told in messages: sum 2 (36,8,zd)
    uint32_t position = 0; // from 0; the field's number for sums by field
    uint32_t length = 0;   // 0: by field, as wide as is sensible
    uint8_t type = 0;

    uint64_t reach() const { return uint64_t{position} + length; } // from 1
};

// POS,LEN,TYPE; text by columns POS,LEN; text by fields F[:WIDTH].  `number` from 1.
sumspec parsesum(const std::string &text, size_t number, const recordview &view);

struct rebuildpiece {
    bool literal = false;
    std::string bytes;     // of a literal
    uint32_t position = 0; // from 0; the field's number by field
    uint32_t length = 0;   // of a literal too; 0: by field, the widest value
};

// Pieces with blanks between them: POS,LEN or $F[:WIDTH], names, literals, literals *N.
std::vector<rebuildpiece> parserebuild(const std::string &text, const recordview &view,
                                       const layout &names);

} // namespace command

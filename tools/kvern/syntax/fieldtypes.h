// The records that fields lie in, the field types by the names that users type, and what
// all field descriptions are made of.
//
// In this folder: texts of the user as entries of the engine's blocks: keys, sums and
// pieces, conditions, literals, names of a layout file.  Left to others: whether a field
// lies in the record (plan/reach).  In order: a layout, then the texts that use its names.
#pragma once

#include "kvern.h"

#include <cstdint>
#include <string>
#include <vector>

namespace command {

struct recordview {
    bool text = false;
    bool byfield = false;    // text: $F, else columns
    bool whitespace = false; // fields between white space
    uint8_t cdmode = 0;

    bool ebcdic() const { return cdmode == KVRN_CD_EBCDIC; }
};

struct fieldtype {
    const char *name;
    uint8_t code;
    uint32_t least;         // bytes
    uint32_t keymost;       // nobound: only the record bounds it
    uint32_t conditionmost; // 0: not for conditions
    uint32_t summost;       // 0: not for sums
    bool intext;
};
constexpr uint32_t nobound = UINT32_MAX;

std::string lowercase(std::string text);

// Null: no type has this name, in lower or upper case.  "ch" has the code of ASCII data.
const fieldtype *findtype(const std::string &name);

// The name that a code has first.
const char *nameoftype(uint8_t code);

// Throws when a field of the type cannot have this length; `form` is the advice.
void checklength(const std::string &what, const fieldtype &type, uint32_t length, uint32_t most,
                 const char *form);

// A number of the user's that is no more than 32 bits hold; false when the text is none.
bool parsenumber(const std::string &text, uint32_t *out);
// Both throw when the text is no number from 1 up; the position counts from 0 then.
uint32_t parseposition(const std::string &what, const std::string &text, const char *form);
uint32_t parselength(const std::string &what, const std::string &text, const char *form);
// The mask of bit=MASK, 1 to 255.
uint32_t parsemask(const std::string &what, const std::string &text);

std::vector<std::string> splitat(const std::string &text, char mark);

// Digits that the text holds from `at` on.
std::string digitsat(const std::string &text, size_t at);

} // namespace command

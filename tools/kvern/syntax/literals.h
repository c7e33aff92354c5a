// Literals of conditions and rebuilt records: how they are written, and the bytes
// that they are in the data.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace command {

// Refuses the argument of an option, with a caret under the place of the fault.
[[noreturn]] void refuseat(const std::string &option, const std::string &text, size_t at,
                           const std::string &why);

// Reads "text", 'text' or x"C1C2" at `at` and moves `at` behind it; false where none
// begins.  Text is put into the data's code, hexadecimal bytes are as they stand.
struct literaltext {
    std::string bytes;
    bool hexadecimal;
};
bool readliteral(const std::string &option, const std::string &text, size_t &at, bool ebcdic,
                 literaltext &out);

// A number, its digits without leading zeros, and in text those behind its point.
struct literalnumber {
    std::string digits, decimals;
    bool negative;
};

// The bytes of a number in a field of this type and length; false: it does not fit.
bool numberbytes(const literalnumber &number, uint8_t type, uint32_t length, uint8_t cdmode,
                 std::string &out);

// The blank of the data's code.
constexpr char blankof(bool ebcdic) {
    return ebcdic ? '\x40' : ' ';
}

} // namespace command

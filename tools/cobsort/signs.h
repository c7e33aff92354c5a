// How fields tell their sign: the codes of decimals, and the run-time's word where versions
// and modules differ.
#pragma once

#include "cobol.h"

#include <cstdint>

namespace cobsort {

// none: no code, or one that the run-time rewrites.
enum class signkind : uint8_t { none, positive, negative };

struct signcode {
    uint8_t change; // turns the byte into its digits, by exclusive or
    signkind kind;
};

struct signtable {
    signcode of[256];
};

extern const signtable separatesigns;  // a byte of its own, + or -
extern const signtable packedsigns;    // the lower half of the last byte: D is negative
extern const signtable packedunsigned; // the same of a field without sign

// How the run-time orders two numbers of `size` bytes, which it may rewrite.  The program that
// runs must have entered its module.
int askedorder(const cob_field_attr &attr, size_t size, unsigned char *first,
               unsigned char *second);

// The sign within a digit of a DISPLAY field, as the module that runs has it (its -fsign).
const signtable &overpunchedsigns();

} // namespace cobsort

// The codes by which decimal fields tell their sign.
#pragma once

#include <cstdint>

namespace cobsort {

enum class signkind : uint8_t { positive = 0, negative = 1, none = 2 };

struct signcode {
    uint8_t change;                 // turns the byte into its digits, by exclusive or
    signkind kind = signkind::none; // none: no code, or one that the run-time rewrites
};

struct signtable {
    signcode of[256];
};

extern const signtable separatesigns;  // a byte of its own, + or -
extern const signtable packedsigns;    // the lower half of the last byte: D is negative
extern const signtable packedunsigned; // the same of a field without sign

// The sign within a digit of a DISPLAY field, as the module that runs has it (its -fsign);
// the run-time is asked.  The program that runs must have entered its module.
const signtable &overpunchedsigns();

} // namespace cobsort

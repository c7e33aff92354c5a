// The records of a described session: fields that suit its keys, sums, pieces
// and conditions most of the time.
#pragma once

#include "support/fieldvalues.h"

namespace kvern::test {

struct habits {
    bool faulty = false; // some records lack a field
    bool wild = false;   // sums overflow, or are of no numbers
};

// What may stand in an operand of selection: small numbers, short texts.
[[nodiscard]] bytes operandof(const sessionspec &s, uint8_t type, uint32_t length, randomness &r);
// Parts so many records among the inputs.
void makerecords(sessionspec &s, habits how, uint32_t count, randomness &r);

} // namespace kvern::test

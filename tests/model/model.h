// The reference model of a sort session: small, slow, written from what a key
// means.  A field is decoded to a value with a sign, values are compared, and
// records are put in order by a stable sort; nothing is encoded, nothing is
// packed.  It never looks at how the records travel.
#pragma once

#include "support/sessionspec.h"

namespace kvern::test {

// A value of `magnitude` in most significant first order, compared as a byte
// string.  Negative zero lies just below zero, as the engine has it.
struct keyvalue {
    bool negative = false;
    bytes magnitude{};
    bool descending = false;
};

// Below 0, 0, above 0: the order of two values of the same key field.
[[nodiscard]] int compare(const keyvalue &a, const keyvalue &b);
// `field` holds the bytes that are really there; text keys know their room.
[[nodiscard]] keyvalue valueof(const sessionspec &spec, const keyspec &key, const bytes &field);
// The fields of a line by number.
[[nodiscard]] std::vector<bytes> fieldsof(const sessionspec &spec, const bytes &line);

struct modelrecord {
    bytes data{}; // as it comes out, without frame
    std::vector<keyvalue> key{};
};

struct modelresult {
    uint32_t detail = 0; // of the first record that cannot be taken
    std::vector<modelrecord> sorted{};
};

[[nodiscard]] modelresult sortbymodel(const sessionspec &spec);
// What is wrong with the records that a session gave; empty: nothing.
[[nodiscard]] std::string difference(const sessionspec &spec, const modelresult &expected,
                                     const std::vector<bytes> &output);

// A byte that opens a double-byte character on this system.
[[nodiscard]] bool leadbyte(char byte);

} // namespace kvern::test

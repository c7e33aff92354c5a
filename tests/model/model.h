// The reference model of a session: small, slow, written from what a key means.
// A field is decoded to a value with a sign, values are compared, and records
// are put in order by a stable sort or a merge that looks at every head;
// nothing is encoded, nothing is packed.  It never looks at how the records
// travel.
//
//   model       values of fields, the record as it is taken into a session
//   selection   which records are taken
//   totals      summation
//   outcome     what a session of each function gives
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
    uint32_t detail = 0; // why it cannot be taken
};

// The record rebuilt, with its key.
[[nodiscard]] modelrecord taken(const sessionspec &spec, const bytes &record);
[[nodiscard]] int compare(const modelrecord &a, const modelrecord &b);

struct modelresult {
    // Legal ends of the session, the first one where there is one only: 0, the
    // detail of the first record that cannot be taken, or those that stop the
    // summation in some order of the pairs.
    std::vector<uint32_t> details{0};
    bool exact = false;                 // `records` come out as they stand
    bool open = false;                  // not foretold: sums of bytes that are no digits
    std::vector<modelrecord> records{}; // a sort: in order, before grouping
};

[[nodiscard]] modelresult outcomeof(const sessionspec &spec);
// Puts each input of a merge in order.
void orderinputs(sessionspec &spec);
// What is wrong with the records that a session gave; empty: nothing.
[[nodiscard]] std::string difference(const sessionspec &spec, const modelresult &expected,
                                     const std::vector<bytes> &output, uint32_t detail = 0);

// A byte that opens a double-byte character on this system.
[[nodiscard]] bool leadbyte(char byte);

} // namespace kvern::test

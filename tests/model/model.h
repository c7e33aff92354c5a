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
// A zoned or packed number by its digits, one a byte.
[[nodiscard]] keyvalue bydigits(const sessionspec &spec, uint8_t type, const bytes &field);
// The fields of a line by number.
[[nodiscard]] std::vector<bytes> fieldsof(const sessionspec &spec, const bytes &line);
// A byte that opens a double-byte character on this system.
[[nodiscard]] bool leadbyte(char byte);

struct modelrecord {
    bytes data{}; // as it comes out, without frame
    std::vector<keyvalue> key{};
    uint32_t detail = 0; // why it cannot be taken
};

// The record rebuilt, with its key.
[[nodiscard]] modelrecord taken(const sessionspec &spec, const bytes &record);
[[nodiscard]] int compare(const modelrecord &a, const modelrecord &b);

// A failure that no detail tells.
constexpr uint32_t silentfault = 0xFFFFFFFF;

struct verdict {
    uint32_t detail = 0; // the session fails at this record
    bool keep = true;
};

// Operands of selection are read as values of the key types, the shorter one
// widened as its type asks.
[[nodiscard]] verdict selected(const sessionspec &spec, const bytes &record);

// ---- summation: a field is read as a number with its mark and its decimal digits, numbers
// are added digit by digit as on paper, and the sum is written as a field of the type.

// A sum of bytes that are no digits: the model leaves it open.
constexpr uint32_t rubbishdigits = 1;

struct number {
    uint32_t fault = 0; // detail of a field that cannot be summed, or rubbishdigits
    char mark = 0;      // '+', '-', or 0: a text number without a sign
    bytes digits{};     // without zeros in front: 0 has none
};

// Of a record: its summation fields, and what is left without them.
struct account {
    struct place {
        size_t at = 0;
        size_t length = 0; // bytes that are there
    };
    uint32_t fault = 0; // the first one that folding would meet
    bytes rest{};
    std::vector<place> places{}; // empty: the record is too short for them
    std::vector<number> amounts{};
};

[[nodiscard]] account accountof(const sessionspec &spec, const bytes &record);
[[nodiscard]] bool isequal(const number &a, const number &b);
// Adds up; of unequal signs the mark is that of the greater, and 0 has none.
[[nodiscard]] number plus(const number &a, const number &b, bool istext = true);
// The fields of `first` take the sums.  Result: 0, or the detail (rubbishdigits)
// that keeps the records apart, and then nothing has changed.
[[nodiscard]] uint32_t fold(const sessionspec &spec, bytes &first, const bytes &second);
// All members can be added up, in any order.
[[nodiscard]] bool roomforall(const sessionspec &spec, const std::vector<account> &members);

// ---- sessions

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
                                     std::vector<bytes> output, uint32_t detail = 0);

} // namespace kvern::test

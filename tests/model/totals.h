// Summation in the model: a field is read as a number with its mark and its
// decimal digits, numbers are added digit by digit as on paper, and the sum is
// written as a field of the type.
#pragma once

#include "support/sessionspec.h"

namespace kvern::test {

// A sum of bytes that are no digits: the model leaves it open.
constexpr uint32_t rubbishdigits = 1;

struct number {
    uint32_t fault = 0; // detail of a field that cannot be summed, or rubbishdigits
    char mark = 0;      // '+', '-', or 0: a text number without a sign
    bytes digits{};     // without zeros in front: 0 has none
};

// Of a record: its summation fields, and what is left without them.
struct account {
    uint32_t fault = 0; // the first one that folding would meet
    bytes rest{};
    std::vector<number> amounts{};
};

[[nodiscard]] account accountof(const sessionspec &spec, const bytes &record);
// Adds up; of unequal signs the mark is that of the greater, and 0 has none.
[[nodiscard]] number plus(const number &a, const number &b);
// The fields of `first` take the sums.  Result: 0, or the detail (rubbishdigits)
// that keeps the records apart, and then nothing has changed.
[[nodiscard]] uint32_t fold(const sessionspec &spec, bytes &first, const bytes &second);
// Every field has a type that can be added.
[[nodiscard]] bool addable(const sessionspec &spec);
// No order of adding up the members overflows.
[[nodiscard]] bool roomforall(const sessionspec &spec, const std::vector<bytes> &members);

} // namespace kvern::test

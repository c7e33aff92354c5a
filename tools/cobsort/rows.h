// Records as they lie one behind the other, in a file or in memory, and how each becomes a
// record of the sort.
#pragma once

#include "cobsort/keys.h"

#include <cstdint>
#include <vector>

namespace cobsort {

// Of `step` bytes each the first are taken, then blanks and what stood in the sort's record
// area follow, as where the run-time moves a record to another of a different length.
struct shape {
    size_t step;
    size_t taken, blanks;
    const unsigned char *area; // of the sort's whole record
    size_t length;             // of it
};

// `count` records of a file from byte `from` on.
struct filerows {
    int descriptor;
    uint64_t from, count;
    shape form;
};

// Appends the session records of `count` records to `out`; false: one of them is unclean,
// and `out` is of no use.
bool convert(const keyplan &order, const shape &form, const unsigned char *records, size_t count,
             uint64_t sequence, std::vector<unsigned char> &out);

// Reads exactly the `count` records behind the first `skipped`; false: the file does not
// give them.
bool readrows(const filerows &rows, uint64_t skipped, size_t count,
              std::vector<unsigned char> &out);

} // namespace cobsort

// Records for the benchmarks: 100 bytes, a 10-byte character key first, a line
// feed last, so that the same bytes are fixed records and text lines.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace bench {

constexpr uint32_t record_length = 100;
constexpr uint32_t key_length = 10;

enum class order {
    random,
    equal,
    two_values,
    ten_values,
    organ_pipe,
    median_killer,
    ascending,
    descending
};

// Key rank of each of n records.
std::vector<uint64_t> ranks(order shape, uint64_t n);

// Groups and amounts are spread over the ranks; the amounts of a group of ten million
// records fit their field.
constexpr uint32_t groups_of_records = 1000;
constexpr uint32_t amounts = 1000;

// One record: the key spells `rank` so that key order is rank order; at 12,10 (from 1)
// its number, at 23,3 its group and at 27,8 its amount, in digits.  Commas part these.
void fill_record(uint8_t *record, uint64_t rank, uint64_t number);

// A file of records; `prefixed`: each behind a word of its length (RDW).
void write_file(const std::string &path, uint64_t records, order shape, bool prefixed);

struct digest {
    uint64_t records = 0;
    uint64_t sum = 0;      // the same however records are ordered
    uint64_t sequence = 0; // not the same
    uint64_t amount = 0;   // of all records
    bool ordered = true;   // by key
};
// Of all records, or of those with an amount below half.
digest read_digest(const std::string &path, bool prefixed, bool halved = false);

} // namespace bench

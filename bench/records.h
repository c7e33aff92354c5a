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

// One record: the key spells `rank` so that key order is rank order.
void fill_record(uint8_t *record, uint64_t rank, uint64_t number);

// A file of random keys.
void write_file(const std::string &path, uint64_t records);

// What stays the same however records are ordered.
struct digest {
    uint64_t records = 0;
    uint64_t sum = 0;
    bool ordered = true;
    bool operator==(const digest &) const = default;
};
digest read_digest(const std::string &path);

} // namespace bench

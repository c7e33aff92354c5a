#include "records.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <random>

namespace bench {

namespace {

struct closer {
    void operator()(FILE *f) const { std::fclose(f); }
};
using file = std::unique_ptr<FILE, closer>;

file open_or_die(const std::string &path, const char *mode) {
    file f(std::fopen(path.c_str(), mode));
    if (!f) {
        std::perror(path.c_str());
        std::exit(1);
    }
    return f;
}

constexpr uint64_t batch = 10000;

uint64_t hash(const uint8_t *record) {
    uint64_t h = 1469598103934665603u;
    for (uint32_t i = 0; i < record_length; i += 4) {
        uint32_t word;
        std::memcpy(&word, record + i, sizeof word);
        h = (h ^ word) * 1099511628211u;
    }
    return h;
}

constexpr uint32_t group_at = 22, group_digits = 3;
constexpr uint32_t amount_at = 26, amount_digits = 8;

void put_digits(uint8_t *field, uint32_t digits, uint64_t value) {
    for (uint32_t i = digits; i-- > 0; value /= 10)
        field[i] = static_cast<uint8_t>('0' + value % 10);
}

// All records of a file in turn.
template <class T>
void each_record(const std::string &path, T &&visit) {
    const file in = open_or_die(path, "rb");
    std::vector<uint8_t> buffer(batch * record_length);
    size_t got;
    while ((got = std::fread(buffer.data(), record_length, batch, in.get())) != 0)
        for (size_t i = 0; i < got; ++i)
            visit(&buffer[i * record_length]);
}

// The permutation that makes a median of first, middle and last element pick
// the second smallest each time.
std::vector<uint64_t> median_of_three_killer(uint64_t n) {
    std::vector<uint64_t> out(n);
    const uint64_t half = n / 2;
    for (uint64_t i = 0; i < half; ++i) {
        out[i] = i % 2 == 0 ? i + 1 : half + i;
        out[half + i] = 2 * (i + 1);
    }
    return out;
}

} // namespace

std::vector<uint64_t> ranks(order shape, uint64_t n) {
    std::vector<uint64_t> out(n);
    std::mt19937_64 random(7);
    for (uint64_t i = 0; i < n; ++i) {
        switch (shape) {
        case order::random:
            out[i] = random() % 1000000000u;
            break;
        case order::equal:
            out[i] = 5;
            break;
        case order::two_values:
            out[i] = random() % 2;
            break;
        case order::ten_values:
            out[i] = random() % 10;
            break;
        case order::organ_pipe:
            out[i] = std::min(i, n - i);
            break;
        case order::median_killer:
            break;
        case order::ascending:
            out[i] = i;
            break;
        case order::descending:
            out[i] = n - i;
            break;
        }
    }
    return shape == order::median_killer ? median_of_three_killer(n) : out;
}

void fill_record(uint8_t *record, uint64_t rank, uint64_t number) {
    const uint64_t spread = (rank * 0x9E3779B97F4A7C15u) >> 32;
    for (uint32_t i = 0; i < key_length; ++i) {
        record[key_length - 1 - i] = static_cast<uint8_t>('A' + rank % 26);
        rank /= 26;
    }
    for (uint32_t i = key_length; i + 1 < record_length; ++i)
        record[i] = static_cast<uint8_t>('a' + (number + i) % 26);
    put_digits(record + 11, 10, number);
    put_digits(record + group_at, group_digits, spread % groups_of_records);
    put_digits(record + amount_at, amount_digits, spread / groups_of_records % amounts);
    record[record_length - 1] = '\n';
}

void write_file(const std::string &path, uint64_t records, uint64_t seed) {
    const file out = open_or_die(path, "wb");
    std::mt19937_64 random(seed);
    std::vector<uint8_t> buffer(batch * record_length);
    for (uint64_t done = 0; done < records; done += batch) {
        const uint64_t now = std::min(batch, records - done);
        for (uint64_t i = 0; i < now; ++i)
            fill_record(&buffer[i * record_length], random() % 141167095653376u, done + i);
        if (std::fwrite(buffer.data(), record_length, now, out.get()) != now) {
            std::perror(path.c_str());
            std::exit(1);
        }
    }
}

digest read_digest(const std::string &path, bool (*passes)(const uint8_t *record)) {
    digest out;
    uint8_t before[key_length] = {};
    each_record(path, [&](const uint8_t *record) {
        if (passes != nullptr && !passes(record))
            return;
        if (std::memcmp(before, record, key_length) > 0)
            out.ordered = false;
        std::memcpy(before, record, key_length);
        out.sum += hash(record);
        ++out.records;
    });
    return out;
}

uint32_t amount_of(const uint8_t *record) {
    uint32_t value = 0;
    for (uint32_t i = 0; i < amount_digits; ++i)
        value = value * 10 + (record[amount_at + i] & 15u);
    return value;
}

uint64_t total_amount(const std::string &path) {
    uint64_t total = 0;
    each_record(path, [&](const uint8_t *record) { total += amount_of(record); });
    return total;
}

} // namespace bench

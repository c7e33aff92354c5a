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

[[noreturn]] void give_up(const std::string &why) {
    std::fprintf(stderr, "bench: %s\n", why.c_str());
    std::exit(1);
}

file open_or_die(const std::string &path, const char *mode) {
    file f(std::fopen(path.c_str(), mode));
    if (!f)
        give_up("cannot open " + path);
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

constexpr uint32_t number_at = 11, number_digits = 10;
constexpr uint32_t group_at = 22, group_digits = 3;
constexpr uint32_t amount_at = 26, amount_digits = 8;

uint32_t amount_of(const uint8_t *record) {
    uint32_t value = 0;
    for (uint32_t i = 0; i < amount_digits; ++i)
        value = value * 10 + (record[amount_at + i] & 15u);
    return value;
}

void put_digits(uint8_t *field, uint32_t digits, uint64_t value) {
    for (uint32_t i = digits; i-- > 0; value /= 10)
        field[i] = static_cast<uint8_t>('0' + value % 10);
}

constexpr uint8_t prefix[4] = {0, record_length + sizeof prefix, 0, 0};

// All records of a file in turn.
template <class T>
void each_record(const std::string &path, bool prefixed, T &&visit) {
    const file in = open_or_die(path, "rb");
    const size_t before = prefixed ? sizeof prefix : 0, length = before + record_length;
    std::vector<uint8_t> buffer(batch * length);
    size_t got;
    while ((got = std::fread(buffer.data(), 1, buffer.size(), in.get())) != 0) {
        if (got % length != 0)
            give_up(path + " ends within a record");
        for (const uint8_t *at = buffer.data(); got != 0; got -= length, at += length) {
            if (std::memcmp(at, prefix, before) != 0)
                give_up(path + " holds a wrong prefix");
            visit(at + before);
        }
    }
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
    put_digits(record + number_at, number_digits, number);
    put_digits(record + group_at, group_digits, spread % groups_of_records);
    put_digits(record + amount_at, amount_digits, spread / groups_of_records % amounts);
    for (const uint32_t at : {number_at, group_at, amount_at, amount_at + amount_digits + 1})
        record[at - 1] = ',';
    record[record_length - 1] = '\n';
}

void write_file(const std::string &path, uint64_t records, order shape, bool prefixed) {
    const file out = open_or_die(path, "wb");
    const std::vector<uint64_t> rank =
        shape == order::random ? std::vector<uint64_t>() : ranks(shape, records);
    std::mt19937_64 random(11);
    const size_t before = prefixed ? sizeof prefix : 0, length = before + record_length;
    std::vector<uint8_t> record(length);
    std::memcpy(record.data(), prefix, before);
    for (uint64_t i = 0; i < records; ++i) {
        fill_record(&record[before], rank.empty() ? random() % 141167095653376u : rank[i], i);
        if (std::fwrite(record.data(), length, 1, out.get()) != 1)
            give_up("cannot write " + path);
    }
    if (std::fflush(out.get()) != 0)
        give_up("cannot write " + path);
}

digest read_digest(const std::string &path, bool prefixed, bool halved) {
    digest out;
    uint8_t before[key_length] = {};
    each_record(path, prefixed, [&](const uint8_t *record) {
        const uint32_t amount = amount_of(record);
        if (halved && amount >= amounts / 2)
            return;
        if (std::memcmp(before, record, key_length) > 0)
            out.ordered = false;
        std::memcpy(before, record, key_length);
        const uint64_t one = hash(record);
        out.sum += one;
        out.sequence = out.sequence * 1099511628211u + one;
        out.amount += amount;
        ++out.records;
    });
    return out;
}

} // namespace bench

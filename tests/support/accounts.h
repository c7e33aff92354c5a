// Accounts of a bank that never was: a realistic input for tests and benches.
// The same account is written as a fixed EBCDIC record or as a text line, and
// read back from either without help of the engine.
//
//   0  name      24  EBCDIC letters, blanks behind
//  24  number     8  EBCDIC digits
//  32  limit     10  zoned, sign with the last digit
//  42  balance    8  packed, cents
//  50  opened     8  EBCDIC digits, year month day
//  58  branch     4  binary, most significant byte first
//  62  remark    38  EBCDIC text
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace kvern::test {

constexpr uint32_t accountlength = 100;
constexpr uint32_t accountlinelength = 160; // at most, with a delimiter

struct account {
    std::string name{}; // upper case letters, points, blanks
    uint32_t number = 0;
    int64_t limit = 0;
    int64_t balance = 0;
    uint32_t opened = 0;
    uint32_t branch = 0;
    std::string remark{};
    bool operator==(const account &) const = default;
};

// The accounts of one seed, one after the other.
class accountgenerator {
  public:
    explicit accountgenerator(uint64_t seed) : state(seed) {}
    account next();

  private:
    uint64_t state;
    uint32_t made = 0;
    uint32_t below(uint32_t n);
};

// Appends one record, or one line of "number;name;balance;limit;opened;remark"
// without its delimiter.
void appendrecord(const account &a, std::string *out);
void appendline(const account &a, std::string *out);
[[nodiscard]] account readrecord(std::string_view record);
[[nodiscard]] account readline(std::string_view line);

// Count and checksum of records in any order: equal for two files that hold
// the same records.
struct checksum {
    uint64_t records = 0;
    uint64_t sum = 0;
    void add(std::string_view record);
    bool operator==(const checksum &) const = default;
};

} // namespace kvern::test

#include "support/accounts.h"

#include <algorithm>
#include <cstdlib>
#include <iterator>

namespace kvern::test {

namespace {

// The characters that accounts are written with, and their EBCDIC codes.
constexpr char known[] = " .0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";
constexpr unsigned char code[] =
    "\x40\x4B\xF0\xF1\xF2\xF3\xF4\xF5\xF6\xF7\xF8\xF9"
    "\xC1\xC2\xC3\xC4\xC5\xC6\xC7\xC8\xC9\xD1\xD2\xD3\xD4\xD5\xD6\xD7\xD8\xD9\xE2\xE3\xE4\xE5\xE6"
    "\xE7\xE8\xE9\x81\x82\x83\x84\x85\x86\x87\x88\x89\x91\x92\x93\x94\x95\x96\x97\x98\x99\xA2\xA3"
    "\xA4\xA5\xA6\xA7\xA8\xA9";
static_assert(sizeof known == sizeof code);

std::string recoded(std::string_view text, std::string_view from, std::string_view to) {
    std::string out;
    for (const char c : text) {
        const size_t at = from.find(c);
        out += at == std::string_view::npos ? '?' : to[at];
    }
    return out;
}

const std::string_view ascii(known, sizeof known - 1);
const std::string_view ebcdic(reinterpret_cast<const char *>(code), sizeof code - 1);

std::string padded(std::string text, size_t length) {
    text.resize(length, ' ');
    return recoded(text, ascii, ebcdic);
}

std::string digits(uint64_t v, size_t length) {
    std::string out(length, '0');
    for (size_t i = length; i-- > 0; v /= 10)
        out[i] = static_cast<char>('0' + v % 10);
    return out;
}

uint64_t magnitude(int64_t v) {
    return static_cast<uint64_t>(v < 0 ? -v : v);
}

std::string plaintext(std::string_view field) {
    std::string out = recoded(field, ebcdic, ascii);
    out.erase(out.find_last_not_of(' ') + 1);
    return out;
}

uint32_t decimal(std::string_view field) {
    return static_cast<uint32_t>(std::strtoul(plaintext(field).c_str(), nullptr, 10));
}

constexpr const char *surnames[] = {"ABERG",  "BELLO",     "CHANDRA", "DUARTE",  "EKWUEME",
                                    "FARKAS", "GRUBER",    "HALVARD", "IBARRA",  "JANSEN",
                                    "KOVACS", "LINDQVIST", "MORENO",  "NAKAMURA"};
constexpr const char *givennames[] = {"ADA",  "BRUNO", "CLEO",  "DARIO",
                                      "ELIN", "FEMI",  "GRETA", "HUGO"};

} // namespace

uint32_t accountgenerator::below(uint32_t n) {
    // A counter put through a mixing function (splitmix).
    uint64_t z = state += 0x9E3779B97F4A7C15;
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EB;
    return static_cast<uint32_t>((z ^ (z >> 31)) % n);
}

account accountgenerator::next() {
    account a;
    a.name = std::string(surnames[below(std::size(surnames))]) + " " +
             givennames[below(std::size(givennames))] + " " + static_cast<char>('A' + below(26)) +
             ".";
    a.number = ++made;
    a.limit = static_cast<int64_t>(below(20)) * 100000 - 200000;
    const int64_t size = below(4) == 0 ? 100000000000 : 100000;
    a.balance = static_cast<int64_t>(below(1000000)) * size / 1000000 - size / 4;
    a.opened = (1970 + below(55)) * 10000 + (1 + below(12)) * 100 + 1 + below(28);
    a.branch = 1000 + below(40) * 65537;
    for (uint32_t letters = below(38); letters-- > 0;)
        a.remark += static_cast<char>('a' + below(26));
    return a;
}

void appendrecord(const account &a, std::string *out) {
    *out += padded(a.name, 24) + padded(digits(a.number, 8), 8);
    std::string limit = padded(digits(magnitude(a.limit), 10), 10);
    limit.back() = static_cast<char>((limit.back() & 0x0F) | (a.limit < 0 ? 0xD0 : 0xC0));
    *out += limit;
    const std::string balance = digits(magnitude(a.balance), 15);
    for (size_t i = 0; i < 15; i += 2) {
        const int low = i == 14 ? (a.balance < 0 ? 0xD : 0xC) : balance[i + 1] - '0';
        *out += static_cast<char>(((balance[i] - '0') << 4) | low);
    }
    *out += padded(digits(a.opened, 8), 8);
    for (int shift = 24; shift >= 0; shift -= 8)
        *out += static_cast<char>(a.branch >> shift);
    *out += padded(a.remark, 38);
}

void appendline(const account &a, std::string *out) {
    *out += std::to_string(a.number) + ";" + a.name + ";" + std::to_string(a.balance) + ";" +
            std::to_string(a.limit) + ";" + std::to_string(a.opened) + ";" + a.remark;
}

account readrecord(std::string_view record) {
    account a;
    a.name = plaintext(record.substr(0, 24));
    a.number = decimal(record.substr(24, 8));
    for (const char c : record.substr(32, 10))
        a.limit = a.limit * 10 + (c & 0x0F);
    a.limit = (record[41] & 0xF0) == 0xD0 ? -a.limit : a.limit;
    for (size_t i = 0; i < 15; ++i) {
        const int pair = record[42 + i / 2];
        a.balance = a.balance * 10 + (i % 2 == 0 ? pair >> 4 & 0x0F : pair & 0x0F);
    }
    a.balance = (record[49] & 0x0F) == 0xD ? -a.balance : a.balance;
    a.opened = decimal(record.substr(50, 8));
    for (const char c : record.substr(58, 4))
        a.branch = a.branch << 8 | static_cast<unsigned char>(c);
    a.remark = plaintext(record.substr(62, 38));
    return a;
}

account readline(std::string_view line) {
    std::string fields[6];
    for (std::string &field : fields) {
        const size_t end = std::min(line.find(';'), line.size());
        field = line.substr(0, end);
        line.remove_prefix(std::min(end + 1, line.size()));
    }
    account a;
    a.number = static_cast<uint32_t>(std::strtoul(fields[0].c_str(), nullptr, 10));
    a.name = fields[1];
    a.balance = std::strtoll(fields[2].c_str(), nullptr, 10);
    a.limit = std::strtoll(fields[3].c_str(), nullptr, 10);
    a.opened = static_cast<uint32_t>(std::strtoul(fields[4].c_str(), nullptr, 10));
    a.remark = fields[5];
    return a;
}

void checksum::add(std::string_view record) {
    uint64_t h = 0xCBF29CE484222325;
    for (const char c : record)
        h = (h ^ static_cast<unsigned char>(c)) * 0x100000001B3;
    ++records;
    sum += h * (h | 1); // a plain sum of hashes lets exchanged bytes cancel out
}

} // namespace kvern::test

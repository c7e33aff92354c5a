// Random choices that are the same on every system for one seed: the standard
// distributions are not, so none is used.
//
// A fuzzer makes choices too: its input is a seed of two bytes, then the first choices,
// each in as few bytes as hold it.  Those that come behind its end are the seed's.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <initializer_list>
#include <iterator>
#include <random>

namespace kvern::test {

class randomness {
  public:
    explicit randomness(uint64_t seed) : engine(seed) {}
    randomness(const uint8_t *input, size_t size)
        : engine(size < 2 ? 0 : input[0] + input[1] * 256U), next(input + (size < 2 ? size : 2)),
          end(input + size) {}

    uint64_t bits() { return choice(8); }
    uint32_t below(uint32_t n) {
        return static_cast<uint32_t>(choice(n <= 0x100 ? 1 : n <= 0x10000 ? 2 : 4) % n);
    }
    uint32_t between(uint32_t low, uint32_t high) { return low + below(high - low + 1); }
    char byte() { return static_cast<char>(choice(1) & 0xFF); }
    bool onein(uint32_t n) { return below(n) == 0; }
    template <class T>
    T pick(std::initializer_list<T> list) {
        return list.begin()[below(static_cast<uint32_t>(list.size()))];
    }
    uint8_t code(std::initializer_list<int> list) { return static_cast<uint8_t>(pick(list)); }
    uint8_t flags(uint64_t mask) { return static_cast<uint8_t>(bits() & mask); }
    template <class C>
    const auto &pickof(const C &list) {
        return list[below(static_cast<uint32_t>(std::size(list)))];
    }

  private:
    std::mt19937_64 engine;
    const uint8_t *next = nullptr, *end = nullptr; // what is left of the input

    uint64_t choice(size_t size) {
        if (next == end)
            return engine();
        uint64_t chosen = 0;
        for (; size > 0 && next != end; --size)
            chosen = chosen << 8 | *next++;
        return chosen;
    }
};

// A number from the environment, as KVERN_SEED=17 or KVERN_SEED=0x11.
inline uint64_t fromenvironment(const char *name, uint64_t otherwise) {
    const char *text = std::getenv(name);
    return text != nullptr && *text != 0 ? std::strtoull(text, nullptr, 0) : otherwise;
}

} // namespace kvern::test

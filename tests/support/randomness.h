// Random choices that are the same on every system for one seed: the standard
// distributions are not, so none is used.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <initializer_list>
#include <iterator>
#include <random>

namespace kvern::test {

class randomness {
  public:
    explicit randomness(uint64_t seed) : engine(seed) {}

    uint64_t bits() { return engine(); }
    uint32_t below(uint32_t n) { return static_cast<uint32_t>(engine() % n); }
    uint32_t between(uint32_t low, uint32_t high) { return low + below(high - low + 1); }
    char byte() { return static_cast<char>(engine() & 0xFF); }
    bool onein(uint32_t n) { return below(n) == 0; }
    template <class T>
    T pick(std::initializer_list<T> list) {
        return list.begin()[below(static_cast<uint32_t>(list.size()))];
    }
    template <class C>
    const auto &pickof(const C &list) {
        return list[below(static_cast<uint32_t>(std::size(list)))];
    }

  private:
    std::mt19937_64 engine;
};

// A number from the environment, as KVERN_SEED=17 or KVERN_SEED=0x11.
inline uint64_t fromenvironment(const char *name, uint64_t otherwise) {
    const char *text = std::getenv(name);
    return text != nullptr && *text != 0 ? std::strtoull(text, nullptr, 0) : otherwise;
}

} // namespace kvern::test

// Reads the decisions of a fuzzed session off the input, front to back; behind
// its end stand zero bytes.  Most codes come from a list of sound ones, so that
// an input gets past the analysis, but any byte and any number can be had.
#pragma once

#include <cstddef>
#include <cstdint>
#include <iterator>

namespace kvern::test {

class bytesource {
  public:
    bytesource(const uint8_t *bytes, size_t length) : at(bytes), end(bytes + length) {}

    [[nodiscard]] size_t left() const { return static_cast<size_t>(end - at); }
    [[nodiscard]] const uint8_t *rest() const { return at; }

    uint8_t byte() { return at < end ? *at++ : uint8_t{0}; }
    uint32_t word() {
        const uint32_t low = byte();
        return low | static_cast<uint32_t>(byte()) << 8;
    }
    uint32_t number() {
        const uint32_t low = word();
        return low | word() << 16;
    }

    template <class T, size_t n>
    T pick(const T (&sound)[n]) {
        return sound[byte() % n];
    }
    // As pick, but one byte in sixty-four leads to a raw one.
    template <size_t n>
    uint8_t code(const uint8_t (&sound)[n]) {
        const uint8_t choice = byte();
        return choice < 252 ? sound[choice % n] : byte();
    }
    // A length or position: short, up to 64 KB, or anything.
    uint32_t length() {
        const uint8_t choice = byte();
        if (choice < 240)
            return choice < 160 ? choice % 16U : choice;
        return choice < 254 ? word() : number();
    }
    // Entries of a table: one or a few, hundreds, or more than any storage holds.
    uint32_t count(uint32_t few) {
        const uint8_t choice = byte();
        if (choice < 250)
            return 1 + choice % few;
        return choice < 253 ? word() % 4096 : choice == 253 ? 0 : number() | unholdable;
    }
    static constexpr uint32_t unholdable = 0x400000;

  private:
    const uint8_t *at, *end;
};

} // namespace kvern::test

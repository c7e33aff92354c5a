// Keys of the records of a file that is being written, kept in memory by their
// records' numbers: tells the order, and which key has been there before.
#pragma once

#include <cstdint>
#include <cstring>
#include <deque>
#include <memory>
#include <string_view>
#include <unordered_set>
#include <vector>

namespace fmgr {

class keystore {
  public:
    // keylength: above 0.  unique: the same key is taken once only.
    keystore(uint32_t keylength, bool unique)
        : length(keylength), single(unique), known(0, hasher{this}, equal{this}) {}
    keystore(const keystore &) = delete;
    keystore &operator=(const keystore &) = delete;

    // Room for the next key; add() makes it one.
    uint8_t *next() {
        if (count / perchunk == chunks.size())
            chunks.push_back(std::make_unique<uint8_t[]>(size_t{perchunk} * length));
        return at(count);
    }
    // False: the key has been there before.
    bool add() {
        if (single && !known.insert(count).second)
            return false;
        ++count;
        return true;
    }
    uint32_t size() const { return count; }
    // The record numbers by ascending keys; of equal keys the first added comes first.
    std::vector<uint32_t> order() const;

  private:
    static constexpr uint32_t perchunk = 4096;

    struct hasher {
        const keystore *keys;
        size_t operator()(uint32_t i) const {
            return std::hash<std::string_view>{}(
                {reinterpret_cast<const char *>(keys->at(i)), keys->length});
        }
    };
    struct equal {
        const keystore *keys;
        bool operator()(uint32_t a, uint32_t b) const {
            return std::memcmp(keys->at(a), keys->at(b), keys->length) == 0;
        }
    };

    uint8_t *at(uint32_t i) const { return &chunks[i / perchunk][size_t{i % perchunk} * length]; }

    uint32_t length;
    bool single;
    uint32_t count = 0;
    std::deque<std::unique_ptr<uint8_t[]>> chunks;
    std::unordered_set<uint32_t, hasher, equal> known;
};

} // namespace fmgr

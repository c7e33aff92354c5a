#include "sort/quicksort.h"
#include "sort/slots.h"
#include "support/randomness.h"
#include "unit/enginecontext.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <string>

namespace kvern {
namespace {

// Slots on their own, with a sort stack; the key's top word is the value, a number
// of the slot stands behind the key.
class slotpool : public enginecontext {
  public:
    explicit slotpool(const std::vector<uint32_t> &values, uint32_t width = 4)
        : stack(qstackpairs + 1), pointers(values.size() + 1),
          stride((sizeof(slot) + width + sizeof(uint32_t) + 7) / 8), words(stride * values.size()) {
        keylen = width;
        qstack = stack.data();
        qstackend = qstack + stack.size();
        slotptrs = pointers.data();
        pointers.back() = guard();
        for (uint32_t i = 0; i < values.size(); ++i) {
            slot *at = slotat(i);
            at->link = i + 1 < values.size() ? slotat(i + 1) : nullptr;
            memset(at->record(), 0x5A, width);
            memcpy(at->record() + width - 4, &values[i], 4);
            memcpy(at->record() + width, &i, 4);
        }
        slotfirst = values.empty() ? nullptr : slotat(0);
    }

    uint32_t value(const slot *at) const {
        uint32_t v;
        memcpy(&v, at->record() + keylen - 4, 4);
        return v;
    }
    uint32_t number(const slot *at) const {
        uint32_t v;
        memcpy(&v, at->record() + keylen, 4);
        return v;
    }

    // Ascending, each slot once, nothing written behind the array.
    void expectsorted(uint32_t n) const {
        std::vector<bool> seen(n);
        for (uint32_t i = 0; i < n; ++i) {
            if (i != 0) {
                ASSERT_LE(value(pointers[i - 1]), value(pointers[i])) << i;
            }
            ASSERT_FALSE(seen[number(pointers[i])]) << i;
            seen[number(pointers[i])] = true;
        }
        EXPECT_EQ(pointers[n], guard());
    }

  private:
    std::vector<sortpair> stack;
    std::vector<slot *> pointers;
    size_t stride;
    std::vector<uint64_t> words;

    slot *slotat(size_t i) { return reinterpret_cast<slot *>(&words[i * stride]); }
    slot *guard() const { return reinterpret_cast<slot *>(const_cast<sortpair *>(stack.data())); }
};

// Orders by value and counts.
struct counted {
    const slotpool *pool;
    uint64_t *comparisons;
    bool operator()(const slot &a, const slot &b) const {
        ++*comparisons;
        return pool->value(&a) < pool->value(&b);
    }
    const uint8_t *firstread(const slot &a) const { return a.record(); }
};

// ---- orders of input --------------------------------------------------------

using values = std::vector<uint32_t>;

// Takes the median of three of a plain quicksort to its worst: the second lowest
// value of each partition is its median.
values killer(uint32_t n) {
    values out(n);
    const uint32_t half = n / 2;
    for (uint32_t i = 0; i < half; ++i) {
        out[i] = i % 2 == 0 ? i + 1 : half + i + (half % 2);
        out[half + i] = (i + 1) * 2;
    }
    return out;
}

values made(uint32_t n, const std::function<uint32_t(uint32_t)> &at) {
    values out(n);
    for (uint32_t i = 0; i < n; ++i)
        out[i] = at(i);
    return out;
}

template <uint32_t distinct>
values fewvalues(uint32_t n) {
    test::randomness random(distinct);
    return made(n, [&](uint32_t) { return random.below(distinct); });
}
const struct {
    const char *name;
    values (*make)(uint32_t n);
} distributions[] = {
    {"random", fewvalues<UINT32_MAX>},
    {"all equal", fewvalues<1>},
    {"two values", fewvalues<2>},
    {"descending", [](uint32_t n) { return made(n, [n](uint32_t i) { return n - i; }); }},
    {"organ pipe",
     [](uint32_t n) { return made(n, [n](uint32_t i) { return std::min(i, n - i); }); }},
    {"sawtooth", [](uint32_t n) { return made(n, [](uint32_t i) { return i % 100; }); }},
    {"ascending, lowest last",
     [](uint32_t n) { return made(n, [n](uint32_t i) { return i + 1 == n ? 0 : i + 1; }); }},
    {"median of three killer", killer},
};

// ---- tests --------------------------------------------------------------------

TEST(Quicksort, OrdersAndSizes) {
    const uint32_t sizes[] = {0,  1,  2,   3,   9,   10,  11,  12,  19,   20,
                              63, 64, 127, 128, 129, 255, 256, 257, 1000, 4097};
    for (const auto &shape : distributions)
        for (const uint32_t n : sizes) {
            SCOPED_TRACE(testing::Message() << shape.name << ", " << n);
            slotpool pool(shape.make(n));
            ASSERT_EQ(sortslots(&pool, n), 0);
            pool.expectsorted(n);
            EXPECT_EQ(pool.stringcount, n == 0 ? 0u : 1u);
        }
}

// The lowest word decides where all above it are equal.
TEST(Quicksort, LowestWordDecides) {
    for (const uint32_t width : {8u, 12u, 16u, 20u, 24u, 100u}) {
        SCOPED_TRACE(width);
        slotpool pool(values(100, 1), width);
        for (slot *at = pool.slotfirst; at != nullptr; at = at->link) {
            const uint32_t word = 1000 - pool.number(at);
            memcpy(at->record(), &word, 4);
        }
        ASSERT_EQ(sortslots(&pool, 100), 0);
        for (uint32_t i = 0; i < 100; ++i)
            ASSERT_EQ(pool.number(pool.slotptrs[i]), 99 - i);
    }
}

// Comparisons in n log2 n.
double effort(const values &input) {
    slotpool pool(input);
    uint64_t comparisons = 0;
    const auto n = static_cast<uint32_t>(input.size());
    slot *at = pool.slotfirst;
    for (uint32_t i = 0; i < n; ++i, at = at->link)
        pool.slotptrs[i] = at;
    EXPECT_EQ(slotsorter(&pool, counted{&pool, &comparisons}).run(pool.slotptrs, n), 0);
    pool.expectsorted(n);
    return static_cast<double>(comparisons) / (n * std::log2(n));
}

TEST(Quicksort, NoOrderIsQuadratic) {
    constexpr uint32_t n = 20000;
    const double random = effort(fewvalues<UINT32_MAX>(n));
    for (const auto &shape : distributions) {
        const double each = effort(shape.make(n));
        EXPECT_LE(each, 1.5 * random) << shape.name;
    }
}

// Fixes values as late as it can, so that whatever the sorter takes for a pivot turns
// out to be low: no choice of fixed places is good for it.
struct adversary {
    struct memory {
        values solid;
        uint32_t known = 0, candidate = 0;
        uint64_t comparisons = 0;
    };
    static constexpr uint32_t gas = UINT32_MAX;
    const slotpool *pool;
    memory *m;

    bool operator()(const slot &a, const slot &b) const {
        ++m->comparisons;
        const uint32_t x = pool->number(&a), y = pool->number(&b);
        if (m->solid[x] == gas && m->solid[y] == gas)
            m->solid[x == m->candidate ? x : y] = m->known++;
        if (m->solid[x] == gas)
            m->candidate = x;
        else if (m->solid[y] == gas)
            m->candidate = y;
        return m->solid[x] < m->solid[y];
    }
    const uint8_t *firstread(const slot &a) const { return a.record(); }
};

TEST(Quicksort, Adversary) {
    for (const uint32_t n : {1000u, 4000u, 16000u}) {
        slotpool pool(values(n, 0));
        adversary::memory memory;
        memory.solid.assign(n, adversary::gas);
        slot *at = pool.slotfirst;
        for (uint32_t i = 0; i < n; ++i, at = at->link)
            pool.slotptrs[i] = at;
        ASSERT_EQ(slotsorter(&pool, adversary{&pool, &memory}).run(pool.slotptrs, n), 0);
        const double each = static_cast<double>(memory.comparisons) / (n * std::log2(n));
        EXPECT_LE(each, 4.0) << n;
        // The order it made up, sorted again.
        EXPECT_LE(effort(memory.solid), 4.0) << n;
    }
}

// A stop is seen once a partition; fewer than 10 records have none.
TEST(Quicksort, Stop) {
    const struct {
        uint32_t n;
        int result;
    } cases[] = {{9, 0}, {10, -1}, {1000, -1}};
    for (const auto &c : cases) {
        slotpool pool(fewvalues<UINT32_MAX>(c.n));
        pool.cancelled = 1;
        EXPECT_EQ(sortslots(&pool, c.n), c.result) << c.n;
        EXPECT_EQ(pool.lastmsg, 0u);
        EXPECT_EQ(pool.errdetail, 0u);
        EXPECT_EQ(pool.stringcount, 1u);
    }
}

// More records asked for than the chain has.
TEST(Quicksort, ShortChain) {
    slotpool pool(fewvalues<UINT32_MAX>(5));
    EXPECT_EQ(sortslots(&pool, 6), -1);
    EXPECT_EQ(pool.errdetail, uint32_t{KVRN_D_LOGIC});
}

} // namespace
} // namespace kvern

#include "sort/quicksort.h"
#include "sort/slots.h"
#include "support/randomness.h"
#include "unit/enginecontext.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

namespace kvern {
namespace {

using values = std::vector<uint32_t>;

// Slots on their own, with a sort stack; the key is a word, a number of the slot stands
// behind it.  That all comes out in order is for the sessions to show.
class slotpool : public enginecontext {
  public:
    static constexpr size_t stride = (sizeof(slot) + 8 + 7) / 8;

    explicit slotpool(const values &list)
        : stack(qstackpairs), pointers(list.size() + 1), words(stride * list.size()) {
        keylen = 4;
        qstack = stack.data();
        qstackend = qstack + stack.size();
        slotptrs = pointers.data();
        for (uint32_t i = static_cast<uint32_t>(list.size()); i-- != 0;) {
            auto *at = reinterpret_cast<slot *>(&words[i * stride]);
            at->link = slotfirst;
            slotfirst = at;
            memcpy(at->record(), &list[i], 4);
            memcpy(at->record() + 4, &i, 4);
        }
    }
    void givepointers() {
        slot **to = slotptrs;
        for (slot *at = slotfirst; at != nullptr; at = at->link)
            *to++ = at;
    }
    static uint32_t number(const slot *at) {
        uint32_t v;
        memcpy(&v, at->record() + 4, 4);
        return v;
    }

  private:
    std::vector<sortpair> stack;
    std::vector<slot *> pointers;
    std::vector<uint64_t> words;
};

template <uint32_t distinct>
values below(uint32_t n) {
    test::randomness random(distinct);
    values out(n);
    for (uint32_t &v : out)
        v = random.below(distinct);
    return out;
}
// Of the values in order, `at` gives the one for each place.
template <uint32_t (*at)(uint32_t i, uint32_t n)>
values shaped(uint32_t n) {
    values out(n);
    for (uint32_t i = 0; i < n; ++i)
        out[i] = at(i, n);
    return out;
}
uint32_t falling(uint32_t i, uint32_t n) {
    return n - i;
}
uint32_t organpipe(uint32_t i, uint32_t n) {
    return std::min(i, n - i);
}
uint32_t lowestlast(uint32_t i, uint32_t n) {
    return i + 1 == n ? 0 : i + 1;
}
// The second lowest value of each partition is its median of three.
uint32_t killer(uint32_t i, uint32_t n) {
    const uint32_t half = n / 2;
    return i >= half ? (i - half + 1) * 2 : i % 2 == 0 ? i + 1 : half + i + half % 2;
}

const struct {
    const char *name;
    values (*make)(uint32_t n);
} distributions[] = {{"random", below<UINT32_MAX>},      {"all equal", below<1>},
                     {"two values", below<2>},           {"falling", shaped<falling>},
                     {"organ pipe", shaped<organpipe>},  {"lowest last", shaped<lowestlast>},
                     {"median of three", shaped<killer>}};

// Counts, and fixes values as late as it can, so that whatever the sorter takes for a
// pivot turns out to be low: no choice of fixed places is good for it.
struct adversary {
    struct memory {
        values solid; // a value for each slot; gas: not fixed yet
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

// Comparisons in n log2 n; the order that came out stays in `list`.
double effort(values &list) {
    slotpool pool(list);
    adversary::memory memory{list};
    const auto n = static_cast<uint32_t>(list.size());
    pool.givepointers();
    EXPECT_EQ(slotsorter(&pool, adversary{&pool, &memory}).run(pool.slotptrs, n), 0);
    list = memory.solid;
    for (uint32_t i = 1; i < n; ++i)
        EXPECT_LE(list[pool.number(pool.slotptrs[i - 1])], list[pool.number(pool.slotptrs[i])]);
    return static_cast<double>(memory.comparisons) / (n * std::log2(n));
}

TEST(Quicksort, NoOrderIsQuadratic) {
    values random = below<UINT32_MAX>(20000);
    const double usual = effort(random);
    for (const auto &shape : distributions) {
        values list = shape.make(20000);
        EXPECT_LE(effort(list), 1.5 * usual) << shape.name;
    }
    for (const uint32_t n : {1000u, 4000u, 16000u}) {
        values list(n, adversary::gas);
        EXPECT_LE(effort(list), 4.0) << n;
        EXPECT_LE(effort(list), 4.0) << n << ", the order made up, again";
    }
}

// A stop is seen once a partition; fewer than 10 records have none.  A chain that is
// shorter than it should be is a fault.
TEST(Quicksort, StopAndShortChain) {
    for (const uint32_t n : {9u, 10u, 1000u}) {
        slotpool pool(below<UINT32_MAX>(n));
        pool.cancelled = 1;
        EXPECT_EQ(sortslots(&pool, n), n == 9 ? 0 : -1) << n;
        EXPECT_EQ(pool.lastmsg + pool.errdetail, 0u);
    }
    slotpool pool(values(5));
    EXPECT_EQ(sortslots(&pool, 6), -1);
    EXPECT_EQ(pool.errdetail, uint32_t{KVRN_D_LOGIC});
}

} // namespace
} // namespace kvern

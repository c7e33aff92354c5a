// No order of input makes the sort in core quadratic.  That all comes out in order is for
// the sessions to show.
#include "sort/incore/quicksort.h"
#include "support/randomness.h"

#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>

namespace kvern {
namespace {

using values = std::vector<uint32_t>;

// Counts, and fixes values as late as it can, so that whatever the sorter takes for a
// pivot turns out to be low: no choice of fixed places is good for it.
struct adversary {
    static constexpr uint32_t gas = UINT32_MAX; // not fixed yet
    std::vector<slot> slots;
    values solid; // a value for each slot
    uint32_t known = 0, candidate = 0;
    uint64_t comparisons = 0;

    explicit adversary(const values &list) : slots(list.size()), solid(list) {}
    size_t number(const slot &one) const { return static_cast<size_t>(&one - slots.data()); }
    bool below(const slot &a, const slot &b) {
        ++comparisons;
        const size_t x = number(a), y = number(b);
        if (solid[x] == gas && solid[y] == gas)
            solid[x == candidate ? x : y] = known++;
        if (solid[x] == gas)
            candidate = static_cast<uint32_t>(x);
        else if (solid[y] == gas)
            candidate = static_cast<uint32_t>(y);
        return solid[x] < solid[y];
    }
};
struct order {
    adversary *its;
    bool operator()(const slot &a, const slot &b) const { return its->below(a, b); }
    const uint8_t *firstread(const slot &a) const { return reinterpret_cast<const uint8_t *>(&a); }
};

// Comparisons in n log2 n; the order that came out stays in `list`.
double effort(values &list) {
    adversary its(list);
    std::vector<sortpair> stack(qstackpairs);
    std::vector<slot *> pointers;
    for (slot &one : its.slots)
        pointers.push_back(&one);
    qha5ctx ctx{};
    ctx.qstack = stack.data();
    ctx.qstackend = stack.data() + stack.size();
    const auto n = static_cast<uint32_t>(list.size());
    EXPECT_EQ(slotsorter(&ctx, order{&its}).run(pointers.data(), n), 0);
    list = its.solid;
    EXPECT_TRUE(std::is_sorted(pointers.begin(), pointers.end(), [&](slot *a, slot *b) {
        return list[its.number(*a)] < list[its.number(*b)];
    }));
    return static_cast<double>(its.comparisons) / (n * std::log2(n));
}

TEST(quicksort, no_order_is_quadratic) {
    constexpr uint32_t n = 20000;
    test::randomness random(1);
    std::vector<values> lists(6);
    for (uint32_t i = 0; i < n; ++i) {
        // Random, all equal, two values, falling, an organ pipe, the lowest last.
        const values row = {random.below(adversary::gas), 7,          random.below(2), n - i,
                            std::min(i, n - i),           (i + 1) % n};
        for (size_t shape = 0; shape < row.size(); ++shape)
            lists[shape].push_back(row[shape]);
    }
    const double usual = effort(lists[0]);
    for (values &list : lists)
        EXPECT_LE(effort(list), 1.25 * usual) << &list - lists.data();
    for (const uint32_t count : {1000U, 4000U, 16000U}) {
        values list(count, adversary::gas);
        EXPECT_LE(effort(list), 3.0) << count;
        EXPECT_LE(effort(list), 3.0) << count << ", the order made up, again";
    }
}

} // namespace
} // namespace kvern

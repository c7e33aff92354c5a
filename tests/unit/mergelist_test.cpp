#include "merge/mergelist.h"

#include "unit/enginecontext.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

namespace kvern {
namespace {

// One node an input, taken off and put back with a key that is not lower, against a
// stable sort of all records by key and input.
template <uint32_t width>
void againstsort(uint32_t keylen, uint32_t inputs, std::mt19937 &random) {
    struct node {
        mergenode head;
        uint8_t image[32];
    };
    struct record {
        uint32_t key;
        int32_t input;
        bool operator==(const record &) const = default;
    };
    enginecontext ctx(0);
    std::vector<node> nodes(inputs);
    std::vector<mergenode *> list(inputs);
    std::vector<std::vector<uint32_t>> keys(inputs);
    std::vector<size_t> at(inputs);
    std::vector<record> expected, got;
    ctx.nodelist = list.data();
    const keyorder<width> order(keylen);
    const auto put = [&](uint32_t input) {
        if (at[input] == keys[input].size())
            return;
        mergenode &head = nodes[input].head;
        head.input = static_cast<int32_t>(input);
        memset(head.image(), 0, keylen);
        memcpy(head.image() + keylen - 4, &keys[input][at[input]++], 4);
        insertnode(&ctx, order, &head);
    };
    for (uint32_t input = 0; input < inputs; input++) {
        keys[input].resize(random() % 20);
        for (uint32_t &key : keys[input])
            key = static_cast<uint32_t>(random() % 12);
        std::sort(keys[input].begin(), keys[input].end());
        for (const uint32_t key : keys[input])
            expected.push_back({key, static_cast<int32_t>(input)});
        put(input);
    }
    std::stable_sort(expected.begin(), expected.end(),
                     [](const record &a, const record &b) { return a.key < b.key; });
    while (ctx.nodecount != 0) {
        takeheadnode(&ctx);
        uint32_t key;
        memcpy(&key, ctx.curnode->image() + keylen - 4, 4);
        got.push_back({key, ctx.curnode->input});
        put(static_cast<uint32_t>(ctx.curnode->input));
    }
    EXPECT_EQ(got, expected) << inputs << " inputs, key of " << keylen;
}

TEST(MergeList, OrderOfAStableSort) {
    std::mt19937 random(5);
    for (uint32_t round = 0; round < 60; round++) {
        const uint32_t inputs =
            round < 40 ? round % 9 + 1 : static_cast<uint32_t>(random() % 300 + 1);
        againstsort<4>(4, inputs, random);
        againstsort<12>(12, inputs, random);
        againstsort<0>(24, inputs, random);
    }
}

} // namespace
} // namespace kvern

// The in-core sort: quicksort over pointers to slots, ascending by key.
//
// Each partition takes the median of three elements as its pivot and keeps it aside,
// which leaves a hole; what is below the pivot goes left of it, all else right:
//
//   left      mid       right          mid's place takes the element before right
//   |lowest| ... |    | ... |hole|highest|
//   |lowest| below the pivot |pivot| not below | highest|
//
// The larger side waits on a stack and the smaller is worked on, so that the stack
// stays logarithmic.  Sides of fewer than 10 elements are left as they are until one
// pass of insertion over the whole array ends the sort.
//
// No order of input costs more than n log n.  A side with less than a sixteenth of
// the elements is a bad split, and two things are done about it: elements equal to
// the pivot are gathered behind it and drop out, and what still is too long chooses
// its pivots more carefully from then on: the median of nine elements, and after
// another bad split the true median, which then is found in linear time by medians
// of groups of five.  Random keys meet neither often enough to be measured.
//
// The order of equal keys is open.
#pragma once

#include "session/context.h"
#include "session/pump.h"
#include "session/qha9msg.h"

#include <utility>

namespace kvern {

// Sorts n slots by key.  0; -1: stopped (silently), or a logic error.
[[nodiscard]] int quicksort(qha5ctx *ctx, slot **first, uint32_t n);

// The sorter, by an order `bool operator()(const slot &, const slot &) const` that
// also tells the sorter which byte of a slot a comparison reads first.
template <typename Below>
class slotsorter {
  public:
    slotsorter(qha5ctx *session, Below how) : ctx(session), below(how) {}

    int run(slot **first, uint32_t n) {
        if (partitionall({first, n, care_three}) != 0)
            return -1;
        insertpass(first, n);
        return 0;
    }

  private:
    static constexpr uint32_t cutoff = 10;       // fewer elements wait for the insertion pass
    static constexpr uint32_t badshare = 16;     // a side below this share is a bad split
    static constexpr uint32_t nineleast = 64;    // below, nine elements are too many to look at
    static constexpr uint32_t medianleast = 128; // below, even a quadratic side is cheap
    static constexpr uint32_t fetchahead = 6;    // elements that a scan asks for in advance

    // How the pivot of a partition is chosen.
    enum pivotcare : uint32_t { care_three, care_nine, care_median };

    struct section {
        slot **first;
        uint32_t count;
        pivotcare care;
    };

    // [first, lowend) is not above, [highfirst, ...) not below what lies between.
    struct split {
        slot **lowend;
        slot **highfirst;
    };

    qha5ctx *ctx;
    Below below;

    static uint32_t distance(slot *const *from, slot *const *to) {
        return static_cast<uint32_t>(to - from);
    }

    // A pair on the stack has room for 2^30 elements, and slots take 12 bytes of 10 MiB.
    static constexpr uint32_t carebits = 2;

    static sortpair packed(const section &part) {
        return {part.first, part.count << carebits | part.care};
    }
    static section unpacked(const sortpair &pair) {
        return {pair.first, pair.countcare >> carebits,
                static_cast<pivotcare>(pair.countcare & ((1u << carebits) - 1))};
    }

    // The pairs on the stack all have `cutoff` elements or more but for the sentinel.
    int partitionall(section part) {
        sortpair *top = ctx->qstack;
        *top = {nullptr, 0};
        for (;;) {
            while (part.count >= cutoff) {
                if (pumpround(ctx))
                    return -1;
                const split at = partition(part);
                section low{part.first, distance(part.first, at.lowend), part.care};
                section high{at.highfirst, distance(at.highfirst, part.first + part.count),
                             part.care};
                low.care = high.care = nextcare(part, low.count > high.count ? low : high);
                if (high.count < low.count)
                    std::swap(low, high);
                if (high.count >= cutoff) {
                    if (++top >= ctx->qstackend)
                        return faillogic(ctx);
                    *top = packed(high);
                }
                part = low;
            }
            if (top->countcare == 0)
                return 0;
            part = unpacked(*top--);
        }
    }

    // A side that once had a bad split never goes back to three elements.
    static pivotcare nextcare(const section &whole, const section &longer) {
        if (longer.count > whole.count - whole.count / badshare)
            return whole.care == care_three ? care_nine : care_median;
        return whole.care == care_median ? care_nine : whole.care;
    }

    split partition(const section &part) {
        if (part.care == care_median && part.count >= medianleast)
            return medianpartition(part.first, part.count, part.count / 2);
        if (part.care != care_three && part.count >= nineleast)
            ninther(part.first, part.count);
        return holepartition(part.first, part.count);
    }

    split holepartition(slot **left, uint32_t count) {
        slot **const right = left + (count - 1);
        slot **const mid = left + count / 2;
        slot *const pivot = takemedian(left, mid, right);
        slot **const hole = right - 1;
        *mid = *hole;

        slot **i = left + 1;
        slot **j = hole - 1;
        for (;;) {
            while (i <= j && fetchedbelow(i, j, *pivot))
                ++i;
            while (i < j && !fetchedbelow(j, i, *pivot))
                --j;
            if (i >= j)
                break;
            std::swap(*i++, *j--);
        }
        *hole = *i;
        *i = pivot;
        slot **highfirst = i + 1;
        if (distance(left, i) < count / badshare)
            highfirst = gatherequal(*pivot, highfirst, right);
        return {i, highfirst};
    }

    // *at is below the pivot.  Asks for the slot some places nearer to `towards`.
    bool fetchedbelow(slot **at, slot **towards, const slot &pivot) const {
        const auto gap = towards - at;
        constexpr auto ahead = static_cast<ptrdiff_t>(fetchahead);
        slot **next = gap >= ahead ? at + ahead : gap <= -ahead ? at - ahead : towards;
        __builtin_prefetch(below.firstread(**next));
        return below(**at, pivot);
    }

    // Sets the median aside, the lowest of the three left and the highest right; the
    // place of mid becomes free.
    slot *takemedian(slot **left, slot **mid, slot **right) {
        slot *const low = *left;
        slot *const middle = *mid;
        slot *const high = *right;
        if (!below(*low, *middle)) {
            if (!below(*middle, *high)) {
                *left = high;
                *right = low;
                return middle;
            }
            *left = middle;
            if (below(*low, *high))
                return low;
            *right = low;
            return high;
        }
        if (!below(*low, *high)) {
            *left = high;
            *right = middle;
            return low;
        }
        if (!below(*middle, *high)) {
            *right = middle;
            return high;
        }
        return middle;
    }

    // Moves elements equal to the pivot to the front; the first that is above it.
    slot **gatherequal(const slot &pivot, slot **from, slot **last) {
        for (;;) {
            while (from <= last && !below(pivot, **from))
                ++from;
            while (from < last && below(pivot, **last))
                --last;
            if (from >= last)
                return from;
            std::swap(*from++, *last--);
        }
    }

    // Puts medians of three neighbours, far apart, where takemedian looks.
    void ninther(slot **left, uint32_t count) {
        const size_t step = count / 8;
        slot **const mid = left + count / 2;
        slot **const right = left + (count - 1);
        std::swap(*left, *medianof(left, left + step, left + 2 * step));
        std::swap(*mid, *medianof(mid - step, mid, mid + step));
        std::swap(*right, *medianof(right - 2 * step, right - step, right));
    }

    slot **medianof(slot **a, slot **b, slot **c) const {
        if (below(**b, **a))
            std::swap(a, b);
        if (!below(**c, **b))
            return b;
        return below(**c, **a) ? a : c;
    }

    // Splits so that the k-th element lies between the sides, in linear time: the
    // median of the medians of groups of five leaves three tenths on either side.
    split medianpartition(slot **first, uint32_t n, uint32_t k) {
        constexpr uint32_t group = 5;
        for (;;) {
            if (n < cutoff) {
                insertpass(first, n);
                return {first + k, first + k + 1};
            }
            const uint32_t groups = n / group;
            slot **five = first;
            for (uint32_t i = 0; i < groups; ++i, five += group) {
                insertpass(five, group);
                std::swap(first[i], five[group / 2]);
            }
            medianpartition(first, groups, groups / 2);
            const split at = partitionthree(first, n, first[groups / 2]);
            if (first + k < at.lowend) {
                n = distance(first, at.lowend);
            } else if (first + k >= at.highfirst) {
                const uint32_t dropped = distance(first, at.highfirst);
                first += dropped;
                n -= dropped;
                k -= dropped;
            } else {
                return at;
            }
        }
    }

    split partitionthree(slot **first, uint32_t n, const slot *pivot) {
        slot **lowend = first;
        slot **highfirst = first + n;
        for (slot **at = first; at < highfirst;) {
            if (below(**at, *pivot))
                std::swap(*lowend++, *at++);
            else if (below(*pivot, **at))
                std::swap(*at, *--highfirst);
            else
                ++at;
        }
        return {lowend, highfirst};
    }

    void insertpass(slot **first, uint32_t n) {
        slot **const end = first + n;
        for (slot **at = first + 1; at < end; ++at) {
            if (end - at > static_cast<ptrdiff_t>(fetchahead))
                __builtin_prefetch(below.firstread(*at[fetchahead]));
            slot *const moving = *at;
            slot **to = at;
            for (; to != first && below(*moving, *to[-1]); --to)
                *to = to[-1];
            *to = moving;
        }
    }
};

} // namespace kvern

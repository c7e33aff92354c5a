#include "sort/incore/quicksort.h"

#include "sort/incore/keywidth.h"

namespace kvern {
namespace {

template <uint32_t width>
struct slotorder : keyorder<width> {
    using keyorder<width>::keyorder;

    bool operator()(const slot &a, const slot &b) const {
        return this->compare(a.record(), b.record()) < 0;
    }
    // The most significant word stands at the top of the key area, which is empty
    // where lines hold nothing but their delimiter.
    const uint8_t *firstread(const slot &a) const {
        const uint32_t length = this->length();
        return a.record() + (length != 0 ? length - sizeof(uint32_t) : 0);
    }
};

template <uint32_t width>
int sortby(qha5ctx *ctx, slot **first, uint32_t n) {
    return slotsorter(ctx, slotorder<width>(ctx->keylen)).run(first, n);
}

using sortroutine = int (*)(qha5ctx *ctx, slot **first, uint32_t n);
constexpr widthrow<sortroutine> sorters[] = {
    {4, sortby<4>}, {8, sortby<8>}, {12, sortby<12>}, {16, sortby<16>}, {0, sortby<0>},
};

} // namespace

int quicksort(qha5ctx *ctx, slot **first, uint32_t n) {
    return forwidth(sorters, ctx->keylen)(ctx, first, n);
}

} // namespace kvern

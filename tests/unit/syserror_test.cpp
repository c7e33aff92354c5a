// The map of system errors: each way of writing a row in all situations, and
// every row by its code.

#include "file/syserror.h"

#include <gtest/gtest.h>

#include <set>

using namespace kvern;

namespace {

constexpr uint32_t modes[] = {'r', 'w', 0};

struct told {
    uint32_t message, detail;
    bool operator==(const told &) const = default;
};
std::ostream &operator<<(std::ostream &out, const told &one) {
    return out << one.message << "/" << one.detail;
}

told mapped(uint32_t code, fileop operation, uint32_t mode) {
    qha5ctx ctx{};
    EXPECT_EQ(mapsyserror(&ctx, code, operation, mode), -1);
    EXPECT_EQ(ctx.errnum, code);
    return {ctx.lastmsg, ctx.errdetail};
}

struct rowcase {
    uint32_t code;
    told openread, openwrite, openother, close, read, write;
};

const rowcase rowcases[] = {
    // by the mode of an open
    {2, {32, 290}, {32, 291}, {32, 289}, {32, 289}, {32, 289}, {32, 289}},
    {267, {32, 274}, {32, 275}, {32, 273}, {32, 273}, {32, 273}, {32, 273}},
    // by the direction
    {32, {32, 360}, {32, 361}, {32, 359}, {32, 359}, {32, 360}, {32, 361}},
    // always
    {19, {36, 369}, {36, 369}, {36, 369}, {36, 369}, {36, 369}, {36, 369}},
    {112, {36, 277}, {36, 277}, {36, 277}, {36, 277}, {36, 277}, {36, 277}},
    // by the transfer
    {25, {32, 352}, {32, 352}, {32, 352}, {32, 352}, {35, 353}, {36, 354}},
    // no row
    {109, {32, 208}, {32, 208}, {32, 208}, {34, 210}, {35, 200}, {36, 201}},
    {0xFFFFFFFF, {32, 208}, {32, 208}, {32, 208}, {34, 210}, {35, 200}, {36, 201}},
};

TEST(syserror, rows) {
    for (const rowcase &one : rowcases) {
        SCOPED_TRACE(one.code);
        EXPECT_EQ(mapped(one.code, fileop::open, 'r'), one.openread);
        EXPECT_EQ(mapped(one.code, fileop::open, 'w'), one.openwrite);
        EXPECT_EQ(mapped(one.code, fileop::open, 0), one.openother);
        for (const uint32_t mode : modes) {
            EXPECT_EQ(mapped(one.code, fileop::close, mode), one.close);
            EXPECT_EQ(mapped(one.code, fileop::read, mode), one.read);
            EXPECT_EQ(mapped(one.code, fileop::write, mode), one.write);
        }
    }
}

// The details 251 to 372 belong to one row each and leave no hole, so a number
// that was mistyped would show.
TEST(syserror, details_are_used_once) {
    std::set<uint32_t> seen;
    uint32_t rows = 0;
    for (uint32_t code = 1; code < 3000; ++code) {
        std::set<uint32_t> its;
        for (const uint32_t mode : modes)
            for (const fileop operation :
                 {fileop::open, fileop::close, fileop::read, fileop::write})
                its.insert(mapped(code, operation, mode).detail);
        if (its == std::set<uint32_t>{KVRN_D_OPEN, KVRN_D_CLOSE, KVRN_D_READ, KVRN_D_WRITE})
            continue;
        ++rows;
        for (const uint32_t detail : its)
            if (detail > KVRN_D_LOGIC) {
                EXPECT_TRUE(seen.insert(detail).second) << detail << " of code " << code;
            }
    }
    EXPECT_EQ(rows, 56u);
    EXPECT_EQ(seen.size(), 122u);
    EXPECT_EQ(*seen.begin(), 251u);
    EXPECT_EQ(*seen.rbegin(), 372u);
}

} // namespace

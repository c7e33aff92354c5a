// The primary block: what each byte may be, by the caller's version, and which options
// exclude each other.
#include "refusal.h"

#include <map>

namespace kvern::test {
namespace {

TEST(refusal, option_bytes) {
    using values = std::vector<int>;
    constexpr auto file = &KVRNPRIM::fileoprat, rec = &KVRNPRIM::recoprat;
    constexpr auto code = &KVRNPRIM::cdmode, alt = &KVRNPRIM::altmode;
    constexpr auto dlmt = &KVRNPRIM::linedlmt, mode = &KVRNPRIM::fieldmode;
    const struct {
        uint8_t KVRNPRIM::*byte;
        const char *field;
        uint32_t version;
        values good, bad;
    } rows[] = {
        {&KVRNPRIM::function, "function", L4, {'s', 'm'}, {0, 'S', 255}},
        {&KVRNPRIM::recform, "recform", L4, {'f', 'v'}, {0, 'r', 'F'}},
        {file, "fileoprat", L4, {0, 19}, {1, 2, 3, 16, 18, 8, 128}},
        {file, "fileoprat", L0, {0, 1, 9, 19}, {2, 16, 18}},
        {rec, "recoprat", L4, {1, 2, 3, 4, 6, 8, 9, 12, 225}, {5, 7, 10, 11, 13, 224, 255}},
        {rec, "recoprat", L0, {1, 2, 3, 6, 9, 12, 225}, {4, 8, 5}},
        {code, "cdmode", L4, {0, 236, 237, 238, 239}, {1, 235, 240}},
        {code, "cdmode", L3, {0, 237, 239}, {236}},
        {alt, "altmode", L4, {0, 1, 2}, {3, 255}},
        {dlmt, "linedlmt", L2, {0, 1, 2, 3}, {4, 255}},
        {dlmt, "linedlmt", L2old, {4}, {}},
        {&KVRNPRIM::keyoption2, "linedlmt", L2old, {0, 1, 2, 3}, {4}},
        {mode, "fieldmode", L4, {0, 243, 244}, {1, 242, 245}},
    };
    for (const auto &c : rows)
        for (const bool fine : {true, false})
            for (const int value : fine ? c.good : c.bad) {
                session r;
                r.version = c.version;
                r.prim.recform = KVRN_VARIABLE;
                r.prim.mergecnt = 2;
                r.prim.*c.byte = static_cast<uint8_t>(value);
                EXPECT_EQ(r.opened(), fine ? accepted : badprim + c.field)
                    << c.field << " " << value << " " << std::hex << c.version;
            }
}

TEST(refusal, options_together) {
    static const std::string manyblanks(70000, ' ');
    const auto with = [](session &r, uint8_t function, uint8_t bits) {
        r.twofiles(function);
        r.key(0, 4), r.sum(10, 4, KVRN_ZONED), r.piece(0, 50);
        r.prim.options = bits;
    };
    run({
        ROW(badprim + "keyoption", r.prim.keyoption2 = 2, r.prim.keyoption = 16),
        ROW(badprim + "linedlmt", r.prim.separator = "a\r\nb"),
        ROW(badprim + "recform", r.prim.fieldmode = 243), // text asked for with 'f'
        ROW(badprim + "cdmode", r.text(243), r.prim.cdmode = 236),
        ROW(badprim + "cdmode", r.prim.cdmode = 1, r.prim.fieldmode = 1), // the first is told
        // Bytes that older callers' blocks do not have.
        ROW(accepted, r.version = L3, r.prim.altmode = 3),
        ROW(accepted, r.version = L0, r.prim.keyoption2 = 2, r.prim.keyoption = 16),
        ROW(accepted, r.version = L0, r.prim.cdmode = 1, r.prim.linedlmt = 4, r.prim.fieldmode = 1),
        ROW(accepted, r.prim.separator = "\n\r"), // not the whole delimiter
        ROW(accepted, r.version = L0, r.prim.separator = "\r\n"),
        ROW(noroom, r.prim.memsize = KVRN_MEM_MIN, r.prim.separator = manyblanks.c_str()),
        ROW(unsupported, r.prim.function = 'm', r.prim.recoprat = 4),
        ROW(unsupported, r.prim.function = 'm', r.prim.recoprat = 9),
        ROW(accepted, r.twofiles('m'), r.prim.recoprat = 12), // blocks mean nothing to files
        ROW(badprim, r.twofiles('m'), r.prim.mergecnt = 3),
        ROW(badprim, r.prim.function = 'm'), // of no input
        ROW(badprim, r.twofiles('m'), r.prim.mergecnt = 1, r.prim.fileoprat = KVRN_STDIN),
        ROW(unsupported, r.prim.function = 'c', r.output("out")),
        ROW(unsupported, r.prim.function = 'c', r.fromfiles({""})),
        ROW(badprim, with(r, 'c', KVRN_SUPPRESS)),
        ROW(badprim, with(r, 'c', KVRN_SUM)),
        ROW(badprim, with(r, 'c', KVRN_DESCENDALL)),
        ROW(exclusive, with(r, 's', KVRN_SUM | KVRN_SUPPRESS)),
        ROW(exclusive, with(r, 's', KVRN_KEEPORDER | KVRN_SUPPRESS)),
    });
}

// A separator takes as much storage as it is long.  Whoever finds none then says so, in
// every kind of session.
TEST(refusal, storage_that_ends_anywhere) {
    std::map<std::string, int> seen;
    for (const uint8_t function : {KVRN_SORT, KVRN_MERGE, KVRN_COPY})
        for (const uint8_t mode : {uint8_t{0}, uint8_t{KVRN_FIELDS}, uint8_t{KVRN_COLUMNS}})
            for (uint32_t left = 0; left < 36000; left += left < 3000 ? 24 : 600) {
                session r;
                const std::string blanks(66000 - left, ' ');
                r.prim.separator = blanks.c_str();
                r.prim.memsize = KVRN_MEM_MIN;
                if (mode != 0)
                    r.text(mode);
                if (function != KVRN_SORT || left % 3 == 0)
                    r.twofiles(function);
                if (function != KVRN_COPY)
                    r.key(0, 4), r.sum(10, 4, mode == 0 ? KVRN_ZONED : KVRN_CHAR);
                r.piece(0, 50);
                r.select({cond(KVRN_CHAR, 4, KVRN_CHAR, 4), compared(KVRN_CHAR, 1, "a", 1)});
                r.prim.function = function;
                ++seen[r.opened()];
            }
    for (const auto &[told, times] : seen)
        EXPECT_TRUE(told == accepted || told == noroom || told == nosetup) << told << times;
    EXPECT_GE(seen.size(), 2U);
}

} // namespace
} // namespace kvern::test

// Variable records in a copy, which only an external file manager has, and the count
// of lines.
#include "merge/copy.h"
#include "merge/linecount.h"
#include "support/randomness.h"
#include "unit/enginecontext.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

namespace kvern {
namespace {

// One file of one block in, its blocks out.
struct copyrig : enginecontext {
    filectl in{}, out{};
    filectl *list[1] = {&in};
    uint32_t counts[1] = {0};
    static inline bytes data, written;
    static inline uint32_t records;

    copyrig() : enginecontext(1 << 12) {
        function = KVRN_COPY;
        recform = 'v';
        inreclen = outreclen = 12;
        infiles = list;
        filecount = 1;
        outfile = &out;
        perinput = counts;
        for (filectl *file : {&in, &out}) {
            file->openfn = file->closefn = [](qha5ctx *, filectl *) { return int32_t{0}; };
            file->readfn = [](qha5ctx *, filectl *own) {
                blockhdr *block = own->block;
                const auto length = own->blockcount == 0 ? data.size() : 0;
                std::copy_n(data.begin(), length, block->first);
                block->limit = block->first + length;
                block->count = length == 0 ? 0 : records;
                return static_cast<int32_t>(length);
            };
            file->writefn = [](qha5ctx *, filectl *own) {
                written.insert(written.end(), own->block->first, own->block->limit);
                return static_cast<int32_t>(own->block->limit - own->block->first);
            };
        }
    }
    int run(const char *raw, uint32_t count) {
        data = fromhex(raw);
        records = count;
        written.clear();
        sortnext = arenanext;
        sortfree = arenafree;
        return setupcopy(this) == 0 ? runcopy(this) : -1;
    }
};

struct variablecase {
    const char *raw;
    uint32_t count;
    const char *output; // plain or selected; null: detail 111
};
constexpr variablecase variablecases[] = {
    {"05000000 4142434445 000000 04000000 46474849", 2,
     "05 00 00 00 41 42 43 44 45 04 00 00 00 46 47 48 49"},
    {"01000000 41", 1, "01 00 00 00 41"}, // the last padding is not there
    {"01000000 41", 2, nullptr},          // nor a second record
    {"0D000000 41414141 41414141 41414141 41000000", 1, nullptr},
    {"04000000 414141", 1, nullptr},
    {"040000", 1, nullptr},
};

TEST(CopyStep, VariableRecords) {
    for (const bool selecting : {false, true})
        for (const variablecase &c : variablecases) {
            SCOPED_TRACE(c.raw);
            copyrig rig;
            KVRNSEL any = {1, {}};
            any.entry[0].op = KVRN_OP_GE;
            any.entry[0].ltype = KVRN_CHAR;
            any.entry[0].rtype = KVRN_FLD_LIT;
            any.entry[0].rlit = "A";
            any.entry[0].llen = any.entry[0].rlen = 1;
            any.entry[0].iftrue = KVRN_GO_KEEP;
            any.entry[0].iffalse = KVRN_GO_DROP;
            rig.selectopt = selecting;
            rig.selspec = &any;
            rig.selmaxlen = 4;
            EXPECT_EQ(rig.run(c.raw, c.count), c.output != nullptr ? 0 : -1);
            EXPECT_EQ(rig.errdetail, c.output != nullptr ? 0u : uint32_t{KVRN_D_RECLEN});
            if (c.output != nullptr) {
                EXPECT_EQ(tohex(copyrig::written), c.output);
                EXPECT_EQ(rig.outcount, c.count);
            }
        }
}

TEST(LineCount, AgreesWithAWalk) {
    test::randomness r(4);
    for (uint32_t length : {0u, 1u, 15u, 16u, 17u, 18u, 33u, 255u * 16, 255u * 16 + 1, 10000u}) {
        bytes text(length); // of its own length, so that a step outside shows
        for (uint8_t &byte : text)
            byte = "\r\n\r\nx"[r.below(5)];
        const uint8_t *at = text.data(), *end = at + length;
        uint32_t pairs = 0;
        for (uint32_t i = 0; i + 1 < length; ++i)
            pairs += at[i] == '\r' && at[i + 1] == '\n' ? 1 : 0;
        const uint8_t crlf[] = {'\r', '\n'};
        EXPECT_EQ(countbyte(at, end, '\n'), std::count(text.begin(), text.end(), '\n'));
        EXPECT_EQ(counttext(at, end, crlf, 2), pairs);
        EXPECT_EQ(counttext(at, end, crlf, 1), std::count(text.begin(), text.end(), '\r'));
    }
    const bytes full(9000, '\n');
    EXPECT_EQ(countbyte(full.data(), full.data() + full.size(), '\n'), full.size());
}

} // namespace
} // namespace kvern

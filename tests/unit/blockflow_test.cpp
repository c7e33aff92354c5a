#include "sort/blocksize.h"
#include "unit/sortrig.h"

namespace kvern {
namespace {

constexpr uint32_t header = sizeof(blockhdr);
constexpr uint32_t word = alignof(void *);

// Rounded to what follows a block: 4 or 8 bytes.
constexpr uint64_t up(uint64_t n) {
    return (n + word - 1) / word * word;
}

TEST(BlockSize, Forms) {
    const struct {
        uint8_t form;
        uint32_t in, out, room; // of the wanted size, without the header
        uint64_t block, inblklen, outblklen, textreadlen;
    } cases[] = {
        // Whole records of both lengths in one buffer.
        {'f', 100, 100, 1000, up(1000), 1000, 1000, 0},
        {'f', 100, 100, 100, up(100), 100, 100, 0},
        {'f', 100, 100, 99, 0, 0, 0, 0},
        {'f', 100, 30, 1000, up(1000), 1000, 990, 0},
        {'f', 30, 100, 1000, up(1000), 990, 1000, 0},
        {'f', 7, 7, 98, up(98) > 98 ? up(91) : 98, 91, 91, 0},
        {'f', 7, 7, 7, 8, 7, 7, 0}, // rounding never costs the only record
        {'f', 3, 2, 8, 8, 6, 8, 0},
        {'f', UINT32_MAX, 4, 1000, 0, 0, 0, 0},
        {'f', 4, 0, 1000, 0, 0, 0, 0},
        // The longest record with its length word.
        {'v', 100, 50, 104 + word - 1, 104, 104, 104, 0},
        {'v', 101, 50, 104, 0, 0, 0, 0},
        {'v', UINT32_MAX, 50, 1000, 0, 0, 0, 0},
        // A partial line and a whole one.
        {'r', 50, 100, 104, 104, 104, 104, 54},
        {'r', 53, 50, 104, 0, 0, 0, 0},
        {'r', 0x80000001, 4, 1000, 0, 0, 0, 0},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(testing::Message() << c.form << ' ' << c.in << ' ' << c.out << ' ' << c.room);
        enginecontext ctx;
        ctx.recform = c.form;
        ctx.inreclen = c.in;
        ctx.outreclen = c.out;
        const blocklengths got = blocklengthsfor(&ctx, uint64_t{c.room} + header);
        EXPECT_EQ(got.block, c.block == 0 ? 0 : c.block + header);
        EXPECT_EQ(got.inblklen, c.inblklen);
        EXPECT_EQ(got.outblklen, c.outblklen);
        EXPECT_EQ(got.textreadlen, c.textreadlen);
    }
    enginecontext ctx;
    ctx.inreclen = ctx.outreclen = 1;
    EXPECT_EQ(blocklengthsfor(&ctx, header).block, 0u);
}

TEST(BlockFlow, StorageTooSmall) {
    const struct {
        const char *what;
        void (*prepare)(sortrig &);
    } cases[] = {
        {"record larger than all", [](sortrig &s) { s.fixed(30000), s.keys({charkey(0, 4)}); }},
        {"no room for three WBs", [](sortrig &s) { s.fixed(12000), s.keys({charkey(0, 4)}); }},
        {"variable records above a twentieth",
         [](sortrig &s) { s.variable(4000), s.keys({charkey(0, 4)}); }},
        {"lines above a fortieth", [](sortrig &s) { s.columns(1700), s.keys({charkey(0, 4)}); }},
        {"no room for the files' names",
         [](sortrig &s) {
             static char name[3000];
             static char *names[] = {name};
             memset(name, 'x', sizeof name - 1);
             s.fixed(80), s.keys({charkey(0, 4)});
             s.workkind = 'd', s.workpaths = names, s.workdircount = 1;
         }},
        {"index entries as long as WBs", [](sortrig &s) { s.fixed(4000), s.keys({}); }},
        {"a length that wraps",
         [](sortrig &s) { s.fixed(UINT32_MAX), s.rebuild({"0+4"}), s.keys({charkey(0, 4)}); }},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.what);
        sortrig session;
        c.prepare(session);
        EXPECT_EQ(session.open(), nullptr);
        EXPECT_EQ(session.lastmsg, 23u);
        EXPECT_EQ(session.errdetail, uint32_t{KVRN_D_STORAGE});
    }
}

// Records that vanished between the reader and the slots.
TEST(BlockFlow, CountsMustAgree) {
    const struct {
        uint8_t form, apiinput;
        bool passes;
    } cases[] = {{'f', 1, false}, {'f', 0, false}, {'r', 1, false}, {'r', 0, true}};
    for (const auto &c : cases) {
        sortrig session;
        c.form == 'f' ? session.fixed(8) : session.columns(8);
        session.keys({charkey(0, 4)});
        blockhdr *block = session.open();
        ASSERT_NE(block, nullptr);
        session.apiinput = c.apiinput;
        session.incount = 1;
        EXPECT_EQ(endinput(&session, block) != nullptr, c.passes);
        EXPECT_EQ(session.errdetail, c.passes ? 0u : uint32_t{KVRN_D_LOGIC});
        EXPECT_EQ(session.incount, c.passes ? 0u : 1u);
    }
}

} // namespace
} // namespace kvern

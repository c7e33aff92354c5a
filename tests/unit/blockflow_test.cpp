#include "sort/blocksize.h"
#include "sort/tempfile.h"
#include "unit/sortrig.h"

namespace kvern {
namespace {

constexpr uint32_t header = sizeof(blockhdr);
constexpr uint32_t word = alignof(void *);

// Rounded to what follows a block: 4 or 8 bytes.
constexpr uint64_t up(uint64_t n) {
    return (n + word - 1) / word * word;
}
constexpr uint64_t down(uint64_t n) {
    return n / word * word;
}

TEST(BlockSize, Forms) {
    const struct {
        uint8_t form;
        uint32_t in, out, room; // of the wanted size, without the header
        uint64_t block, inblklen, outblklen, textreadlen;
    } cases[] = {
        // Whole records of both lengths in one buffer.
        {'f', 100, 100, 1000, up(1000), 1000, 1000, 0},
        {'f', 100, 100, 1099, up(1000), 1000, 1000, 0},
        {'f', 100, 100, 100, up(100), 100, 100, 0},
        {'f', 100, 100, 99, 0, 0, 0, 0},
        {'f', 100, 30, 1000, up(1000), 1000, 990, 0},
        {'f', 30, 100, 1000, up(1000), 990, 1000, 0},
        {'f', 7, 7, 98, up(98) > 98 ? up(91) : 98, 91, 91, 0},
        {'f', 1, 1, 101, down(101), down(101), down(101), 0},
        {'f', 7, 7, 7, 8, 7, 7, 0}, // rounding never costs the only record
        {'f', 7, 7, 8, 8, 7, 7, 0},
        {'f', 3, 2, 8, 8, 6, 8, 0},
        {'f', UINT32_MAX, 4, 1000, 0, 0, 0, 0},
        {'f', 4, 0, 1000, 0, 0, 0, 0},
        // The longest record with its length word.
        {'v', 100, 50, 104 + word - 1, 104, 104, 104, 0},
        {'v', 101, 50, 104, 0, 0, 0, 0},
        {'v', 50, 101, 104, 0, 0, 0, 0},
        {'v', UINT32_MAX, 50, 1000, 0, 0, 0, 0},
        // A partial line and a whole one.
        {'r', 50, 100, 104, 104, 104, 104, 54},
        {'r', 53, 50, 104, 0, 0, 0, 0},
        {'r', 20, 105, 104, 0, 0, 0, 0},
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

// Every area behind the one before it, aligned, inside the storage.
TEST(BlockFlow, Division) {
    for (const char form : {'f', 'v', 'r'}) {
        SCOPED_TRACE(form);
        sortrig session;
        if (form == 'f')
            session.fixed(101);
        else if (form == 'v')
            session.variable(101);
        else
            session.columns(101);
        session.keys({charkey(0, 9)});
        char shortname[] = "/a", longname[] = "/a/longer/name";
        char *names[] = {shortname, nullptr, longname};
        session.workkind = 'd';
        session.workpaths = names;
        session.workdircount = 3;

        uint8_t *const start = session.arenanext;
        uint8_t *const end = start + session.arenafree;
        const uint32_t twentieth = session.arenafree / 20;
        blockhdr *block = session.open();
        ASSERT_NE(block, nullptr) << session.lastmsg;
        EXPECT_EQ(block->state, bs_read);
        EXPECT_EQ(block->count, 0u);
        EXPECT_EQ(block->next, block->first);
        EXPECT_EQ(reinterpret_cast<uint8_t *>(block), start);
        EXPECT_EQ(block->first, start + header);
        EXPECT_EQ(block->end, block->first + session.inblklen);
        EXPECT_LE(session.inblklen + header, twentieth);

        EXPECT_EQ(session.wbsize % session.intreclen, 0u);
        EXPECT_GE(session.wbsize, 2 * session.intreclen);
        uint32_t blocks = 0;
        uint8_t *behind = nullptr;
        EXPECT_EQ(session.wbbase, session.freewbs);
        for (const blockhdr *wb = session.freewbs; wb != nullptr; wb = wb->link, ++blocks) {
            EXPECT_EQ(wb->state, bs_free);
            EXPECT_EQ(wb->end - wb->first, static_cast<ptrdiff_t>(session.wbsize));
            EXPECT_EQ(reinterpret_cast<uintptr_t>(wb->first) % word, 0u);
            if (behind != nullptr) { // the last built stands first
                EXPECT_LE(wb->end, behind);
            }
            behind = wb->first;
        }
        EXPECT_EQ(blocks, workblockcount);
        EXPECT_GE(session.tfrecnext, session.freewbs->end);
        EXPECT_GE(session.tfrecroom,
                  tempfileroom * (sizeof(tempfile) + strlen(longname) + platform::maxpath));
        if (form == 'r') {
            EXPECT_GE(reinterpret_cast<uint8_t *>(session.carrytab),
                      session.tfrecnext + session.tfrecroom);
            EXPECT_EQ(session.carrytab->length, 0u);
            EXPECT_GE(session.sortnext, session.carrytab->bytes + 101);
        } else {
            EXPECT_EQ(session.sortnext, session.tfrecnext + session.tfrecroom);
        }
        EXPECT_EQ(session.arenanext, session.sortnext);
        const auto *lastslot = reinterpret_cast<uint8_t *>(session.slotfirst) +
                               size_t{session.slotstride} * session.slotcount;
        EXPECT_LE(lastslot, end);
        EXPECT_GT(lastslot + session.slotstride + sizeof(slot *), end); // no slot wasted
    }
}

// A record that needs more than a twentieth of the storage sizes the block; two of
// its internal records size the WBs.
TEST(BlockFlow, BigRecords) {
    sortrig session(1 << 17);
    session.fixed(9001);
    session.keys({charkey(0, 8)});
    ASSERT_NE(session.open(), nullptr);
    EXPECT_EQ(session.inblklen, 9001u);
    EXPECT_EQ(session.wbsize, 2 * session.intreclen);

    // Four-byte records: the nodes of the final merge are what needs room.
    sortrig tiny;
    tiny.fixed(4);
    tiny.keys({charkey(0, 4)});
    ASSERT_NE(tiny.open(), nullptr) << tiny.lastmsg;
    EXPECT_GE(tiny.frozenlimit, 1u);
    EXPECT_LT(tiny.frozenlimit, tiny.slotcount);
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

// The buffer that served input serves output, with whole output records.
TEST(BlockFlow, OutputLengthAfterInput) {
    sortrig session;
    session.fixed(100);
    session.rebuild({"0+30"});
    session.keys({charkey(0, 4)});
    blockhdr *block = session.open();
    ASSERT_NE(block, nullptr);
    EXPECT_EQ((block->end - block->first) % 100, 0);
    block = endinput(&session, block);
    ASSERT_NE(block, nullptr);
    EXPECT_EQ(block->end - block->first, static_cast<ptrdiff_t>(session.outblklen));
    EXPECT_EQ(session.outblklen % 30, 0u);
    EXPECT_EQ(session.freeblocks, nullptr);
    EXPECT_EQ(session.stringcount, 0u);
    block = drawblock(&session, block);
    ASSERT_NE(block, nullptr);
    EXPECT_EQ(block->state, bs_write);
    EXPECT_EQ(block->count, 0u);
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

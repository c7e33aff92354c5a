// Indexed files: what they say of themselves, in sound and in spoilt ones, and
// the keys of an output.
#include "file/idxoutkeys.h"
#include "support/idxrig.h"
#include "support/indexfile.h"
#include "support/tempfolder.h"

#include <cstring>
#include <functional>
#include <gtest/gtest.h>
#include <vector>

namespace kvern::test {

namespace {

using spoil = std::function<void(std::string &)>;

spoil byte(size_t at, int value) {
    return [=](std::string &data) { putbig(data, at, static_cast<uint32_t>(value), 1); };
}
spoil word(size_t at, uint32_t value) {
    return [=](std::string &data) { putbig(data, at, value, 2); };
}
spoil number(size_t at, uint32_t value) {
    return [=](std::string &data) { putbig(data, at, value, 4); };
}
spoil cut(size_t length) {
    return [=](std::string &data) { data.resize(length); };
}
spoil grown(size_t length, const spoil &other) {
    return [=](std::string &data) {
        data.resize(length);
        other(data);
    };
}
spoil both(const spoil &one, const spoil &other) {
    return [=](std::string &data) {
        one(data);
        other(data);
    };
}

// 20 parts in blocks of 292: one in block 0, then 7, 7, 5.
std::string chained() {
    return indexfile(292, std::vector<indexpart>(20, {3, 4}));
}
constexpr size_t block1 = 292, block2 = 584;

struct reading : testing::Test {
    tempfolder folder;

    std::string disk(const std::string &data) {
        writefile(folder.file("indexed"), data);
        return folder.file("indexed");
    }
};

} // namespace

TEST_F(reading, spoilt_files) {
    const std::string one = indexfile(512, {{0, 4, 2}, {8, 2, 3}, {10, 254}});
    const struct {
        int line;
        uint32_t message, detail; // of the first report; message 0: none
        std::string data;
        spoil how;
        uint8_t form = 'f';
    } rows[] = {
        {__LINE__, 0, 0, one, cut(364)},
        {__LINE__, 35, 200, one, byte(1, 0)},
        {__LINE__, 35, 200, one, byte(9, 'G')},
        {__LINE__, 35, 200, one, cut(0)},
        {__LINE__, 35, 200, one, cut(9)},
        {__LINE__, 32, 208, one, cut(19)}, // what is not there counts as zero
        {__LINE__, 35, 200, one, cut(26)},
        {__LINE__, 35, 200, one, cut(256)},
        {__LINE__, 32, 208, one, word(16, 101)},
        {__LINE__, 32, 208, one, both(word(16, 0), word(18, 0))},
        {__LINE__, 15, 206, one, word(16, 99)},
        {__LINE__, 0, 0, one, word(16, 99), 'v'},
        {__LINE__, 15, 206, one, cut(364), 'v'},
        {__LINE__, 15, 206, one, cut(364), 'r'},
        {__LINE__, 15, 206, one, both(word(16, 99), byte(20, 0))}, // the lengths come first
        {__LINE__, 32, 208, one, byte(20, 0)},
        {__LINE__, 32, 208, one, byte(20, 3)},
        {__LINE__, 32, 208, one, byte(23, 0)},
        {__LINE__, 32, 208, one, byte(23, 255)},
        {__LINE__, 0, 0, one, both(byte(20, 2), byte(23, 2))},
        {__LINE__, 32, 208, one, byte(25, 0)},
        {__LINE__, 32, 208, one, byte(32, 1)}, // no other block size
        {__LINE__, 0, 0, one, byte(35, 1)},    // the lowest bit in the order of the host
        {__LINE__, 0, 0, one, both(byte(32, 0xFF), both(word(30, 400), word(26, 0)))},
        {__LINE__, 35, 200, one, both(byte(32, 1), word(30, 41))},
        {__LINE__, 35, 200, one, word(26, 0)},
        {__LINE__, 35, 200, one, word(26, 1)},
        {__LINE__, 35, 200, one, word(26, 41)},
        {__LINE__, 0, 0, one, word(26, 65535)},
        {__LINE__, 0, 231, one, word(26, 42)}, // block 0 without an entry, and no other
        {__LINE__, 0, 231, one, word(26, 363)},
        {__LINE__, 0, 0, one, word(26, 364)}, // the entries end where the block does
        {__LINE__, 35, 200, one, word(258, 0)},
        {__LINE__, 35, 200, one, word(330, 255)},
        {__LINE__, 35, 200, one, word(330, 0x101)}, // all of the length counts
        {__LINE__, 35, 200, one, byte(332, 4)},
        {__LINE__, 0, 0, one, byte(333, 255)}, // not read
        {__LINE__, 0, 0, one, both(grown(512, byte(25, 4)), word(366, 9))},
        {__LINE__, 35, 200, one, byte(25, 255)},

        {__LINE__, 0, 0, chained(), number(2, 1)},
        {__LINE__, 35, 200, chained(), number(42, 2)}, // a block behind the last one
        {__LINE__, 35, 200, chained(), number(2, 4)},
        {__LINE__, 35, 200, chained(), both(number(2, 4), number(42, 4))}, // behind the file
        {__LINE__, 35, 200, chained(), both(number(2, ~0U), number(42, ~0U))},
        {__LINE__, 35, 200, chained(), byte(block1 + 1, 2)},
        {__LINE__, 35, 200, chained(), word(block2 + 8, 0)},
        {__LINE__, 0, 231, chained(), number(block2 + 2, 0)},
        {__LINE__, 0, 0, chained(), both(byte(25, 255), number(block2 + 2, 2))}, // in a circle
        {__LINE__, 0, 0, chained(), both(byte(25, 1), number(2, 999))},          // not looked at
        {__LINE__, 0, 0, indexfile(42, {{1, 2}}), number(42, 7)},
    };
    for (const auto &c : rows) {
        SCOPED_TRACE(c.line);
        std::string data = c.data;
        c.how(data);
        const std::string path = disk(data);
        idxrig alone(path.c_str(), c.form);
        EXPECT_EQ(alone.read(), c.detail == 0 ? 0 : -1);
        EXPECT_EQ(alone.ctx.lastmsg, c.message);
        EXPECT_EQ(alone.ctx.errdetail, c.message != 0 ? c.detail : 0);
    }
}

TEST_F(reading, what_a_file_says) {
    std::vector<indexpart> parts = {{0x1234, 254, 2}, {8, 2, 2}, {9, 1, 0},
                                    {20, 3, 1},       {5, 6, 3}, {7, 8, 1}};
    // As many entries in every block; behind a full block, and in the first block.
    for (const uint32_t size : {42U, 77U, 78U, 291U, 292U, 364U, 472U, 65535U}) {
        const std::string path = disk(indexfile(size, parts, 20, 0x2345));
        idxrig r(path.c_str(), 'v');
        ASSERT_EQ(r.read(), 0) << size;
        const idxinfo &info = r.info;
        EXPECT_EQ(info.minreclen * 10 + info.keycount, 203U);
        EXPECT_EQ(info.maxreclen, 0x2345U);
        EXPECT_EQ(info.keypartcount * 10 + info.dupkeycount, 62U);
        EXPECT_EQ(info.blocksize, size);
        EXPECT_EQ(info.openattr[0] * 10 + info.openattr[1], 57);
        EXPECT_EQ(info.variablerecs, 1);
        EXPECT_EQ(memcmp(info.keynumber, "\0\0\0\1\2\2", 6), 0) << size;
        EXPECT_EQ(memcmp(info.keyparts,
                         "\xFE\x20\x34\x12\x02\x20\x08\x00\x01\x00\x09\x00"
                         "\x03\x10\x14\x00\x06\x30\x05\x00\x08\x10\x07\x00",
                         24),
                  0)
            << size;
    }
}

TEST(outkeys, of_an_indexed_output) {
    using keylist = std::vector<KVRNOKEYE>;
    const auto part = [](uint32_t at, uint32_t length, uint8_t flags = 0x50, uint8_t type = 161,
                         uint8_t order = 16) {
        return KVRNOKEYE{at, length, type, order, flags, 0};
    };
    struct described : idxoutkeys {
        qha5ctx ctx{};
        std::vector<uint8_t> room = std::vector<uint8_t>(1020);
        int result;

        explicit described(const keylist &of, uint32_t options = 0) : idxoutkeys{} {
            std::vector<uint64_t> table(1 + of.size() * 2);
            auto *head = reinterpret_cast<KVRNOKEY *>(table.data());
            head->options = options;
            head->count = static_cast<uint32_t>(of.size());
            if (!of.empty())
                memcpy(static_cast<void *>(head->entry), of.data(), of.size() * sizeof of[0]);
            filectl file{};
            file.name = "out";
            ctx.msgtable = qha9msgt;
            ctx.filetypes = head;
            ctx.keyspecbuf = room.data();
            result = buildoutkeys(&ctx, &file, this);
        }
    };
    const struct {
        int line;
        bool good;
        keylist table;
    } rows[] = {
        {__LINE__, false, {}},
        {__LINE__, true, keylist(254, part(0, 1))},
        {__LINE__, true, keylist(255, part(0, 0))},
        {__LINE__, false, keylist(256, part(0, 0))},
        {__LINE__, true, {part(32760, 254)}},
        {__LINE__, false, {part(32761, 1)}},
        {__LINE__, false, {part(0, 255)}},
        {__LINE__, false, {part(0, 127), part(0, 128)}},
        {__LINE__, false, {part(0, ~0U), part(0, 2)}},
        {__LINE__, true, {part(0, 1, 0x12)}},
        {__LINE__, true, {part(0, 1, 0x14)}},
        {__LINE__, false, {part(0, 1, 0x16)}},
        {__LINE__, false, {part(0, 1, 0x40), part(0, 1, 0x60)}}, // none of them primary
        {__LINE__, true, {part(0, 1, 0x40), part(0, 1, 0x10)}},
        {__LINE__, true, {part(0, 1, 0x10, 0xA1, 32)}},
        {__LINE__, false, {part(0, 1, 0x10, 0xA1, 0)}},
        {__LINE__, false, {part(0, 1, 0x10, 0xA1, 48)}},
        {__LINE__, true, {part(0, 1, 0x10, 0xB1)}}, // contains the bits of one that is listed
        {__LINE__, true, {part(0, 1, 0x10, 0xFF)}},
        {__LINE__, false, {part(0, 1, 0x10, 0xA4)}},
        {__LINE__, false, {part(0, 1, 0x10, 0xC1)}},
        {__LINE__, false, {part(0, 1), part(0, 1, 0, 0)}},
    };
    for (const auto &c : rows) {
        SCOPED_TRACE(c.line);
        const described r(c.table);
        EXPECT_EQ(r.result, c.good ? 0 : -1);
        EXPECT_EQ(r.ctx.lastmsg, c.good ? 0U : 15U);
        EXPECT_EQ(r.ctx.errdetail, c.good ? 0U : uint32_t{KVRN_D_FILEMANAGER});
    }

    const described r({part(0x1234, 3, 0x12), part(9, 2), part(7, 4, 0x42)});
    EXPECT_EQ(r.bytes, 12U);
    EXPECT_EQ(memcmp(r.parts, "\x03\x30\x34\x12\x02\x00\x09\x00\x04\x10\x07\x00", 12), 0);
    for (const uint32_t options : {0U, 1U, 8U, 9U, 0xF6U, 0x900U}) {
        const described attributes({part(0, 1)}, options);
        EXPECT_EQ(attributes.indexattr[0], (options & 8) != 0 ? 2 : 1) << options;
        EXPECT_EQ(attributes.indexattr[1], (options & 1) != 0 ? 2 : 1) << options;
    }
}

} // namespace kvern::test

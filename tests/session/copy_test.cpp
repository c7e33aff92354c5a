// Copies from files to a file: what the random sessions do not aim at.
#include "handmade.h"
#include "support/tempfolder.h"

#include <gtest/gtest.h>

#include <cstddef>

namespace kvern::test {
namespace {

using namespace std::string_literals;
using strings = std::vector<std::string>;

enum class mode : uint8_t { fixed, columns, fields };
struct filter { // of the first byte or field
    uint8_t op;
    const char *literal;
};
struct piece {
    uint32_t position, length;
    const char *literal; // or null
};

struct copycase {
    const char *what;
    mode form;
    uint32_t reclen; // text: with the delimiter
    uint8_t linedlmt;
    uint8_t kind;
    std::vector<filter> where;
    std::vector<piece> pieces;
    strings inputs;
    std::string output; // of a copy that succeeds
    uint32_t detail;    // of one that does not
};

class copies : public ::testing::Test {
  protected:
    tempfolder folder;
    KVRNSEL selection = {};
    KVRNOPT options = {};
    std::vector<uint64_t> listroom, pieceroom;
    strings paths;

    KVRNFLST *listof(const strings &inputs) {
        listroom.assign(inputs.size() + 1, 0);
        auto *list = reinterpret_cast<KVRNFLST *>(listroom.data());
        paths.clear();
        for (size_t i = 0; i < inputs.size(); ++i) {
            paths.push_back(folder.file("in" + std::to_string(i)));
            writefile(paths.back(), inputs[i]);
        }
        for (const std::string &path : paths) {
            const char *text = path.c_str();
            std::memcpy(&list->path[0] + list->count++, &text, sizeof text);
        }
        return list;
    }

    void settle(handmade &s, const copycase &c) {
        s.prim.function = KVRN_COPY;
        s.prim.recoprat = 0;
        s.prim.reclen = c.reclen;
        if (c.form != mode::fixed)
            s.astext(c.linedlmt);
        if (c.form == mode::fields)
            s.prim.fieldmode = KVRN_FIELDS;
        options = {};
        if (!c.where.empty()) {
            const filter &test = c.where[0];
            selection.count = 1;
            selection.entry[0] = {};
            KVRNSELE &cond = selection.entry[0];
            cond.op = test.op;
            cond.ltype = KVRN_CHAR;
            cond.llen = 1;
            cond.rtype = KVRN_FLD_LIT;
            cond.rlit = test.literal;
            cond.rlen = static_cast<uint32_t>(std::strlen(test.literal));
            cond.iftrue = KVRN_GO_KEEP;
            cond.iffalse = KVRN_GO_DROP;
            options.sel = &selection;
            s.prim.options |= KVRN_SELECT;
        }
        if (!c.pieces.empty()) {
            pieceroom.assign(1 + 3 * c.pieces.size(), 0);
            auto *table = reinterpret_cast<KVRNRCN *>(pieceroom.data());
            for (const piece &one : c.pieces) {
                KVRNRCNE entry = {};
                if (one.literal)
                    entry.literal = one.literal;
                else
                    entry.position = one.position;
                entry.length = one.length;
                entry.type = one.literal ? KVRN_FLD_LIT : KVRN_FLD_COPY;
                std::memcpy(&table->entry[0] + table->count++, &entry, sizeof entry);
            }
            options.rcn = table;
            s.prim.options |= KVRN_RECONSTRUCT;
        }
    }

    // Result of the open; the close must tell of no imbalance.
    int run(handmade &s, const copycase &c) {
        settle(s, c);
        KVRNFTYP types = {1, {c.kind}};
        s.files.infiles = listof(c.inputs);
        s.files.intypes = &types;
        const std::string output = folder.file("out");
        s.files.outfile = output.c_str();
        const int opened =
            kvrnopen(s.version, &s.link, &s.prim, &s.sess, nullptr, &s.files, &options);
        const uint32_t detail = s.sess.detail;
        EXPECT_EQ(s.close(), 0);
        EXPECT_EQ(s.sess.detail, detail);
        return opened;
    }

    void expect(const copycase &c, uint32_t memsize = 0) {
        SCOPED_TRACE(c.what);
        handmade s;
        s.prim.memsize = memsize;
        EXPECT_EQ(run(s, c), c.detail == 0 ? 0 : -1);
        EXPECT_EQ(s.sess.detail, c.detail);
        if (c.detail == 0) {
            EXPECT_TRUE(readfile(folder.file("out")) == c.output);
        }
    }
};

constexpr uint8_t plain = KVRN_FILE_PLAIN, descr = KVRN_FILE_DESCRIPTOR;
constexpr uint8_t lf = KVRN_DLMT_LF, cr = KVRN_DLMT_CR, crlf = KVRN_DLMT_CRLF;

using enum mode;
const std::vector<filter> isb = {{KVRN_OP_EQ, "b"}}, notx = {{KVRN_OP_NE, "x"}};

// clang-format off
const std::vector<copycase> copycases = {
    // As it stands
    {"inputs in turn", fixed, 2, 0, plain, {}, {}, {"abcd", "", "ef"}, "abcdef", 0},
    {"torn", fixed, 2, 0, plain, {}, {}, {"abc"}, "", 200},
    {"lines of any length", columns, 4, lf, plain, {}, {}, {"abcdef\n\ng\n", "h"}, "abcdef\n\ng\nh\n", 0},
    {"not counted", columns, 9, cr, plain, {}, {}, {"a\rb\r"}, "a\rb\r", 0},
    {"end mark", columns, 9, crlf, plain, {}, {}, {"a\r\n\x1Azz", "b\r\n"}, "a\r\nb\r\n\x1A", 0},
    {"no delimiter", columns, 9, crlf, descr, {}, {}, {"a\nb\n"}, "a\nb\n", 0},
    // Selected
    {"the first input dropped", fixed, 2, 0, plain, isb, {}, {"a1a2", "b3a4b5"}, "b3b5", 0},
    {"all dropped", columns, 9, crlf, descr, isb, {}, {"a\r\nc\r\n", "d\r\n"}, "", 0},
    {"longest line", columns, 5, lf, plain, notx, {}, {"abcd\nx\na\n"}, "abcd\na\n", 0},
    {"line too long", columns, 5, lf, plain, notx, {}, {"abcde\na\n"}, "", 111},
    {"zero bytes", columns, 9, lf, plain, notx, {}, {"ab\0cd\nx\0\0y\nz\n"s}, "ab\0cd\nz\n"s, 0},
    {"zero bytes by field", fields, 9, lf, plain, notx, {}, {"a\0 b\nx x\0y\n"s}, "a\0 b\n"s, 0},
    {"carriage returns", columns, 9, cr, plain, notx, {}, {"a\rx\rb\r"}, "a\rb\r", 0},
    {"other line ends", columns, 9, crlf, descr, notx, {}, {"a\nb\n"}, "", 117},
    {"at the last line", columns, 9, crlf, descr, isb, {}, {"a\r\nb\n"}, "", 117},
    {"nothing to compare", columns, 9, lf, plain, notx, {}, {"a\n\n"}, "", 66},
    // Rebuilt
    {"shorter", fixed, 4, 0, plain, {}, {{2, 2, nullptr}, {0, 1, "-"}}, {"abcd", "efgh"}, "cd-gh-", 0},
    {"by what is left out", fixed, 2, 0, plain, isb, {{1, 1, nullptr}}, {"a1b2", "b3"}, "23", 0},
    {"columns", columns, 9, crlf, plain, {}, {{1, 2, nullptr}, {0, 2, "--"}}, {"abc\r\ndefg\r\n"}, "bc--\r\nef--\r\n", 0},
    {"fields cut", fields, 19, lf, plain, {}, {{1, 4, nullptr}, {0, 1, nullptr}}, {"a b\n1 23456 7\n"}, "b a\n2345 1\n", 0},
    {"no first byte", columns, 9, lf, plain, {}, {{0, 1, nullptr}}, {"a\n\nb\n"}, "", 67},
    {"literals alone", columns, 9, lf, plain, {}, {{0, 1, "-"}}, {"a\n\nb\n"}, "-\n-\n-\n", 0},
    {"piece missing", fields, 9, lf, plain, {}, {{1, 4, nullptr}}, {"a\n"}, "", 67},
    {"other line ends rebuilt", columns, 9, crlf, descr, {}, {{0, 1, nullptr}}, {"a\nb\n"}, "", 117},
};
// clang-format on

TEST_F(copies, table) {
    for (const copycase &c : copycases)
        expect(c);
}

// Records that do and do not divide a block, many blocks at both ends.
TEST_F(copies, block_after_block) {
    for (const uint32_t reclen : {1u, 7u, 100u, 16000u}) {
        std::string records, kept, rebuilt;
        for (uint32_t i = 0; records.size() < 200000; ++i) {
            std::string record(reclen, static_cast<char>('a' + i * 7 % 26));
            records += record;
            if (record[0] >= 'm')
                kept += record;
            rebuilt += record + record[0];
        }
        const copycase as_is = {"as it stands",     mode::fixed,       reclen, 0, plain, {}, {},
                                {records, records}, records + records, 0};
        expect(as_is, KVRN_MEM_MIN);
        copycase c = as_is;
        c.where = {{KVRN_OP_GE, "m"}};
        c.output = kept + kept;
        expect(c, KVRN_MEM_MIN);
        c.where.clear();
        c.pieces = {{0, reclen, nullptr}, {0, 1, nullptr}};
        c.output = rebuilt + rebuilt;
        expect(c, KVRN_MEM_MIN);
    }
    std::string lines, kept;
    for (uint32_t i = 0; lines.size() < 200000; ++i) {
        const std::string line =
            std::string(i * 13 % 300, static_cast<char>('a' + i % 26)) + "#\r\n";
        lines += line;
        if (line[0] >= 'm')
            kept += line;
    }
    const copycase as_is = {"lines", mode::columns,  303,           crlf, plain, {},
                            {},      {lines, lines}, lines + lines, 0};
    expect(as_is, KVRN_MEM_MIN);
    copycase c = as_is;
    c.where = {{KVRN_OP_GE, "m"}};
    c.output = kept + kept;
    expect(c, KVRN_MEM_MIN);
}

TEST_F(copies, no_room_for_two_blocks) {
    copycase c = {"short", mode::fixed, 32700, 0, plain, {}, {}, {""}, "", 240};
    expect(c, KVRN_MEM_MIN);
    c.detail = 0;
    expect(c, 1 << 20);
}

} // namespace
} // namespace kvern::test

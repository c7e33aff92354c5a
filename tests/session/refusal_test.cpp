// What kvrnopen refuses: a change to a sound session, the detail, the number of the
// message and its argument; of two faults the one that is told.
#include "support/tempfolder.h"

#include "kvern.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <deque>
#include <functional>
#include <optional>
#include <vector>

namespace kvern::test {
namespace {

constexpr uint32_t toomany = 0xFFFFFFFF, L0 = KVRN_VERSION_L0, L1 = 0x10100000, L3 = 0x11200000,
                   L2 = KVRN_VERSION_L2, L2old = KVRN_VERSION_L2_OLDDLMT, L4 = KVRN_VERSION_L4;

// Message 0: none; the argument is what stands in brackets.
struct verdict {
    int result;
    uint32_t msg, detail;
    std::string arg;
    bool operator==(const verdict &) const = default;
};
std::ostream &operator<<(std::ostream &out, const verdict &v) {
    return out << v.result << " msg " << v.msg << " detail " << v.detail << " (" << v.arg << ")";
}
verdict refused(uint32_t msg, uint32_t detail, const std::string &arg = "") {
    return {-1, msg, detail, arg};
}
verdict badprim(const char *field = "") {
    return refused(14, KVRN_D_PRIM, field);
}
verdict badkey(const char *entry) {
    return refused(7, KVRN_D_KEYFIELD, entry);
}
verdict badsum(const char *entry) {
    return refused(8, KVRN_D_SUMFIELD, entry);
}
verdict badrcn(const char *entry) {
    return refused(9, KVRN_D_RCNFIELD, entry);
}
verdict badsel(const char *entry) {
    return refused(10, KVRN_D_SELFIELD, entry);
}
const verdict accepted{0, 0, 0, ""}, silent{-1, 0, 0, ""};
const verdict noroom = refused(23, KVRN_D_STORAGE), nosetup = refused(23, KVRN_D_SETUP),
              overlap = refused(16, KVRN_D_SAMEFIELD), badfiles = refused(15, KVRN_D_FILEBLOCK),
              exclusive = refused(14, KVRN_D_EXCLUSIVE), nolength = refused(31, KVRN_D_NORECLEN),
              unsupported = refused(17, KVRN_D_UNSUPPORTED);

KVRNKEYE key(uint32_t position, uint32_t length, uint8_t type = 161, uint8_t order = 16,
             uint8_t kanjiconv = 0) {
    return {position, length, type, order, 0, kanjiconv, nullptr};
}
KVRNSUME sum(uint32_t at, uint32_t length, uint8_t type = KVRN_ZONED) {
    return {at, length, type, {}};
}
KVRNRCNE piece(uint32_t at, uint32_t length, uint8_t type = KVRN_FLD_COPY) {
    return {{at}, length, type, {}};
}
KVRNRCNE literal(const char *text, uint32_t length) {
    KVRNRCNE entry = piece(0, length, KVRN_FLD_LIT);
    entry.literal = text;
    return entry;
}
KVRNSELE cond(uint8_t ltype, uint32_t llen, uint8_t rtype, uint32_t rlen, uint32_t lpos = 0,
              uint32_t rpos = 0) {
    return {KVRN_OP_EQ, ltype,        rtype,        0, lpos, llen, {rpos},
            rlen,       KVRN_GO_KEEP, KVRN_GO_DROP, 0, 0,    0,    0};
}
KVRNSELE compared(uint8_t ltype, uint32_t llen, const char *text, uint32_t rlen) {
    KVRNSELE entry = cond(ltype, llen, KVRN_FLD_LIT, rlen);
    entry.rlit = text;
    return entry;
}

// A sort of fixed records of 100 bytes through the record calls, to be changed.
struct session {
    uint32_t version = L4;
    KVRNPRIM prim{};
    KVRNKEY *keys = nullptr;
    KVRNFILE files{};
    KVRNOPT opts{};

    session() {
        prim.function = KVRN_SORT;
        prim.recform = KVRN_FIXED;
        prim.reclen = 100;
    }
    session(const session &) = delete;

    // The caller's blocks; `count` makes a table lie about its entries.
    template <class Table, class Entry>
    Table *table(const std::vector<Entry> &entries, uint32_t count = 0) {
        auto *made =
            static_cast<Table *>(room(offsetof(Table, entry) + entries.size() * sizeof(Entry)));
        made->count = count != 0 ? count : static_cast<uint32_t>(entries.size());
        std::copy(entries.begin(), entries.end(), made->entry);
        return made;
    }
    void keyed(const std::vector<KVRNKEYE> &e, uint32_t n = 0) { keys = table<KVRNKEY>(e, n); }
    void sums(const std::vector<KVRNSUME> &e, uint32_t count = 0) {
        prim.options |= KVRN_SUM;
        opts.sum = table<KVRNSUM>(e, count);
    }
    void select(const std::vector<KVRNSELE> &e, uint32_t count = 0) {
        prim.options |= KVRN_SELECT;
        opts.sel = table<KVRNSEL>(e, count);
    }
    void rebuild(const std::vector<KVRNRCNE> &e, uint32_t count = 0) {
        prim.options |= KVRN_RECONSTRUCT;
        opts.rcn = table<KVRNRCN>(e, count);
    }
    void text(uint8_t mode, uint8_t delimiter = KVRN_DLMT_LF) {
        prim.recform = KVRN_VARIABLE;
        prim.fieldmode = mode;
        prim.linedlmt = delimiter;
    }

    // Names of files in a folder of its own, in which "a" and "b" are there and empty.
    KVRNFLST *paths(const std::vector<const char *> &names, uint32_t count = 0) {
        auto *made = static_cast<KVRNFLST *>(room(sizeof(KVRNFLST) + 8 * names.size()));
        made->count = count != 0 ? count : static_cast<uint32_t>(names.size());
        for (size_t i = 0; i < names.size(); i++)
            made->path[i] = names[i] == nullptr ? nullptr : infolder(names[i]);
        return made;
    }
    void inputs(const std::vector<const char *> &names, uint32_t count = 0) {
        for (const char *name : {"a", "b"})
            writefile(infolder(name), "");
        files.infiles = paths(names, count);
    }
    void kind(uint8_t code) {
        files.intypes = static_cast<KVRNFTYP *>(room(sizeof(KVRNFTYP)));
        files.intypes->count = 1;
        files.intypes->kind[0] = code;
    }
    void output(const char *name, uint8_t code = 0) {
        files.outfile = infolder(name), files.outtype = code;
    }
    void twofiles(uint8_t function, const char *out = "out") {
        prim.function = function;
        prim.mergecnt = 2;
        inputs({"a", "b"});
        output(out);
    }

    // What the opening came to; level 1 is the engine's alone.
    verdict opened() {
        KVRNLINK link{};
        KVRNSESS sess{};
        if (prim.recoprat == 0)
            prim.recoprat = static_cast<uint8_t>((files.infiles == nullptr ? 1 : 0) |
                                                 (files.outfile == nullptr ? 2 : 0));
        verdict told{(version == L1 ? qha5init : kvrnopen)(version, &link, &prim, &sess, keys,
                                                           &files, &opts),
                     0, sess.detail, ""};
        char line[600] = "";
        (void)kvrntext(&sess, line, sizeof line);
        const std::string text = line;
        const size_t open = text.find('(');
        if (told.result != 0 && sscanf(line, "KVERN:%u:", &told.msg) == 1 && open < text.size())
            told.arg = std::filesystem::path(text.substr(open + 1, text.find(')') - open - 1))
                           .filename()
                           .string();
        (void)(version == L1 ? qha5term(&prim, &sess) : kvrnclse(version, &link, &prim, &sess));
        return told;
    }

  private:
    std::optional<tempfolder> folder;
    std::deque<std::string> texts;
    std::deque<std::vector<uint64_t>> store;

    const char *infolder(const char *name) {
        if (!folder)
            folder.emplace();
        return texts.emplace_back(folder->file(name)).c_str();
    }
    void *room(size_t bytes) { return store.emplace_back((bytes + 7) / 8).data(); }
};

// One row of a table, named by its own change.
struct change {
    const char *name;
    verdict expected;
    std::function<void(session &)> make;
};
#define ROW(expected, ...)                                                                         \
    {                                                                                              \
#__VA_ARGS__, expected, [=]([[maybe_unused]] session & r) { __VA_ARGS__; }                 \
    }
void run(const std::vector<change> &cases) {
    for (const change &c : cases) {
        session r;
        c.make(r);
        EXPECT_EQ(r.opened(), c.expected) << c.name;
    }
}

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
        {code, "cdmode", L0, {236, 1}, {}}, // not read
        {alt, "altmode", L4, {0, 1, 2}, {3, 255}},
        {alt, "altmode", L3, {3}, {}},
        {dlmt, "linedlmt", L1, {0, 1, 2, 3}, {4, 255}},
        {dlmt, "linedlmt", L2, {0, 1, 2, 3}, {4}},
        {dlmt, "linedlmt", L0, {4}, {}},
        {dlmt, "linedlmt", L2old, {4}, {}},
        {&KVRNPRIM::keyoption2, "linedlmt", L2old, {0, 1, 2, 3}, {4}},
        {mode, "fieldmode", L4, {0, 243, 244}, {1, 242, 245}},
        {mode, "fieldmode", L0, {1, 243}, {}},
    };
    for (const auto &c : rows)
        for (const bool fine : {true, false})
            for (const int value : fine ? c.good : c.bad) {
                session r;
                r.version = c.version;
                r.prim.recform = KVRN_VARIABLE;
                r.prim.mergecnt = 2;
                r.prim.*c.byte = static_cast<uint8_t>(value);
                EXPECT_EQ(r.opened(), fine ? accepted : badprim(c.field))
                    << c.field << " " << value << " " << std::hex << c.version;
            }
}

TEST(refusal, first_faulty_option_is_told) {
    // Each line adds a fault that stands before those above it.
    const std::pair<const char *, void (*)(KVRNPRIM &)> faults[] = {
        {"recform", [](KVRNPRIM &p) { p.fieldmode = 243; }}, // text asked for with 'f'
        {"fieldmode", [](KVRNPRIM &p) { p.fieldmode = 1; }},
        {"linedlmt", [](KVRNPRIM &p) { p.separator = "a\r\nb"; }},
        {"altmode", [](KVRNPRIM &p) { p.altmode = 3; }},
        {"cdmode", [](KVRNPRIM &p) { p.cdmode = 1; }},
        {"keyoption", [](KVRNPRIM &p) { p.keyoption2 = 2, p.keyoption = 16; }},
        {"recoprat", [](KVRNPRIM &p) { p.recoprat = 5; }},
        {"fileoprat", [](KVRNPRIM &p) { p.fileoprat = 1; }},
        {"recform", [](KVRNPRIM &p) { p.recform = 'r'; }},
        {"function", [](KVRNPRIM &p) { p.function = 0; }},
    };
    KVRNPRIM together = session().prim;
    for (const auto &[field, add] : faults) {
        add(together);
        session r;
        r.prim = together;
        EXPECT_EQ(r.opened(), badprim(field));
    }
}

TEST(refusal, options_and_files) {
    const std::string manyblanks(70000, ' ');
    run({
        ROW(badprim("cdmode"), r.text(243), r.prim.cdmode = 236),
        ROW(accepted, r.version = L1, r.prim.keyoption2 = 2, r.prim.keyoption = 16),
        ROW(accepted, r.prim.separator = "\n\r"), // not the whole delimiter
        ROW(badprim("linedlmt"), r.prim.linedlmt = 1, r.prim.separator = "ab\n"),
        ROW(accepted, r.version = L0, r.prim.separator = "\r\n"),
        ROW(noroom, r.prim.memsize = KVRN_MEM_MIN, r.prim.separator = manyblanks.c_str()),
        ROW(badfiles, r.inputs({"a", nullptr})),
        ROW(silent, r.inputs({"a", nullptr}), r.kind(4)), // the kind before the path
        ROW(badfiles, r.output("o", 4)),                  // no input to imitate
        ROW(accepted, r.inputs({"a"}), r.output("o", 4)),
        ROW(accepted, r.inputs({}), r.files.workfiles = r.paths({})),
        ROW(noroom, r.inputs({"a"}, toomany)),
        ROW(noroom, r.files.workfiles = r.paths({"a"}, toomany)),
        ROW(noroom, r.inputs({"a"}), r.output("o", 18),
            r.files.outkey = r.table<KVRNOKEY, KVRNOKEYE>({}, toomany)),
        ROW(refused(32, 290), r.inputs({"nothing"}), r.kind(18)),
        ROW(refused(35, 200, "a"), r.inputs({"a"}), r.kind(18)),
        ROW(accepted, r.twofiles('s')),
        ROW(accepted, r.twofiles('s'), r.text(244)),
        ROW(badprim(), r.prim.reclen = 0), // record calls
        ROW(nolength, r.twofiles('s'), r.prim.reclen = 0),
        ROW(refused(29, KVRN_D_FORMAT, "b"), r.twofiles('s'), r.prim.recform = 'v'),
        ROW(refused(29, KVRN_D_FORMAT, "out"), r.prim.recform = 'v', r.output("out")),
        ROW(refused(29, KVRN_D_FORMAT), r.prim.recform = 'v', r.prim.fileoprat = KVRN_STDOUT),
        ROW(refused(29, KVRN_D_FORMAT, "stdin"), r.prim.recform = 'v',
            r.prim.fileoprat = KVRN_STDIN),
        ROW(refused(28, KVRN_D_SAMEFILE), r.twofiles('s', "./b")),
        ROW(refused(28, KVRN_D_SAMEFILE), r.twofiles('m', "./b")),
        ROW(refused(28, KVRN_D_SAMEFILE), r.twofiles('c', "./b")),
        ROW(accepted, r.twofiles('s', "./b"), r.prim.fileoprat = KVRN_SAMEFILE),
        ROW(accepted, r.twofiles('s', "./b"), r.prim.fileoprat = KVRN_STDOUT),
        ROW(badprim(), r.twofiles('m'), r.prim.fileoprat = KVRN_SAMEFILE),
        ROW(accepted, r.version = L0, r.twofiles('m'), r.prim.fileoprat = KVRN_SAMEFILE),
    });
    session zero; // level 0 reads one byte otherwise, and hears what it means
    zero.version = L0;
    zero.prim.fileoprat = 1;
    zero.prim.recoprat = 225;
    ASSERT_EQ(zero.opened(), accepted);
    EXPECT_EQ(zero.prim.fileoprat, 19);
    EXPECT_EQ(zero.prim.recoprat, 3);
}

TEST(refusal, options_together) {
    auto with = [](session &r, uint8_t function, int bits) {
        r.twofiles(function);
        r.keyed({key(0, 4)});
        r.sums({sum(10, 4)});
        r.rebuild({piece(0, 50)});
        r.prim.options = static_cast<uint8_t>(bits);
    };
    run({
        ROW(unsupported, r.prim.function = 'm', r.prim.recoprat = 4),
        ROW(unsupported, r.prim.function = 'm', r.prim.recoprat = 9),
        ROW(accepted, r.twofiles('m'), r.prim.recoprat = 12), // blocks mean nothing to files
        ROW(badprim(), r.twofiles('m'), r.prim.mergecnt = 3),
        ROW(badprim(), r.prim.function = 'm'),
        ROW(accepted, r.prim.function = 'm', r.prim.mergecnt = 3),
        ROW(badprim(), r.twofiles('m'), r.prim.mergecnt = 1, r.prim.fileoprat = KVRN_STDIN),
        ROW(unsupported, r.prim.function = 'c', r.output("out")),
        ROW(unsupported, r.prim.function = 'c', r.inputs({"a"})),
        ROW(accepted, with(r, 'c', KVRN_KEEPORDER)),
        ROW(badprim(), with(r, 'c', KVRN_SUPPRESS)),
        ROW(badprim(), with(r, 'c', KVRN_SUM)),
        ROW(badprim(), with(r, 'c', KVRN_DESCENDALL)),
        ROW(exclusive, with(r, 's', KVRN_SUM | KVRN_SUPPRESS)),
        ROW(exclusive, with(r, 's', KVRN_KEEPORDER | KVRN_SUPPRESS)),
        ROW(exclusive, with(r, 'm', KVRN_KEEPORDER | KVRN_SUM)),
        ROW(accepted, with(r, 's', KVRN_SUM)),
        // The order of the groups: files, same file, function, exclusion, rebuild.
        ROW(nolength, r.twofiles('s', "a"), r.prim.reclen = 0),
        ROW(refused(28, KVRN_D_SAMEFILE), r.twofiles('m', "a"), r.prim.mergecnt = 0),
        ROW(badprim(), with(r, 'c', KVRN_SUPPRESS | KVRN_KEEPORDER)),
        ROW(exclusive, with(r, 's', KVRN_SUPPRESS | KVRN_KEEPORDER | KVRN_RECONSTRUCT),
            r.prim.reclen = 49),
    });
}

// The greatest length of each type: as a key, as a sum, and on either side of a condition.
TEST(refusal, lengths_by_use) {
    static const uint8_t codes[256] = {};
    const struct {
        std::vector<uint8_t> types;
        uint32_t least, most, step; // as a key; most 0: none
        uint32_t sum, operand;      // greatest length, 0: none
    } rows[] = {
        {{161, 177}, 1, 999, 1, 256, 256},
        {{203}, 1, 999, 1, 0, 256},
        {{202}, 1, 999, 1, 0, 0},
        {{162}, 1, 256, 1, 18, 256},
        {{165, 166}, 1, 256, 1, 0, 256},
        {{197}, 1, 256, 1, 16, 256},
        {{194, 198, 199}, 1, 256, 1, 8, 256},
        {{163, 164}, 2, 256, 1, 0, 256},
        {{167, 173, 175, 195, 196}, 1, 256, 1, 0, 0},
        {{193}, 1, 255, 1, 0, 255},
        {{222}, 2, 998, 2, 0, 256},
        {{223}, 4, 996, 4, 0, 256},
        {{160, 240, 241}, 1, 0, 1, 0, 0},
    };
    const std::string text(300, 'x');
    for (const auto &c : rows)
        for (const uint8_t type : c.types) {
            const auto opened = [&](auto change) {
                session r;
                r.prim.reclen = 1000;
                r.prim.memsize = KVRN_MEM_MAX;
                if (type == 177)
                    r.prim.cdmode = KVRN_CD_EBCDIC;
                change(r);
                return r.opened() == accepted;
            };
            const auto askey = [&](uint32_t length) {
                return opened([&](session &r) {
                    KVRNKEYE one = key(0, length, type);
                    one.table = codes;
                    r.keyed({one});
                });
            };
            SCOPED_TRACE(+type);
            EXPECT_EQ(askey(c.least), c.most != 0);
            EXPECT_EQ(askey(c.most), c.most != 0);
            EXPECT_FALSE(askey(c.least - 1));
            EXPECT_FALSE(c.most < 900 && askey(c.most + 1));
            for (uint32_t length = c.least + 1; length < c.least + c.step; length++)
                EXPECT_FALSE(askey(length));
            for (const uint32_t length : {c.sum, c.sum + 1})
                EXPECT_EQ(opened([&](session &r) {
                              r.keyed({key(500, 4)}), r.sums({sum(0, length, type)});
                              if (type == 161) // of text alone
                                  r.text(KVRN_COLUMNS), r.opts.sum->entry[0].position = 600;
                          }),
                          length == c.sum && c.sum != 0);
            for (const uint32_t length : {c.operand, c.operand + 1}) {
                const bool fits = length == c.operand && c.operand != 0;
                EXPECT_EQ(opened([&](session &r) { r.select({compared(type, length, "x", 1)}); }),
                          fits);
                if (type == 199) // goes with literals alone
                    continue;
                EXPECT_EQ(
                    opened([&](session &r) { r.select({cond(type, c.least, type, length)}); }),
                    fits);
            }
        }
}

TEST(refusal, keys) {
    run({
        ROW(accepted, r.keyed({key(90, 10)})),
        ROW(badkey("0"), r.keyed({key(90, 11)})),
        ROW(badkey("0"), r.keyed({key(0xFFFFFFFF, 2)})),
        ROW(badkey("1"), r.keyed({key(0, 4, 1), key(0, 0), key(0, 4, 162), key(0, 1)})),
        ROW(badkey("1"), r.keyed({key(0, 4, 161, 32), key(4, 4, 161, 48)})),
        ROW(badkey("0"), r.prim.reclen = 2000, r.keyed({key(0, 257, 162)})),
        ROW(accepted, r.keyed({key(0, 4, KVRN_CHARX)})),
        ROW(badkey("0"), r.version = L3, r.keyed({key(0, 4, KVRN_CHARX)})),
        ROW(badkey("0"), r.keyed({key(0, 4, KVRN_CHARX, 16, 2)})),
        ROW(badkey("0"), r.keyed({key(0, 4, KVRN_TABLED)})), // no table
        ROW(accepted, r.keyed({key(99, 255, KVRN_MASKBYTE)})),
        ROW(badkey("0"), r.keyed({key(100, 255, KVRN_MASKBYTE)})),
        ROW(badkey("0"), r.keyed({key(5000000, 1, KVRN_MASKBYTE)})),
        ROW(badkey("0"), r.text(244), r.keyed({key(0, 4, KVRN_ZONED)})),
        ROW(badkey("0"), r.text(244), r.keyed({key(96, 4)})), // into the delimiter
        ROW(accepted, r.text(243), r.keyed({key(500, 100)})),
        ROW(badkey("0"), r.rebuild({piece(0, 50)}), r.keyed({key(45, 6)})),
        // Fields that no piece names, told upwards and before all else.
        ROW(badkey("1"), r.text(243), r.rebuild({piece(5, 9)}),
            r.keyed({key(5, 4), key(7, 4), key(9, 4), key(3, 0)})),
        ROW(noroom, r.keyed({}, toomany)),
        ROW(noroom, r.text(243), r.keyed({}, toomany)),
        ROW(badkey("0"), r.prim.cdmode = 236, r.prim.keyoption2 = 2),
    });
}

TEST(refusal, sums) {
    // A key at 4, length 4, and two fields.
    auto with = [](session &r, uint8_t mode, KVRNSUME a, KVRNSUME b) {
        if (mode != 0)
            r.text(mode);
        r.keyed({key(4, 4)});
        r.sums({a, b});
    };
    constexpr uint8_t t = KVRN_CHAR;
    run({
        ROW(badsum("0"), r.prim.options = KVRN_SUM),
        ROW(badsum("0"), r.sums({})),
        ROW(badsum("0"), r.prim.options = KVRN_SUM | KVRN_RECONSTRUCT),
        ROW(badsum("0"), r.keyed({key(0, 4)}), r.sums({sum(8, 4, 161)})),
        ROW(badsum("1"), r.sums({sum(8, 0), sum(9, 19), sum(10, 4)})),
        ROW(accepted, r.text(244), r.keyed({key(0, 4)}), r.sums({sum(8, 4, 161)})),
        ROW(badsum("0"), r.text(244), r.keyed({key(0, 4)}), r.sums({sum(8, 4)})),
        ROW(overlap, r.sums({sum(8, 4)})), // no key to sum by
        ROW(noroom, r.sums({}, toomany)),
        ROW(accepted, with(r, 0, sum(0, 4), sum(8, 4))),
        ROW(overlap, with(r, 0, sum(20, 4), sum(7, 4))),
        ROW(overlap, with(r, 0, sum(20, 4), sum(2, 10))),
        ROW(overlap, with(r, 0, sum(5, 1), sum(20, 4))),
        ROW(overlap, with(r, 0, sum(20, 4), sum(23, 4))),
        ROW(accepted, with(r, 0, sum(20, 4), sum(96, 4))),
        ROW(badsum("1"), with(r, 0, sum(96, 5), sum(97, 4))), // bound before overlap
        // The length word of variable records counts.
        ROW(accepted, with(r, 0, sum(20, 4), sum(92, 4)), r.prim.recform = 'v'),
        ROW(badsum("1"), with(r, 0, sum(20, 4), sum(93, 4)), r.prim.recform = 'v'),
        ROW(overlap, with(r, 244, sum(20, 4, t), sum(6, 4, t))),
        ROW(overlap, with(r, 243, sum(2, 4, t), sum(2, 4, t))),
        ROW(overlap, with(r, 243, sum(4, 4, t), sum(2, 4, t))),
        ROW(accepted, with(r, 243, sum(3, 4, t), sum(2, 4, t))),
        ROW(badsum("1"), with(r, 0, sum(20, 4), sum(97, 4)),
            r.select({cond(199, 4, 199, 4, 0, 4)})),
    });
}

TEST(refusal, rebuilding) {
    run({
        ROW(badrcn("0"), r.prim.options = KVRN_RECONSTRUCT),
        ROW(badrcn("1"), r.rebuild({piece(0, 4, 1), piece(0, 4, 242), piece(0, 4)})),
        ROW(badrcn("1"), r.rebuild({piece(0, 4), piece(0, 0)})),
        ROW(badrcn("0"), r.rebuild({literal(nullptr, 4)})),
        ROW(noroom, r.rebuild({literal("x", 0xFFFFFFFF)})),
        ROW(noroom, r.rebuild({}, toomany)),
        ROW(badrcn("0"), r.rebuild({piece(90, 11)})),
        ROW(badrcn("0"), r.rebuild({piece(0xFFFFFFFF, 2)})),
        ROW(badrcn("0"), r.text(243), r.keyed({key(0, 4)}), r.rebuild({piece(96, 5)})),
    });
}

// A literal must not hold what ends a line or a field.
TEST(refusal, literals) {
    const struct {
        uint8_t mode;
        const char *separator, *text;
        uint32_t length;
        bool rebuilds, selects;
    } rows[] = {
        {0, nullptr, "\r\n", 2, true, true},      {244, nullptr, "ab\r\nc", 5, false, false},
        {244, nullptr, "ab\r", 3, true, true},    {244, nullptr, "ab\r\n", 3, true, true},
        {244, nullptr, "a\0\r\n", 4, true, true}, {244, nullptr, "a b", 3, true, true},
        {243, nullptr, "  ab", 4, true, true},    {243, nullptr, "a b", 3, false, false},
        {243, nullptr, " \tab", 4, false, true},  {243, nullptr, "ab\t", 3, false, false},
        {243, ",", "a,b", 3, false, false},       {243, ",", "ab,", 3, true, true},
        {243, "::", "a::", 3, true, true},        {243, "::", "::b", 3, false, false},
        {243, ",,,", "a", 1, true, true},         {243, ",", "a b", 3, true, true},
    };
    for (const auto &c : rows)
        for (const bool select : {false, true}) {
            session r;
            if (c.mode != 0)
                r.text(c.mode, KVRN_DLMT_CRLF);
            r.prim.separator = c.separator;
            if (select)
                r.select({compared(161, 4, c.text, c.length)});
            else
                r.rebuild({literal(c.text, c.length)});
            const verdict bad = select ? badsel("0") : badrcn("0");
            EXPECT_EQ(r.opened(), (select ? c.selects : c.rebuilds) ? accepted : bad)
                << c.text << (select ? " selected" : " rebuilt");
        }
}

TEST(refusal, conditions) {
    const KVRNSELE good = cond(161, 1, 161, 1);
    KVRNSELE unknown = good;
    unknown.op = 208;
    run({
        ROW(badsel("0"), r.prim.options = KVRN_SELECT),
        ROW(badsel("0"), r.select({unknown, good})),
        ROW(badsel("0"), r.select({compared(161, 1, nullptr, 1)})),
        ROW(noroom, r.select({}, toomany)),
        ROW(badsel("1"), r.select({good, cond(161, 257, 161, 1), good})),
        ROW(badsel("0"), r.select({cond(161, 1, 161, 0)})),
        ROW(badsel("0"), r.select({cond(241, 1, 161, 1)})),
        ROW(badsel("0"), r.select({compared(161, 1, "", 257)})),
        ROW(accepted, r.prim.cdmode = 236, r.select({compared(177, 1, "", 1)})),
        ROW(badsel("0"), r.version = L3, r.select({compared(177, 1, "", 1)})),
        ROW(badsel("0"), r.prim.cdmode = 238, r.select({compared(177, 4, "abcd", 4)})),
        ROW(badsel("0"), r.prim.cdmode = 236, r.select({compared(161, 4, "abcd", 4)})),
        ROW(accepted, r.select({compared(199, 4, "abcd", 4)})),
        ROW(accepted, r.select({cond(193, 255, 193, 255)})),
        ROW(badsel("0"), r.select({cond(193, 1, 161, 1)})),
        ROW(badsel("0"), r.text(244), r.select({cond(162, 1, 161, 1)})),
        ROW(badsel("0"), r.text(244), r.select({cond(161, 1, 162, 1)})),
        ROW(accepted, r.select({cond(161, 4, 161, 4, 96, 0)})),
        ROW(badsel("0"), r.select({cond(161, 4, 161, 4, 97, 0)})),
        ROW(badsel("1"), r.select({good, cond(161, 4, 161, 4, 0, 97)})),
        ROW(badsel("0"), r.select({cond(161, 4, 161, 4, 0xFFFFFFFE, 0)})),
    });
    // Every pair of types; operands of 4 bytes suit all of them.
    const std::vector<std::vector<uint8_t>> groups = {
        {161}, {177}, {203, 222, 223}, {193}, {194}, {198}, {197, 162}, {163, 164}, {165, 166}};
    std::vector<uint8_t> types = {199};
    for (const auto &group : groups)
        types.insert(types.end(), group.begin(), group.end());
    for (const uint8_t left : types)
        for (const uint8_t right : types) {
            bool fits = false;
            for (const auto &group : groups)
                fits |= std::count(group.begin(), group.end(), left) != 0 &&
                        std::count(group.begin(), group.end(), right) != 0;
            session r;
            r.prim.cdmode = left == 177 ? KVRN_CD_EBCDIC : KVRN_CD_ZONE5;
            r.select({cond(left, 4, right, 4, 0, 8)});
            EXPECT_EQ(r.opened(), fits ? accepted : badsel("0")) << +left << " " << +right;
        }
}

TEST(refusal, outcomes_of_conditions) {
    constexpr uint8_t keep = 230, drop = 231, jump = 232, next = 233;
    auto jumps = [](uint8_t iftrue, uint8_t iffalse, uint32_t to = 0, uint32_t falseto = 0) {
        KVRNSELE entry = cond(161, 1, 161, 1);
        entry.iftrue = iftrue, entry.iffalse = iffalse;
        entry.truejump = to, entry.falsejump = falseto;
        return entry;
    };
    // The first of three entries; the others are in order.
    const std::vector<KVRNSELE> good = {
        jumps(keep, drop),       jumps(drop, keep),    jumps(next, keep),
        jumps(7, keep),          jumps(next, 234),     jumps(jump, keep, 2),
        jumps(drop, jump, 9, 2), jumps(jump, next, 2), jumps(next, jump, 1, 2),
        jumps(jump, jump, 2, 1), jumps(jump, jump)};
    const std::vector<KVRNSELE> bad = {jumps(keep, keep),       jumps(drop, drop),
                                       jumps(next, next),       jumps(7, 8),
                                       jumps(jump, keep, 3),    jumps(jump, keep, 0xFFFFFFFF),
                                       jumps(drop, jump, 0, 3), jumps(jump, next, 1),
                                       jumps(next, jump, 0, 1)};
    for (const auto *list : {&good, &bad})
        for (const KVRNSELE &first : *list) {
            session r;
            r.select({first, jumps(next, drop), jumps(keep, drop)});
            EXPECT_EQ(r.opened(), list == &good ? accepted : badsel("0"))
                << +first.iftrue << " " << +first.iffalse;
        }
    for (const auto &[iftrue, iffalse] : {std::pair{next, keep}, {keep, next}, {jump, keep}}) {
        session r; // the last entry must decide
        r.select({jumps(next, drop), jumps(iftrue, iffalse)});
        EXPECT_EQ(r.opened(), badsel("1"));
    }
    // A jump to entry 232, the number of the code, is refused where both jump.
    for (const uint8_t iffalse : {drop, jump}) {
        session r;
        std::vector<KVRNSELE> many(240, jumps(keep, drop));
        many[4] = jumps(jump, iffalse, 232, 9);
        r.select(many);
        EXPECT_EQ(r.opened(), iffalse == drop ? accepted : badsel("4"));
    }
}

// Lengths at the borders of what a session can hold, and sums of lengths that leave 32 bits.
TEST(refusal, storage) {
    constexpr uint32_t most = KVRN_MEM_MAX, least = KVRN_MEM_MIN, half = 0x80000000;
    auto form = [](session &r, uint32_t length, uint32_t memsize) {
        r.prim.reclen = length;
        r.prim.memsize = memsize;
    };
    run({
        ROW(accepted, form(r, 32716, most)),
        ROW(nosetup, form(r, 32717, most)),
        ROW(nosetup, form(r, 32720, most), r.keyed({key(0, 4)})),
        ROW(accepted, form(r, 16357, most), r.text(244)),
        ROW(nosetup, form(r, 16358, most), r.text(244)),
        ROW(nosetup, form(r, toomany, most), r.prim.recform = 'v'),
        ROW(noroom, form(r, toomany, least), r.rebuild({piece(0, 4)}), r.keyed({key(0, 4)})),
        ROW(noroom, form(r, 30000, least), r.keyed({key(0, 4)})),
        ROW(noroom, form(r, 12000, least), r.keyed({key(0, 4)})),
        ROW(noroom, form(r, 4000, least), r.prim.recform = 'v', r.keyed({key(0, 4)})),
        ROW(noroom, form(r, 1700, least), r.text(244), r.keyed({key(0, 4)})),
        // A place far away is a gap beyond any record.
        ROW(nosetup, r.keyed({key(0, 4)}), r.sums({sum(0x10000000, 4)})),
        ROW(nosetup, r.prim.recform = 'v', r.keyed({key(0, 4)}), r.sums({sum(0xFFFFFFFE, 4)})),
        ROW(nosetup, r.rebuild({piece(0, toomany), piece(0, toomany)})),
        ROW(nosetup, r.text(244), r.keyed({key(0, 4)}),
            r.rebuild({piece(0, half), piece(0, half + 4)})),
        ROW(nosetup, r.text(243), r.keyed({key(0, half), key(0, half)})),
        ROW(nosetup, r.text(243), r.keyed({key(0, half, 161, 16, 2)})),
        ROW(noroom, r.text(243), r.keyed({key(toomany, 4)})),
    });
}

} // namespace
} // namespace kvern::test

// A session of the parameter analysis alone: a zeroed context with an arena of
// its own, and the caller's blocks to fill.
#pragma once

#include "param/analysis.h"
#include "param/crosscheck.h"
#include "session/qha9msgt.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <deque>
#include <functional>
#include <string>
#include <vector>

namespace kvern::paramtest {

// What a call came to; msg 0 and detail 0: nothing was reported.
struct verdict {
    int result;
    uint32_t msg;
    uint32_t detail;
    std::string arg;
    bool operator==(const verdict &) const = default;
};
inline std::ostream &operator<<(std::ostream &out, const verdict &v) {
    return out << v.result << " msg " << v.msg << " detail " << v.detail << " " << v.arg;
}

// The argument of messages that have none of their own: what was there before.
inline const char *const stale = "left over";
constexpr uint32_t toomany = 0xFFFFFFFF;
constexpr uint32_t L0 = KVRN_VERSION_L0, L1 = 0x10100000, L2 = KVRN_VERSION_L2,
                   L2old = KVRN_VERSION_L2_OLDDLMT, L3 = KVRN_VERSION_L3;

class rig {
  public:
    qha5ctx ctx{};
    KVRNPRIM prim{};
    KVRNKEY *keys = nullptr;
    KVRNFILE files{};
    KVRNOPT opts{};

    // A sort of fixed records of 100 bytes through the record calls, level 4.
    rig() {
        ctx.version = KVRN_VERSION_L4;
        ctx.msgtable = qha9msgt;
        ctx.msgargc = 1;
        ctx.msgarg1 = msgarg::of(stale);
        prim.function = 's';
        prim.recform = 'f';
        prim.reclen = 100;
        arena(512 * 1024);
    }
    rig(const rig &) = delete;
    rig &operator=(const rig &) = delete;

    void arena(uint32_t bytes) {
        ctx.arenanext = static_cast<uint8_t *>(room(bytes));
        ctx.arenafree = bytes;
    }
    void version(uint32_t word) { ctx.version = word; }

    // The caller's blocks; `count` makes a table lie about its entries.
    template <class Table, class Entry>
    Table *table(std::initializer_list<Entry> entries, uint32_t count = 0) {
        auto *made =
            static_cast<Table *>(room(offsetof(Table, entry) + entries.size() * sizeof(Entry)));
        made->count = count != 0 ? count : static_cast<uint32_t>(entries.size());
        std::copy(entries.begin(), entries.end(), made->entry);
        return made;
    }
    using list = std::initializer_list<const char *>;
    void keyed(std::initializer_list<KVRNKEYE> e, uint32_t n = 0) { keys = table<KVRNKEY>(e, n); }
    void sums(std::initializer_list<KVRNSUME> e, uint32_t count = 0) {
        prim.options |= KVRN_SUM;
        opts.sum = table<KVRNSUM>(e, count);
    }
    void select(std::initializer_list<KVRNSELE> e, uint32_t count = 0) {
        prim.options |= KVRN_SELECT;
        opts.sel = table<KVRNSEL>(e, count);
    }
    void rebuild(std::initializer_list<KVRNRCNE> e, uint32_t count = 0) {
        prim.options |= KVRN_RECONSTRUCT;
        opts.rcn = table<KVRNRCN>(e, count);
    }
    void text(uint8_t mode, uint8_t delimiter = KVRN_DLMT_LF) {
        prim.recform = 'v';
        prim.fieldmode = mode;
        prim.linedlmt = delimiter;
    }
    KVRNFLST *paths(list names, uint32_t count = 0) {
        auto *made = static_cast<KVRNFLST *>(room(sizeof(KVRNFLST) + 8 * names.size()));
        made->count = count != 0 ? count : static_cast<uint32_t>(names.size());
        std::copy(names.begin(), names.end(), made->path);
        return made;
    }
    void inputs(list names, uint32_t count = 0) { files.infiles = paths(names, count); }
    void kinds(std::initializer_list<uint8_t> codes) {
        files.intypes = static_cast<KVRNFTYP *>(room(sizeof(KVRNFTYP) + codes.size()));
        files.intypes->count = static_cast<uint32_t>(codes.size());
        std::copy(codes.begin(), codes.end(), files.intypes->kind);
    }
    void output(const char *path, uint8_t kind = 0) { files.outfile = path, files.outtype = kind; }
    void twofiles(uint8_t function, const char *out = "kvern-out") {
        prim.function = function;
        prim.mergecnt = 2;
        inputs({"kvern-a", "kvern-b"});
        output(out);
    }

    verdict analysed() { return told(kvern::analyse(&ctx, &prim, keys, &files, &opts)); }
    verdict crosschecked() { return told(kvern::crosscheck(&ctx)); }
    verdict checked() {
        const verdict first = analysed();
        return first.result != 0 ? first : crosschecked();
    }

  protected:
    verdict told(int result) const {
        std::string text;
        if (ctx.lastmsg != 0)
            text = ctx.msgarg1.kind == msgarg::number ? std::to_string(ctx.msgarg1.value)
                                                      : ctx.msgarg1.string;
        return {result, ctx.lastmsg, ctx.errdetail, text};
    }

  private:
    std::deque<std::vector<uint64_t>> store;

    void *room(size_t bytes) { return store.emplace_back((bytes + 7) / 8).data(); }
};

// One row of a table of cases, named by its own set-up.
struct rigcase {
    const char *name;
    verdict expected;
    std::function<void(rig &)> set;
};
#define ROW(expected, ...)                                                                         \
    {                                                                                              \
#__VA_ARGS__, expected, [=]([[maybe_unused]] rig & r) { __VA_ARGS__; }                     \
    }

// The words of the tables: verdicts, and entries of the field tables.
struct analysis : testing::Test {
    using cstr = const char *;
    static verdict refused(uint32_t m, uint32_t d, cstr a = stale) { return {-1, m, d, a}; }
    static verdict badprim(cstr field = stale) { return refused(14, KVRN_D_PRIM, field); }
    static verdict badkey(cstr entry) { return refused(7, KVRN_D_KEYFIELD, entry); }
    static verdict badsum(cstr entry) { return refused(8, KVRN_D_SUMFIELD, entry); }
    static verdict badrcn(cstr entry = stale) { return refused(9, KVRN_D_RCNFIELD, entry); }
    static verdict badsel(cstr entry) { return refused(10, KVRN_D_SELFIELD, entry); }
    const verdict accepted{0, 0, 0, ""}, silent{-1, 0, 0, ""};
    const verdict shortarena = refused(23, KVRN_D_STORAGE), overlap = refused(16, KVRN_D_SAMEFIELD);

    static KVRNKEYE key(uint32_t position, uint32_t length, uint8_t type = 161, uint8_t order = 16,
                        uint8_t kanjiconv = 0, const uint8_t *table = nullptr) {
        return {position, length, type, order, 0, kanjiconv, table};
    }
    static KVRNSUME sum(uint32_t at, uint32_t n, uint8_t t = KVRN_ZONED) { return {at, n, t, {}}; }
    static KVRNRCNE piece(uint32_t at, uint32_t n, uint8_t type = KVRN_FLD_COPY) {
        return {{at}, n, type, {}};
    }
    static KVRNRCNE literal(const char *text, uint32_t length) {
        KVRNRCNE entry = piece(0, length, KVRN_FLD_LIT);
        entry.literal = text;
        return entry;
    }
    static KVRNSELE cond(uint8_t ltype, uint32_t lpos, uint32_t llen, uint8_t rtype, uint32_t rpos,
                         uint32_t rlen, uint8_t op = KVRN_OP_EQ) {
        return {op,   ltype,        rtype,        0, lpos, llen, {rpos},
                rlen, KVRN_GO_KEEP, KVRN_GO_DROP, 0, 0,    0,    0};
    }
    static KVRNSELE cond(uint8_t ltype, uint32_t llen, const char *text, uint32_t rlen) {
        KVRNSELE entry = cond(ltype, 0, llen, KVRN_FLD_LIT, 0, rlen);
        entry.rlit = text;
        return entry;
    }

    // Rows for the analysis, and rows that go on to the cross-checks.
    static void run(verdict (rig::*call)(), const std::vector<rigcase> &cases) {
        for (const rigcase &c : cases) {
            rig r;
            c.set(r);
            EXPECT_EQ((r.*call)(), c.expected) << c.name;
        }
    }
};

} // namespace kvern::paramtest

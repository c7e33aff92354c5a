// A session whose blocks the test fills in itself: fixed records of 8 bytes from
// and to the caller, unless it says otherwise.  Its files lie in a folder of its own.
#pragma once

#include "kvern.h"
#include "support/tempfolder.h"

#include <gtest/gtest.h>

#include <cstring>
#include <list>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

namespace kvern::test {

using strings = std::vector<std::string>;

inline std::string joined(const strings &parts) {
    std::string all;
    for (const std::string &part : parts)
        all += part;
    return all;
}

// Records of 8 bytes, keys from 0 to `keys` - 1 over and over, in an order that is none.
inline strings numbered(uint32_t count, uint32_t keys) {
    strings all;
    for (uint32_t i = 0; i < count; ++i)
        all.push_back(std::to_string(1000000 + i * 7919U % keys) + '\n');
    return all;
}

// A block of the interface that ends in a list of entries.
template <class Block, class Entry>
class listblock {
  public:
    void add(const Entry &entry) {
        const uint32_t count = room.empty() ? 0 : get()->count;
        const size_t at = sizeof(Block) + (count - size_t{1}) * sizeof(Entry);
        room.resize((at + sizeof(Entry) + 7) / 8);
        std::memcpy(reinterpret_cast<char *>(room.data()) + at, &entry, sizeof entry);
        get()->count = count + 1;
    }
    // As a caller who counts entries that are not there.
    void claim(uint32_t count) {
        if (room.empty())
            room.resize((sizeof(Block) + 7) / 8);
        get()->count = count;
    }
    // Null: it has no entry.
    Block *get() { return room.empty() ? nullptr : reinterpret_cast<Block *>(room.data()); }

  private:
    std::vector<uint64_t> room; // aligned for any block
};

// Conditions that keep what is equal to another field, or to a literal.
inline KVRNSELE cond(uint8_t ltype, uint32_t llen, uint8_t rtype, uint32_t rlen, uint32_t lpos = 0,
                     uint32_t rpos = 0) {
    return {KVRN_OP_EQ, ltype,        rtype,        0, lpos, llen, {rpos},
            rlen,       KVRN_GO_KEEP, KVRN_GO_DROP, 0, 0,    0,    0};
}
inline KVRNSELE compared(uint8_t ltype, uint32_t llen, const char *text, uint32_t rlen) {
    KVRNSELE entry = cond(ltype, llen, KVRN_FLD_LIT, rlen);
    entry.rlit = text;
    return entry;
}

struct handmade {
    handmade() {
        prim.function = KVRN_SORT;
        prim.recform = KVRN_FIXED;
        prim.reclen = 8;
        std::memset(&sess, 0xA5, sizeof sess);
        sess.ctx = nullptr;
        sess.inputno = 0;
    }
    ~handmade() {
        if (link.init)
            close();
        kvrnhook(nullptr, nullptr);
    }
    handmade(const handmade &) = delete;

    // Text lines of at most reclen bytes, the whole line the key.
    void astext(uint8_t linedlmt, uint8_t fieldmode = KVRN_COLUMNS) {
        prim.recform = KVRN_VARIABLE;
        prim.fieldmode = fieldmode;
        prim.linedlmt = linedlmt;
    }
    // The name of a file in the session's folder, which is made when it is asked for.
    std::string file(const std::string &name) {
        if (folder == nullptr)
            folder = std::make_unique<tempfolder>();
        return folder->file(name);
    }
    void infile(const std::string &path) { frompaths({path}); }
    void frompaths(const strings &paths) { files.infiles = listed(inlist, paths); }
    // Makes the files that are read.
    void fromfiles(const strings &contents) {
        strings paths;
        for (const std::string &data : contents) {
            paths.push_back(file("in" + std::to_string(paths.size())));
            writefile(paths.back(), data);
        }
        frompaths(paths);
    }
    void outfile(const std::string &path) {
        outpath = path;
        files.outfile = outpath.c_str();
    }
    [[nodiscard]] std::string output() const { return readfile(outpath); }
    void workplaces(const strings &paths) { files.workfiles = listed(worklist, paths); }

    void key(uint32_t position, uint32_t length, uint8_t type = KVRN_CHAR,
             uint8_t order = KVRN_ASCENDING, uint8_t kanjiconv = 0) {
        keys.add({position, length, type, order, 0, kanjiconv, nullptr});
    }
    void sum(uint32_t position, uint32_t length, uint8_t type) {
        prim.options |= KVRN_SUM;
        sums.add({position, length, type, {}});
    }
    void select(const std::vector<KVRNSELE> &program) {
        prim.options |= KVRN_SELECT;
        for (const KVRNSELE &one : program)
            conditions.add(one);
    }
    // Rebuilds the records of pieces; a literal has no position.
    void piece(uint32_t position, uint32_t length, const char *literal = nullptr) {
        KVRNRCNE one = {{position}, length, KVRN_FLD_COPY, {}};
        if (literal != nullptr) {
            one.literal = literal;
            one.type = KVRN_FLD_LIT;
        }
        prim.options |= KVRN_RECONSTRUCT;
        pieces.add(one);
    }

    int open() {
        KVRNOPT options = {sums.get(), conditions.get(), pieces.get()};
        return kvrnopen(version, &link, &prim, &sess, keys.get(), &files, &options);
    }
    int close() { return kvrnclse(version, &link, &prim, &sess); }

    using recordcall = int(KVRN_CALL *)(KVRNSESS *);
    void give(const std::string &data) {
        sess.code = KVRN_RECORD;
        sess.recaddr = const_cast<char *>(data.data());
        sess.reclen = static_cast<uint32_t>(data.size());
    }
    int put(const std::string &data, recordcall call = kvrnput) {
        give(data);
        return call(&sess);
    }
    int end(recordcall call = kvrnput) {
        sess.code = KVRN_END;
        return call(&sess);
    }
    [[nodiscard]] std::string got() const {
        return {static_cast<const char *>(sess.recaddr), sess.reclen};
    }
    // All that kvrnget gives, one string for each call; `last` is its last result.
    strings getall(int *last) {
        strings all;
        while ((*last = kvrnget(&sess)) == 0)
            all.push_back(got());
        return all;
    }
    // Opens, puts and gets.  Nothing, if a put fails.
    strings sort(const strings &records) {
        EXPECT_EQ(open(), 0) << sess.detail;
        for (const std::string &record : records)
            if (put(record) != 0)
                return {};
        int last;
        return end() == 1 ? getall(&last) : strings{};
    }
    // Calls by name, those of the link table as chk..., and what each one gave, with its
    // detail where it failed.
    std::string play(const std::string &calls) {
        std::istringstream names(calls);
        std::string told;
        for (std::string name; names >> name;) {
            sess.detail = 0;
            const int result = callby(name);
            EXPECT_TRUE(name != "get" || result != 1 || sess.reclen == 0);
            told += (told.empty() ? "" : " ") + std::to_string(result) +
                    (result < 0 ? ":" + std::to_string(sess.detail) : "");
        }
        return told;
    }
    // Of the session; for a block without one: "none".
    std::string message() {
        char text[600];
        return kvrntext(&sess, text, sizeof text) == 0 ? text : "none";
    }
    KVRNSTAT counters() {
        KVRNSTAT stat = {};
        stat.size = sizeof stat;
        EXPECT_EQ(kvrnstat(&sess, &stat), 0);
        return stat;
    }

    uint32_t version = KVRN_VERSION_L4;
    KVRNPRIM prim = {};
    KVRNLINK link = {};
    KVRNSESS sess;
    KVRNFILE files = {};
    listblock<KVRNKEY, KVRNKEYE> keys;
    listblock<KVRNSUM, KVRNSUME> sums;
    listblock<KVRNSEL, KVRNSELE> conditions;
    listblock<KVRNRCN, KVRNRCNE> pieces;

  private:
    int callby(const std::string &name) {
        static const std::string record = "12345678";
        return name == "open"      ? open()
               : name == "close"   ? close()
               : name == "term"    ? link.term(&prim, &sess)
               : name == "put"     ? put(record)
               : name == "chkp"    ? put(record, qha5chkp)
               : name == "end"     ? end()
               : name == "chke"    ? end(qha5chkp)
               : name == "get"     ? kvrnget(&sess)
               : name == "chkg"    ? qha5chkg(&sess)
               : name == "merge"   ? put(record, kvrnmrge)
               : name == "chkm"    ? put(record, qha5chkm)
               : name == "last"    ? end(kvrnmrge)
               : name == "unknown" ? (sess.code = 18, qha5chkp(&sess))
                                   : (give(record), sess.recaddr = nullptr, qha5chkp(&sess));
    }

    using pathlist = listblock<KVRNFLST, const char *>;
    KVRNFLST *listed(pathlist &list, const strings &paths) {
        list = {};
        for (const std::string &path : paths)
            list.add(pathtexts.emplace_back(path).c_str());
        return list.get();
    }

    std::unique_ptr<tempfolder> folder;
    std::list<std::string> pathtexts;
    pathlist inlist, worklist;
    std::string outpath;
};

} // namespace kvern::test

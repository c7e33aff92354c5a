// A session whose blocks the test fills in itself: fixed records of 8 bytes from
// and to the caller, unless it says otherwise.
#pragma once

#include "kvern.h"

#include <cstring>
#include <string>
#include <vector>

namespace kvern::test {

struct handmade {
    handmade() {
        prim.function = KVRN_SORT;
        prim.recform = KVRN_FIXED;
        prim.recoprat = KVRN_PUT_RECORD | KVRN_GET_RECORD;
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
    void astext(uint8_t linedlmt) {
        prim.recform = KVRN_VARIABLE;
        prim.fieldmode = KVRN_COLUMNS;
        prim.linedlmt = linedlmt;
    }
    void infile(const std::string &path) {
        inlist.count = 1;
        inlist.path[0] = path.c_str();
        files.infiles = &inlist;
        prim.recoprat &= KVRN_GET_RECORD | KVRN_GET_BLOCK;
    }
    void outfile(const std::string &path) {
        files.outfile = path.c_str();
        prim.recoprat &= KVRN_PUT_RECORD | KVRN_PUT_BLOCK;
    }

    int open() { return kvrnopen(version, &link, &prim, &sess, nullptr, &files, nullptr); }
    int close() { return kvrnclse(version, &link, &prim, &sess); }

    using recordcall = int(KVRN_CALL *)(KVRNSESS *);
    int put(const std::string &data, recordcall call = kvrnput) {
        sess.code = KVRN_RECORD;
        sess.recaddr = const_cast<char *>(data.data());
        sess.reclen = static_cast<uint32_t>(data.size());
        return call(&sess);
    }
    int end(recordcall call = kvrnput) {
        sess.code = KVRN_END;
        return call(&sess);
    }
    std::string got() const { return {static_cast<const char *>(sess.recaddr), sess.reclen}; }
    // All that kvrnget gives, one string for each call; `last` is its last result.
    std::vector<std::string> getall(int *last) {
        std::vector<std::string> all;
        while ((*last = kvrnget(&sess)) == 0)
            all.push_back(got());
        return all;
    }

    uint32_t version = KVRN_VERSION_L4;
    KVRNPRIM prim = {};
    KVRNLINK link = {};
    KVRNSESS sess;
    KVRNFILE files = {};
    KVRNFLST inlist = {};
};

} // namespace kvern::test

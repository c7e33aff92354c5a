// A session from files of the file manager to one of them, with what must live until
// its end.
#pragma once

#include "kvern.h"
#include "support/tempfolder.h"

#include <deque>
#include <string>

namespace kvern::test {

struct managedsession {
    managedsession(uint8_t function, uint8_t form, uint32_t reclen) {
        prim.function = function;
        prim.recform = form;
        prim.reclen = reclen;
    }
    // The kind 0 is not listed: as the one before.
    void input(const std::string &path, uint8_t kind) {
        paths.path[paths.count++] = names.emplace_back(path).c_str();
        if (kind != 0)
            kinds.kind[kinds.count++] = kind;
        files.infiles = reinterpret_cast<KVRNFLST *>(&paths);
        files.intypes = reinterpret_cast<KVRNFTYP *>(&kinds);
        prim.mergecnt += prim.function == KVRN_MERGE ? 1 : 0;
    }
    void output(const std::string &path, uint8_t kind) {
        files.outfile = names.emplace_back(path).c_str();
        files.outtype = kind;
        files.outkey = &outkey;
    }
    int open(KVRNKEY *keys = nullptr) {
        return kvrnopen(KVRN_VERSION_L4, &link, &prim, &sess, keys, &files, nullptr);
    }
    int close() { return kvrnclse(KVRN_VERSION_L4, &link, &prim, &sess); }

    static constexpr uint32_t mostinputs = 4;
    std::deque<std::string> names{};
    struct {
        uint32_t count;
        const char *path[mostinputs];
    } paths = {};
    struct {
        uint32_t count;
        uint8_t kind[mostinputs];
    } kinds = {};
    KVRNOKEY outkey = {0, 1, {{0, 1, KVRN_CHAR, KVRN_ASCENDING, 0x50, 0}}};
    KVRNFILE files = {};
    KVRNPRIM prim = {};
    KVRNLINK link = {};
    KVRNSESS sess = {};
};

} // namespace kvern::test

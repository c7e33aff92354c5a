// The two steps of the reader of indexed files by themselves, on buffers of
// exactly the size they may use.
#pragma once

#include "file/idxformat.h"
#include "file/idxreader.h"
#include "session/qha9msgt.h"

#include <memory>

namespace kvern::test {

struct idxrig {
    qha5ctx ctx{};
    filectl file{};
    idxinfo *infos[1] = {&info};
    idxinfo info{};
    std::unique_ptr<uint8_t[]> header{new uint8_t[idxformat::headerlen]()};
    std::unique_ptr<uint8_t[]> entries, block;

    idxrig(const char *path, uint8_t recform) {
        ctx.msgtable = qha9msgt;
        ctx.recform = recform;
        ctx.idxinfos = infos;
        ctx.idxhdr = header.get();
        file.kind = KVRN_FILE_INDEXED;
        file.mode = 'r';
        file.name = path;
    }
    idxrig(const idxrig &) = delete;
    idxrig &operator=(const idxrig &) = delete;

    int read() {
        if (idxreadhdr(&ctx, &file) != 0)
            return -1;
        entries.reset(new uint8_t[info.keypartcount * idxformat::entrylen]);
        block.reset(new uint8_t[idxblocksize(info)]);
        ctx.idxentry = entries.get();
        ctx.idxblock = block.get();
        return idxreadkeys(&ctx, &file);
    }
};

} // namespace kvern::test

// A context on its own, with an arena of exactly the bytes asked for.
#pragma once

#include "session/context.h"
#include "session/qha9msgt.h"

#include <vector>

namespace kvern {

struct enginecontext : qha5ctx {
    explicit enginecontext(uint32_t arenabytes = 1 << 20) : qha5ctx{}, memory(arenabytes / 8 + 1) {
        function = KVRN_SORT;
        recform = 'f';
        cdmode = KVRN_CD_ZONE5;
        level = 4;
        msgtable = qha9msgt;
        msglevel = 1;
        arenanext = reinterpret_cast<uint8_t *>(memory.data());
        arenafree = arenabytes;
    }
    enginecontext(const enginecontext &) = delete;

    void maketext(uint8_t mode, const char *delimiter = "\n") {
        recform = 'r';
        fieldmode = mode;
        linedlmtlen = 0;
        for (; *delimiter != 0; delimiter++)
            linedlmt[linedlmtlen++] = static_cast<uint8_t>(*delimiter);
    }

  private:
    std::vector<uint64_t> memory;
};

} // namespace kvern

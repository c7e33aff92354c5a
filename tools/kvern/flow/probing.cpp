#include "kvern/flow/probing.h"

#include "kvern/plan/storage.h"

#include <algorithm>

namespace command {

namespace {

// What a session asks for even where it takes no records; -S is for those that do.
constexpr uint64_t longrecords = 48;

} // namespace

description probing(const jobplan &plan) {
    description what = plan.engine;
    KVRNPRIM &prim = what.prim;
    prim.memsize = static_cast<uint32_t>(
        std::min<uint64_t>(leaststorage + longrecords * prim.reclen, KVRN_MEM_MAX));
    prim.function = KVRN_SORT;
    prim.mergecnt = 0;
    prim.fileoprat = 0;
    const bool pairs = plan.view.text && plan.shape.end == lineend::crlf;
    prim.recoprat = pairs ? KVRN_PUT_BLOCK | KVRN_GET_BLOCK : KVRN_PUT_RECORD | KVRN_GET_RECORD;
    prim.options &= static_cast<uint8_t>(~(KVRN_SUM | KVRN_SUPPRESS | KVRN_KEEPORDER));
    what.sums.clear();
    what.watcher = nullptr;
    return what;
}

} // namespace command

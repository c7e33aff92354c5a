// The hot loops by themselves, on records that fit the slots: the plain encode
// loop beside memcpy of the same records to the same places, and the in-core sort
// of the orders that quicksorts fear beside random keys.
#include "records.h"

#include "kvern.h"
#include "session/context.h"
#include "sort/incore/slots.h"

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

constexpr uint32_t records = 60000;

// A session with caller input at both ends, filled with records of one order.
class filled {
  public:
    explicit filled(bench::order shape) : raw(size_t{records} * bench::record_length) {
        const auto rank = bench::ranks(shape, records);
        for (uint32_t i = 0; i < records; ++i)
            bench::fill_record(&raw[size_t{i} * bench::record_length], rank[i], i);
        prim.function = KVRN_SORT;
        prim.recform = KVRN_FIXED;
        prim.reclen = bench::record_length;
        prim.recoprat = KVRN_PUT_BLOCK | KVRN_GET_BLOCK;
        prim.memsize = KVRN_MEM_MAX;
        KVRNKEY keys = {1, {{0, bench::key_length, KVRN_CHAR, KVRN_ASCENDING, 0, 0, nullptr}}};
        check(qha5init(KVRN_VERSION_L4, &link, &prim, &sess, &keys, nullptr, nullptr));
        sess.code = KVRN_RECORD;
        sess.recaddr = raw.data();
        sess.reclen = records * bench::record_length;
        check(kvrnput(&sess));
    }
    filled(const filled &) = delete;
    filled &operator=(const filled &) = delete;
    ~filled() { qha5term(&prim, &sess); }

    kvern::qha5ctx *context() { return static_cast<kvern::qha5ctx *>(sess.ctx); }
    const uint8_t *record(uint32_t i) const { return &raw[size_t{i} * bench::record_length]; }

  private:
    void check(int result) const {
        if (result != 0) {
            std::fprintf(stderr, "bench: session failed, detail %u\n", sess.detail);
            std::exit(1);
        }
    }
    std::vector<uint8_t> raw;
    KVRNLINK link = {};
    KVRNPRIM prim = {};
    KVRNSESS sess = {};
};

void copy_only(benchmark::State &state) {
    filled session(bench::order::random);
    kvern::qha5ctx *ctx = session.context();
    while (state.KeepRunning()) {
        auto *at = reinterpret_cast<uint8_t *>(ctx->slotfirst);
        for (uint32_t i = 0; i < ctx->slotused; ++i, at += ctx->slotstride)
            std::memcpy(reinterpret_cast<kvern::slot *>(at)->record(), session.record(i),
                        bench::record_length);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * ctx->slotused *
                            bench::record_length);
}
BENCHMARK(copy_only);

void encode_plain_fixed(benchmark::State &state) {
    filled session(bench::order::random);
    kvern::qha5ctx *ctx = session.context();
    ctx->scanlimit = session.record(0) + size_t{records} * bench::record_length;
    const uint32_t seqno = ctx->seqno;
    while (state.KeepRunning()) {
        auto *at = reinterpret_cast<uint8_t *>(ctx->slotfirst);
        for (uint32_t i = 0; i < ctx->slotused; ++i, at += ctx->slotstride)
            benchmark::DoNotOptimize(
                ctx->encode(ctx, session.record(i), reinterpret_cast<kvern::slot *>(at)->record()));
        ctx->seqno = seqno;
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * ctx->slotused *
                            bench::record_length);
}
BENCHMARK(encode_plain_fixed);

void incore_sort(benchmark::State &state, bench::order shape) {
    filled session(shape);
    kvern::qha5ctx *ctx = session.context();
    while (state.KeepRunning())
        if (kvern::sortslots(ctx, ctx->slotused) != 0)
            state.SkipWithError("sort failed");
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * ctx->slotused);
}
BENCHMARK_CAPTURE(incore_sort, random, bench::order::random);
BENCHMARK_CAPTURE(incore_sort, all_equal, bench::order::equal);
BENCHMARK_CAPTURE(incore_sort, two_values, bench::order::two_values);
BENCHMARK_CAPTURE(incore_sort, ten_values, bench::order::ten_values);
BENCHMARK_CAPTURE(incore_sort, organ_pipe, bench::order::organ_pipe);
BENCHMARK_CAPTURE(incore_sort, median_killer, bench::order::median_killer);
BENCHMARK_CAPTURE(incore_sort, ascending, bench::order::ascending);
BENCHMARK_CAPTURE(incore_sort, descending, bench::order::descending);

} // namespace

BENCHMARK_MAIN();

// A session from bytes: the generator's of the random tests, on the platform layer in
// memory.  As a rule the caller does as he should, and the model foretells the end.  Else
// the blocks are bent, calls come out of order, the hook stops the session, an operation
// fails, the disks are small, or a file of the file manager is damaged.
//
// Beside what the sanitizers see these are findings, whatever was done: memory or files
// that are held after the close, temporary files that stay, a session that never ends,
// counts that do not balance at its end, a failure that is forgotten.  With KVERN_SHOW
// each session is told.
#include "fuzz/memory_platform.h"
#include "fuzz/spoiler.h"
#include "support/modelcheck.h"
#include "support/prober.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace kvern::test {

namespace {

constexpr size_t controls = 24; // bytes of the input that rule all but the session
constexpr uint32_t never = UINT32_MAX;
constexpr uint32_t roomy = 0x200000;

constexpr uint32_t oddities = 13; // what a caller may do beside the usual calls: before()
constexpr uint32_t none = oddities;

class fuzzedsession : mischief {
  public:
    fuzzedsession(const uint8_t *data, size_t size)
        : control(data, std::min(size, controls)),
          made(data + std::min(size, controls), size - std::min(size, controls)) {
        makeplan();
        makespec();
    }

    void run() {
        const memorydisk disk(plan, workfolders);
        if (getenv("KVERN_SHOW") != nullptr)
            fprintf(stderr, "bends %u, oddity %u at %u, stop at %u, fault %u at %u\n%s\n", bends,
                    odd, oddat, stopat, static_cast<unsigned>(plan.how), plan.failat,
                    describe(spec).c_str());
        kvrnhook(hook, this);
        runresult got = test::run(spec, disk, this);
        kvrnhook(nullptr, nullptr);
        checkheld();
        checkend(got);
    }

  private:
    randomness control, made;
    memoryplan plan;
    sessionspec spec{};
    prober probes{spec}; // looks while all is sound
    std::vector<std::string> workfolders{};
    uint32_t bends = 0, odd = none, oddat = 0, stopat = never, round = 0, number = 0;
    uint8_t message = 0;
    bool nested = false, failing = false, sound = true;

    uint32_t filesatstart = 0;

    void makeplan() {
        bends = control.onein(3) ? control.between(1, 3) : 0;
        odd = control.onein(5) ? control.below(oddities) : none;
        oddat = control.below(control.onein(3) ? 64 : 6);
        stopat = control.onein(12) ? control.below(40) : never;
        failing = control.onein(6);
        plan.grant = maxgrant;
        plan.capacity.fill(roomy);
        plan.deletesbyname = control.onein(3);
        plan.manager = managerroutine;
        if (failing) {
            plan.how = static_cast<fault>(control.below(faultkinds));
            plan.failat = control.below(200) + 1;
            const bool forgood = control.onein(3); // an interruption is tried again for ever
            if (forgood && plan.how != fault::interrupted)
                plan.failto = never;
            if (control.onein(4))
                plan.capacity.fill(control.below(0x10000));
            if (control.onein(6))
                plan.grant = 140000;
        }
        message = static_cast<uint8_t>(control.below(8));
        nested = control.onein(8);
        const uint32_t places = control.below(4);
        if (places != 0)
            workfolders = {"da"};
        if (places == 1)
            workfolders = {"da/t0", "da/t1", "db/t2", "db/t3"};
        sound = bends == 0 && odd == none && stopat == never && !failing;
    }

    void makespec() {
        scale size;
        size.function = static_cast<uint8_t>(control.pick({'s', 's', 'm', 'c'}));
        size.external = size.function == KVRN_SORT && control.onein(10);
        size.maxrecords = size.external ? 2500 : control.onein(8) ? 400 : 40;
        size.managed = !size.external && control.onein(4);
        size.storage = 1000000;
        spec = randomsession(made, size);
        if (spec.level() == 2 && control.onein(3)) {
            spec.version = enginelevel1;
            spec.keyoption = spec.keyoption2 = 0;
        }
        for (uint32_t i = 1; i < bends; ++i)
            test::bend(spec, control);
    }

    // ---- the hook ----------------------------------------------------------------

    // The start-up pump waits for a text of directories; it gets one that says there is
    // none, which spares the session a thousand rounds.
    static int KVRN_CALL hook(KVRNSESS *sess, void *arg) {
        auto &run = *static_cast<fuzzedsession *>(arg);
        static char nowhere[] = {3, 0};
        if (run.round == 0 && !run.nested)
            (void)kvrntmpd(sess, nowhere);
        if (run.round == 0)
            (void)kvrnlevl(sess, run.message);
        if (run.nested && run.round % 64 == 63 && kvrnput(sess) != KVRN_FAILED)
            finding("a record call from inside a running call");
        return run.round++ == run.stopat ? 1 : 0;
    }

    // ---- mischief ----------------------------------------------------------------

    void bend(callerblocks &given) override {
        if (bends != 0 && ismanaged(spec.input) && !control.onein(3))
            damage(makefile("dc/input0"));
        else if (bends != 0)
            test::bend(given, control);
        filesatstart = held().files;
    }

    void damage(std::vector<uint8_t> &data) {
        constexpr uint32_t heads = 1024; // what an indexed file says of itself lies there
        const auto all = static_cast<uint32_t>(data.size());
        if (control.onein(8))
            data.resize(control.below(all + 1));
        for (uint32_t i = 0; i < bends && !data.empty(); ++i)
            data[control.below(control.onein(2) ? std::min(all, heads) : all) % data.size()] =
                static_cast<uint8_t>(control.byte());
    }

    // Records of a bent session's generator may be anything to it.
    void probe(KVRNSESS &sess, const KVRNLINK &link) {
        char key[64];
        unsigned room = sizeof key;
        const bytes record = spec.inputs.empty() || spec.inputs.front().empty()
                                 ? bytes()
                                 : spec.inputs.front().front() + spec.delimiter();
        if (sound)
            (void)probes.before(sess, link);
        else
            (void)kvrnkey(&sess, record.data(), static_cast<unsigned>(record.size()), key, &room);
    }

    bool before(KVRNSESS &sess, const KVRNLINK &link) override {
        probe(sess, link);
        if (odd == none || number++ != oddat)
            return true;
        std::vector<char> record;
        const auto put = [&](uint8_t code, uint32_t length) {
            record.resize(std::min(length, 70000U));
            std::generate(record.begin(), record.end(), [&] { return control.byte(); });
            sess.code = code;
            sess.recaddr = nested ? nullptr : record.data();
            sess.reclen = static_cast<uint32_t>(record.size());
            (void)kvrnput(&sess);
        };
        using call = int(KVRN_CALL *)(KVRNSESS *);
        const call calls[] = {kvrnget, kvrnmrge, kvrnstop, link.chkg, link.chkm};
        if (odd < std::size(calls)) {
            if (calls[odd] != nullptr)
                (void)calls[odd](&sess);
        } else if (odd == 5 || odd == 6) {
            put(odd == 5 ? KVRN_END : 99, sess.reclen);
        } else if (odd == 7 || odd == 8) {
            put(KVRN_RECORD, sess.reclen + (odd == 8 ? 1 + oddat : 0));
        } else if (odd == 9) {
            put(KVRN_RECORD, oddat);
        } else if (odd == 10 || odd == 11) {
            sess.inputno = static_cast<uint16_t>(oddat);
            sess.mergestat = static_cast<uint8_t>(control.byte());
        }
        return odd != 12;
    }

    // ---- checks ------------------------------------------------------------------

    void checkheld() const {
        const platformstate after = held();
        if (after.memory != 0 || after.handles != 0)
            finding("memory or a file that is held after the close");
        const bool keeps = bends != 0 || failing; // to keep them may be asked for
        if (!keeps && after.files > filesatstart + (spec.fileout() ? 1 : 0))
            finding("a temporary file that stays");
    }

    void checkend(runresult &got) {
        if (!got.broken.empty())
            fail(got.broken);
        // Without a detail the session was left, or did as the bent blocks told it; what is
        // refused, or cannot be summed, leaves one in a session that goes on.
        const bool goeson = (got.detail >= KVRN_D_PUTUSE && got.detail <= KVRN_D_RECLEN) ||
                            foldingstopped(got.detail) || got.detail == KVRN_D_SUMOPERAND;
        if (odd == none && got.detail != 0 && !goeson && !got.pretends.empty())
            fail(got.pretends + " succeeds after a failure");
        const KVRNSTAT &n = got.counters;
        if (got.failed.empty() && got.detail == 0 && n.phase == KVRN_PHASE_DONE &&
            n.taken != n.delivered + n.rejected + n.suppressed + n.summed)
            fail("counters that do not balance");
        const bool faultalone = bends == 0 && odd == none && stopat == never;
        if (sound || (faultalone && got.failed.empty()))
            if (const std::string wrong = probes.fault() + judged(spec, got); !wrong.empty())
                fail(wrong);
    }

    [[noreturn]] void fail(const std::string &why) const {
        fprintf(stderr, "%s\n", describe(spec).c_str());
        finding(why.c_str());
    }
};

} // namespace

} // namespace kvern::test

#ifdef __clang__
// A session holds a dozen small pieces of memory; what is freed need not be kept
// long, nor who took it be known in depth.
extern "C" const char *__asan_default_options() {
    return "quarantine_size_mb=4:malloc_context_size=3";
}
#endif

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    kvern::test::fuzzedsession(data, size).run();
    return 0;
}

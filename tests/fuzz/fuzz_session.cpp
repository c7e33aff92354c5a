// A session from bytes: the generator's of the random tests, on the platform layer in
// memory.  As a rule the caller does as he should, and the model foretells the end.  Else
// the blocks are bent, calls come out of order, the hook stops the session, an operation
// fails or the disks are small.
//
// Beside what the sanitizers see these are findings, whatever was done: memory or files
// that are held after the close, temporary files that stay, a session that never ends,
// counts that do not balance at its end, a failure that is forgotten.  With KVERN_SHOW
// each session is told.
#include "fuzz/memorydisk.h"
#include "fuzz/spoiler.h"
#include "support/modelcheck.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace kvern::test {

namespace {

constexpr size_t controls = 24; // bytes of the input that rule all but the session
constexpr uint32_t never = UINT32_MAX;
constexpr uint32_t roomy = 0x200000;

// What a caller may do beside the usual calls.
enum class oddity : uint8_t {
    get,
    merge,
    wrongcode,
    noaddress,
    longer,
    raw,
    end,
    close,
    otherblock,
    wronginput,
    wrongstate,
    stop,
    none
};

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
                    static_cast<unsigned>(odd), oddat, stopat, static_cast<unsigned>(plan.how),
                    plan.failat, describe(spec).c_str());
        kvrnhook(hook, this);
        runresult got = test::run(spec, disk, this);
        kvrnhook(nullptr, nullptr);
        if (getenv("KVERN_SHOW") != nullptr)
            fprintf(stderr, "%zu records, detail %u %s\n", got.records.size(), got.detail,
                    got.failed.c_str());
        checkheld();
        checkend(got);
    }

  private:
    randomness control, made;
    memoryplan plan;
    sessionspec spec{};
    std::vector<std::string> workfolders{};
    uint32_t bends = 0, oddat = 0, stopat = never, round = 0, number = 0;
    uint8_t message = 0;
    oddity odd = oddity::none;
    bool nested = false, failing = false, sound = true;

    callerblocks blocks{};
    platformstate atstart{};

    void makeplan() {
        constexpr const char *variables[] = {nullptr, nullptr, nullptr, "da",  "da;db",
                                             "da/",   ";",     " da",   "da;", "no/where"};
        bends = control.onein(3) ? control.between(1, 3) : 0;
        odd = control.onein(5)
                  ? static_cast<oddity>(control.below(static_cast<uint32_t>(oddity::none)))
                  : oddity::none;
        oddat = control.below(control.onein(3) ? 64 : 6);
        stopat = control.onein(12) ? control.below(40) : never;
        failing = control.onein(6);
        plan.grant = maxgrant;
        plan.capacity.fill(roomy);
        plan.deletesbyname = control.onein(3);
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
        const bool astray = control.onein(12);
        plan.variable = astray ? control.pickof(variables) : nullptr;
        workfolders = control.onein(2) ? std::vector<std::string>{"da"}
                      : control.onein(2) || astray
                          ? std::vector<std::string>{}
                          : std::vector<std::string>{"da/t0", "da/t1", "db/t2", "db/t3"};
        sound = bends == 0 && odd == oddity::none && stopat == never && !failing && !astray;
    }

    void makespec() {
        scale size;
        size.function = static_cast<uint8_t>(control.pick({'s', 's', 'm', 'c'}));
        size.external = size.function == KVRN_SORT && control.onein(10);
        size.maxrecords = size.external ? 2500 : control.onein(8) ? 400 : 40;
        size.storage = 1000000;
        spec = randomsession(made, size);
        if (spec.level() == 2 && control.onein(3)) {
            spec.version = enginelevel1;
            spec.keyoption = spec.keyoption2 = 0;
        }
        for (uint32_t i = 1; i < bends; ++i)
            spoiler(control).bend(spec);
    }

    // ---- the hook ----------------------------------------------------------------

    // The start-up pump waits for a text of directories; it gets one that says there is
    // none, which spares the session a thousand rounds.
    static int KVRN_CALL hook(KVRNSESS *sess, void *arg) {
        auto &run = *static_cast<fuzzedsession *>(arg);
        static char none[] = {3, 0};
        if (run.round == 0 && !run.nested)
            (void)kvrntmpd(sess, none);
        if (run.round == 0)
            (void)kvrnlevl(sess, run.message);
        if (run.nested && run.round % 64 == 63 && kvrnput(sess) != KVRN_FAILED)
            finding("a record call from inside a running call");
        return run.round++ == run.stopat ? 1 : 0;
    }

    // ---- mischief ----------------------------------------------------------------

    void bend(callerblocks &given) override {
        if (bends != 0)
            spoiler(control).bend(given);
        blocks = given;
        atstart = held();
    }

    bool before(KVRNSESS &sess, const KVRNLINK &link) override {
        if (odd == oddity::none || number++ != oddat)
            return true;
        const auto put = [&](void *address, uint32_t length) {
            sess.code = KVRN_RECORD;
            sess.recaddr = address;
            sess.reclen = length;
            (void)kvrnput(&sess);
        };
        const uint32_t length = odd == oddity::longer ? sess.reclen + 1 + oddat : oddat;
        switch (odd) {
        case oddity::get:
            (void)(link.chkg != nullptr && nested ? link.chkg : kvrnget)(&sess);
            break;
        case oddity::merge:
            (void)(link.chkm != nullptr && nested ? link.chkm : kvrnmrge)(&sess);
            break;
        case oddity::wrongcode:
        case oddity::end:
            sess.code = odd == oddity::end ? uint8_t{KVRN_END} : uint8_t{99};
            (void)kvrnput(&sess);
            break;
        case oddity::noaddress:
            put(nullptr, sess.reclen);
            break;
        case oddity::longer:
        case oddity::raw: {
            std::vector<char> record(std::min(length, 70000U));
            std::generate(record.begin(), record.end(), [&] { return control.byte(); });
            put(record.data(), static_cast<uint32_t>(record.size()));
            break;
        }
        case oddity::close:
            return false;
        case oddity::otherblock:
            useotherblock();
            break;
        case oddity::wronginput:
            sess.inputno = static_cast<uint16_t>(oddat);
            break;
        case oddity::wrongstate:
            sess.mergestat = static_cast<uint8_t>(oddat);
            break;
        default:
            (void)kvrnstop(&sess);
        }
        return true;
    }

    void useotherblock() const {
        const size_t bytes =
            spec.version >= KVRN_VERSION_L3 ? sizeof(KVRNSESS) : offsetof(KVRNSESS, syserr);
        std::vector<char> copy(bytes);
        memcpy(copy.data(), blocks.sess, bytes);
        auto *other = reinterpret_cast<KVRNSESS *>(copy.data());
        (void)qha5chkp(other);
        (void)qha5chkg(other);
        (void)qha5chkm(other);
        if (qha5term(blocks.prim, other) != KVRN_FAILED)
            finding("a close by another's block");
    }

    // ---- checks ------------------------------------------------------------------

    void checkheld() const {
        const platformstate after = held();
        if (after.memory != 0)
            finding("memory that is held after the close");
        if (after.handles != 0)
            finding("a file that is open after the close");
        const bool keeps = bends != 0 || failing; // to keep them may be asked for
        if (!keeps && after.files > atstart.files + (spec.fileout() ? 1 : 0))
            finding("a temporary file that stays");
    }

    void checkend(runresult &got) {
        if (!got.broken.empty())
            fail(got.broken);
        // Without a detail the session was left, or did as the bent blocks told it; a call
        // that is refused leaves one in a session that goes on.
        const bool refused = got.detail >= KVRN_D_PUTUSE && got.detail <= KVRN_D_RECLEN;
        if (odd == oddity::none && got.detail != 0 && !refused && !foldingstopped(got.detail) &&
            !got.pretends.empty())
            fail(got.pretends + " succeeds after a failure");
        const KVRNSTAT &n = got.counters;
        if (got.failed.empty() && got.detail == 0 && n.phase == KVRN_PHASE_DONE &&
            n.taken != n.delivered + n.rejected + n.suppressed + n.summed)
            fail("counters that do not balance");
        const bool faultalone = bends == 0 && odd == oddity::none && stopat == never;
        if (sound || (faultalone && got.failed.empty())) {
            const std::string fault = judged(spec, got);
            if (!fault.empty())
                fail(fault);
        }
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

// One session from bytes: any function, form and level, files in memory or the
// caller at either end, calls out of order, stops and failing operations.
//
// Beside what the sanitizers see these are findings: memory or files that are
// held after the close, temporary files that stay, a session that never ends,
// more records out than in, records lost where none may go, and counts that do
// not balance at a clean end.  With KVERN_SHOW set each session says what it was.
#include "fuzz/fuzzblocks.h"
#include "fuzz/fuzzrecords.h"
#include "fuzz/memory_platform.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace kvern::test {

namespace {

constexpr uint32_t grants[] = {140000, 140000, 140000, 140000, 140000, 140000, 140000, maxgrant};
constexpr const char *variables[] = {nullptr, nullptr, nullptr, "da",  "da;db",
                                     "da/",   ";",     " da",   "da;", "no/where"};
constexpr uint32_t enoughcalls = 20000000; // thousands of inputs of thousands of records
constexpr uint32_t never = UINT32_MAX;

// What a caller may do beside the usual calls.
enum class oddity : uint8_t {
    none,
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
    kinds
};

class fuzzedsession {
  public:
    fuzzedsession(const uint8_t *data, size_t length)
        : from(data, length), plan(makeplan(from)), blocks(makeblocks(from, memory)),
          records(from, blocks, memory) {}

    void run() {
        startplatform(plan);
        makefiles();
        const platformstate before = held();
        kvrnhook(hook, this);
        const int opened = open();
        if (opened == KVRN_DONE && blocks.sess->ctx != nullptr)
            exchange();
        const int closed = close();
        if (getenv("KVERN_SHOW") != nullptr)
            show(opened, closed);
        if (finished && closed != KVRN_DONE && !mayunbalance())
            finding("a session that ran to its end does not close with 0");
        kvrnhook(nullptr, nullptr);
        checkheld(before);
    }

  private:
    bytesource from;
    exactmemory memory;
    memoryplan plan;
    // Settings of the run, read with the plan.
    uint8_t calls, odd, rounds, message;
    uint32_t oddat, stopat;
    fuzzblocks blocks;
    recordmaker records;

    uint32_t round = 0, made = 0, put = 0, got = 0;
    bool failed = false, finished = false, severallines = false;

    memoryplan makeplan(bytesource &source) {
        memoryplan p;
        p.grant = source.pick(grants);
        p.variable = source.pick(variables);
        calls = source.byte();
        odd = source.byte();
        odd = static_cast<uint8_t>(odd < 192 ? 0 : odd % static_cast<int>(oddity::kinds));
        oddat = source.byte();
        rounds = source.byte();
        const uint8_t stopping = source.byte();
        stopat = stopping < 232 ? never : stopping - 232U;
        message = source.byte() % 16;
        const uint8_t failing = source.byte();
        p.failat = failing < 192 ? 0 : source.byte() + 1U;
        p.how = static_cast<fault>(failing % faultkinds);
        p.deletesbyname = (failing & 2) != 0;
        p.capacity.fill(failing % 8 == 4 ? source.word() : 0x200000);
        return p;
    }

    // ---- the hook ----------------------------------------------------------------

    // The start-up pump waits for a text of directories; as a rule it gets one that
    // says there is none, which spares the session a thousand rounds.
    static int KVRN_CALL hook(KVRNSESS *sess, void *arg) {
        auto &run = *static_cast<fuzzedsession *>(arg);
        static char none[] = {3, 0};
        if (run.round == 0 && run.rounds != 255)
            (void)kvrntmpd(sess, run.rounds == 254 ? run.memory.text("db;da", 5) : none);
        if (run.round == 0)
            (void)kvrnlevl(sess, run.message);
        if (run.rounds % 64 == 63 && kvrnput(sess) != KVRN_FAILED)
            finding("a record call from inside a running call");
        return run.round++ == run.stopat ? 1 : 0;
    }

    // ---- files -------------------------------------------------------------------

    void makefiles() {
        const bool raw = (calls & 16) != 0;
        const uint32_t inputs = blocks.inputs == 0 ? 1 : blocks.inputs;
        for (uint32_t i = 0; i < inputs; ++i) {
            const bool stream = blocks.inputs == 0;
            if (stream && (blocks.prim->fileoprat & KVRN_STDIN) == 0)
                return;
            // There are as many names as inputs at most.
            // NOLINTNEXTLINE(clang-analyzer-core.CallAndMessage)
            std::vector<uint8_t> &data = makefile(stream ? "stdin" : inputnames[i]);
            if (raw) {
                const recordspan some = records.raw(UINT32_MAX);
                data.assign(some.bytes, some.bytes + some.length);
            } else {
                data.clear();
                records.file(data, 0, records.records() / inputs);
            }
        }
    }

    // ---- calls -------------------------------------------------------------------

    [[nodiscard]] bool checked() const { return (calls & 1) != 0; }

    int open() {
        KVRNLINK &link = blocks.link;
        if (blocks.level() != 1)
            return kvrnopen(blocks.version, &link, blocks.prim, blocks.sess, blocks.keys,
                            blocks.files, blocks.opts);
        link = {qha5chkp, qha5chkg, qha5chkm, qha5init, qha5term, nullptr, nullptr, nullptr};
        return qha5init(blocks.version, (calls & 2) != 0 ? nullptr : &link, blocks.prim,
                        blocks.sess, blocks.keys, blocks.files, blocks.opts);
    }

    int close() {
        if (blocks.level() == 1)
            return qha5term(blocks.prim, blocks.sess);
        const int result = kvrnclse(blocks.version, &blocks.link, blocks.prim, blocks.sess);
        if (blocks.link.init != nullptr)
            finding("a link table that is not emptied");
        return result;
    }

    int call(int(KVRN_CALL *plain)(KVRNSESS *), int(KVRN_CALL *through)(KVRNSESS *)) {
        const int result =
            checked() && through != nullptr ? through(blocks.sess) : plain(blocks.sess);
        failed = failed || result == KVRN_FAILED || blocks.sess->detail != 0;
        return result;
    }
    int putcall() { return call(kvrnput, blocks.link.chkp); }
    int getcall() { return call(kvrnget, blocks.link.chkg); }
    int mergecall() { return call(kvrnmrge, blocks.link.chkm); }

    void announce(const recordspan &data) {
        blocks.sess->code = KVRN_RECORD;
        blocks.sess->recaddr = data.bytes;
        blocks.sess->reclen = data.length;
    }

    // A line that holds its delimiter before the end goes into a merge as several.
    [[nodiscard]] bool holdsdelimiter(const recordspan &line) const {
        const char *delimiter = blocks.delimiter();
        const size_t length = strlen(delimiter);
        for (uint32_t i = 0; length != 0 && i + length < line.length; ++i)
            if (memcmp(line.bytes + i, delimiter, length) == 0)
                return true;
        return false;
    }

    // Every byte that the engine shows has to be there.
    static void look(const void *bytes, uint32_t length) {
        const auto *at = static_cast<const volatile uint8_t *>(bytes);
        for (uint32_t i = 0; i < length; i += 16)
            (void)at[i];
        if (length != 0)
            (void)at[length - 1];
    }

    // Does what the input wants done at this call; false: the call is to be left.
    bool oddly(uint32_t number) {
        if (number != oddat % 64)
            return true;
        KVRNSESS &sess = *blocks.sess;
        switch (static_cast<oddity>(odd)) {
        case oddity::get:
            (void)getcall();
            break;
        case oddity::merge:
            (void)mergecall();
            break;
        case oddity::wrongcode:
            sess.code = 99;
            (void)putcall();
            break;
        case oddity::noaddress:
            announce({nullptr, sess.reclen});
            (void)putcall();
            break;
        case oddity::longer:
            announce(records.raw(sess.reclen + 1 + oddat));
            (void)putcall();
            break;
        case oddity::raw:
            announce(records.raw(oddat));
            (void)putcall();
            break;
        case oddity::end:
            sess.code = KVRN_END;
            (void)putcall();
            break;
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
        case oddity::stop:
            (void)kvrnstop(&sess);
            break;
        default:
            return true;
        }
        failed = true;
        return true;
    }

    void useotherblock() {
        const bool syserr = blocks.version >= KVRN_VERSION_L3;
        const size_t bytes = syserr ? sizeof(KVRNSESS) : offsetof(KVRNSESS, syserr);
        auto *copy = static_cast<KVRNSESS *>(memory.take(bytes));
        memcpy(copy, blocks.sess, bytes);
        (void)qha5chkp(copy);
        (void)qha5chkg(copy);
        (void)qha5chkm(copy);
        if (qha5term(blocks.prim, copy) != KVRN_FAILED)
            finding("a close by another's block");
    }

    // ---- roads -------------------------------------------------------------------

    [[nodiscard]] bool inputfiles() const {
        return (blocks.prim->fileoprat & KVRN_STDIN) != 0 ||
               (blocks.files != nullptr && blocks.files->infiles != nullptr &&
                blocks.files->infiles->count != 0);
    }
    [[nodiscard]] bool outputfile() const {
        return (blocks.prim->fileoprat & KVRN_STDOUT) != 0 ||
               (blocks.files != nullptr && blocks.files->outfile != nullptr);
    }

    void exchange() {
        finished = true;
        if (blocks.prim->function == KVRN_SORT)
            finished = (inputfiles() || putall()) && (outputfile() || getall());
        else if (blocks.prim->function == KVRN_MERGE && !(inputfiles() && outputfile()))
            finished = mergeall();
        finished = finished && !failed && blocks.sess->detail == 0;
    }

    bool putall() {
        const bool byblock = (blocks.prim->recoprat & KVRN_PUT_BLOCK) != 0;
        for (uint32_t number = 0; made < records.records(); ++number) {
            if (!oddly(number))
                return false;
            const uint32_t some = byblock ? 1 + made % 3 : 1;
            announce(byblock ? records.block(made, some) : records.record(made, false));
            made += some;
            const uint32_t before = blocks.sess->putcount;
            if (putcall() == KVRN_DONE)
                put += blocks.sess->putcount - (blocks.text() && byblock ? 0 : before);
            else if ((calls & 8) == 0)
                return false;
        }
        blocks.sess->code = KVRN_END;
        return putcall() == KVRN_ENDED;
    }

    bool getall() {
        for (uint32_t number = 0; number < enoughcalls; ++number) {
            if (!oddly(number))
                return false;
            const int result = getcall();
            if (result != KVRN_DONE)
                return ended(result);
            look(blocks.sess->recaddr, blocks.sess->reclen);
        }
        finding("a kvrnget without end");
    }

    // More than one end must be harmless too.
    bool ended(int result) {
        got = blocks.sess->getcount;
        if (!inputfiles() && !failed && result == KVRN_ENDED)
            checkcounts();
        for (int again = 0; again < (calls >> 6); ++again)
            (void)getcall();
        return result == KVRN_ENDED;
    }

    void checkcounts() {
        const uint8_t bits = blocks.prim->options;
        const bool dropping = (bits & (KVRN_SUM | KVRN_SUPPRESS)) != 0 ||
                              ((bits & KVRN_SELECT) != 0 && blocks.level() != 0);
        if (got > put || (!dropping && got < put))
            finding("records lost or made");
    }

    // Gives each input its records in turn, asked for by mergestat and inputno.
    bool mergeall() {
        KVRNSESS &sess = *blocks.sess;
        const bool feeds = !inputfiles();
        const uint32_t each = records.records() / (blocks.prim->mergecnt % 8 + 1);
        uint32_t fed[64] = {};
        for (uint32_t number = 0; number < enoughcalls; ++number) {
            if (!oddly(number))
                return false;
            if (feeds) {
                uint32_t &next = fed[sess.inputno % std::size(fed)];
                const recordspan line = records.record(next, false);
                severallines = severallines || holdsdelimiter(line);
                announce(line);
                if (sess.mergestat != KVRN_WANTS_RECORD || next++ >= each)
                    sess.code = KVRN_END;
            }
            const int result = mergecall();
            if (result != KVRN_DONE)
                return result == KVRN_ENDED;
            if (!outputfile() && sess.outaddr != nullptr)
                look(sess.outaddr, sess.outlen);
        }
        finding("a kvrnmrge without end");
    }

    void show(int opened, int closed) const {
        const KVRNPRIM &prim = *blocks.prim;
        const KVRNSESS &sess = *blocks.sess;
        fprintf(stderr,
                "version %08x function %c form %c options %u files %u exchange %u reclen %u "
                "inputs %u %s to %s\n",
                blocks.version, prim.function, blocks.text() ? 'r' : prim.recform, prim.options,
                prim.fileoprat, prim.recoprat, prim.reclen, prim.mergecnt,
                inputfiles() ? "files" : "caller", outputfile() ? "file" : "caller");
        fprintf(stderr, "opened %d, %u records made, %u put, %u got, detail %u, closed %d\n",
                opened, made, put, sess.getcount, sess.detail, closed);
    }

    // ---- checks ------------------------------------------------------------------

    // Summation that stops for want of room loses the record that it held, and
    // several lines in one record are counted as one: the balance of counts tells
    // either.  And an operation that fails may be the close's.
    [[nodiscard]] bool mayunbalance() const {
        return (blocks.prim->options & KVRN_SUM) != 0 || severallines || plan.failat != 0 ||
               plan.capacity[0] < 0x200000;
    }

    void checkheld(const platformstate &before) const {
        const platformstate after = held();
        if (after.memory != 0)
            finding("memory that is held after the close");
        if (after.handles != 0)
            finding("a file that is open after the close");
        const bool kept = blocks.level() != 0 && (blocks.prim->tmpopt & KVRN_TMP_KEEP) != 0;
        const uint32_t output = outputfile() ? 1 : 0;
        if (!kept && plan.failat == 0 && after.files > before.files + output)
            finding("a temporary file that stays");
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

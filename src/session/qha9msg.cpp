// Recording and printing of failures and statistics points.
//
// The record (errdetail, the kept message) is made whatever the settings are; a line goes
// out only where level and option allow it.

#include "session/qha9msg.h"

#include "session/msgformat.h"

namespace kvern {

namespace {

constexpr int lv_highest = lv_inner;
constexpr uint32_t statpoint = 1000; // row + 1000: a statistics point
constexpr uint32_t maxargs = sizeof keptmessage::args / sizeof(msgarg);

// Gathers a line and hands it to a stream; longer texts go out in pieces.
struct linebuffer {
    platform::stream to;
    uint32_t used;
    char bytes[512];

    void flush() {
        if (used)
            platform::print(to, bytes, used);
        used = 0;
    }
    void put(char c) {
        if (used == sizeof bytes)
            flush();
        bytes[used++] = c;
    }
};

void printformat(platform::stream to, const char *format, const msgarg *args, uint32_t count) {
    linebuffer line;
    line.to = to;
    line.used = 0;
    formatmessage(line, format, args, count);
    line.flush();
}

// The lines behind a failure at the highest print level, in Shift-JIS.
constexpr char errdetail_line[] = "errdetail\x82\xCD%d\x82\xC5\x82\xB7\x81\x44\n";
constexpr char errno_line[] = "errno\x82\xCD%d\x82\xC5\x82\xB7\x81\x44\n";

void printvalue(const char *format, uint32_t value) {
    const msgarg arg = msgarg::of(value);
    printformat(platform::stream::error, format, &arg, 1);
}

void printmessage(const qha5ctx *ctx, uint32_t number) {
    if (number >= 1 && number < msgrows) {
        const msgarg args[maxargs] = {ctx->msgarg1, ctx->msgarg2, ctx->msgarg3, ctx->msgarg4,
                                      ctx->msgarg5};
        printformat(platform::stream::output, ctx->msgtable[number], args, ctx->msgargc);
    } else {
        const msgarg asked = msgarg::of(number);
        printformat(platform::stream::output, ctx->msgtable[0], &asked, 1);
    }
}

// What a program asks for later: statistics points tell it nothing, and what comes
// after the first detail code is a consequence of that.
void keep(qha5ctx *ctx, uint32_t detail, msgno message) {
    if (message >= statpoint || ctx->kept.detail != 0)
        return;
    ctx->kept = {message,
                 detail,
                 ctx->errnum,
                 ctx->msgargc,
                 {ctx->msgarg1, ctx->msgarg2, ctx->msgarg3, ctx->msgarg4, ctx->msgarg5}};
}

} // namespace

void report(qha5ctx *ctx, uint32_t detail, msgno message, int level) {
    if (ctx->probing) {
        ctx->probedetail = detail;
        return;
    }
    notedetail(ctx, detail);
    keep(ctx, detail, message);
    if (level == 0 || level > ctx->msglevel || ctx->msglevel > lv_highest)
        return;
    if (ctx->msgargc > maxargs) {
        message = msg_logic;
        setargs(ctx, msgarg::of("qha9msg"), msgarg::of(140));
    }
    if (message > statpoint)
        return;
    if (!ctx->msgprint || (ctx->msgtable == nullptr))
        return;
    printmessage(ctx, message);
    if (detail != 0 && ctx->msglevel == lv_highest) {
        printvalue(errdetail_line, ctx->errdetail);
        printvalue(errno_line, ctx->errnum);
    }
}

void point(qha5ctx *ctx, msgno row, int level) {
    report(ctx, 0, static_cast<msgno>(statpoint + row), level);
}

void setargs(qha5ctx *ctx) {
    ctx->msgargc = 0;
}

void setargs(qha5ctx *ctx, msgarg first) {
    ctx->msgargc = 1;
    ctx->msgarg1 = first;
}

void setargs(qha5ctx *ctx, msgarg first, msgarg second) {
    ctx->msgargc = 2;
    ctx->msgarg1 = first;
    ctx->msgarg2 = second;
}

void setargs(qha5ctx *ctx, msgarg first, msgarg second, msgarg third) {
    setargs(ctx, first, second);
    ctx->msgargc = 3;
    ctx->msgarg3 = third;
}

int failstale(qha5ctx *ctx, msgno message, uint32_t detail) {
    report(ctx, detail, message, lv_failure);
    return -1;
}

int fail(qha5ctx *ctx, msgno message, uint32_t detail) {
    setargs(ctx);
    return failstale(ctx, message, detail);
}

int fail(qha5ctx *ctx, msgno message, uint32_t detail, const char *first) {
    setargs(ctx, msgarg::of(first));
    return failstale(ctx, message, detail);
}

int fail(qha5ctx *ctx, msgno message, uint32_t detail, uint32_t first) {
    setargs(ctx, msgarg::of(first));
    return failstale(ctx, message, detail);
}

int fail(qha5ctx *ctx, msgno message, uint32_t detail, const char *first, uint32_t second) {
    setargs(ctx, msgarg::of(first), msgarg::of(second));
    return failstale(ctx, message, detail);
}

int faillogic(qha5ctx *ctx) {
    return failstale(ctx, msg_logic, KVRN_D_LOGIC);
}

} // namespace kvern

// Recording and printing of failures and statistics points.
//
// The record (errdetail, lastmsg) is kept whatever the settings are; a line goes
// out only where level and option allow it.

#include "session/qha9msg.h"

#include "session/msgformat.h"

namespace kvern {

namespace {

constexpr int lv_highest = 6;
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

void printmessage(const qha5ctx *ctx, uint32_t msgno) {
    if (msgno >= 1 && msgno < msgrows) {
        const msgarg args[maxargs] = {ctx->msgarg1, ctx->msgarg2, ctx->msgarg3, ctx->msgarg4,
                                      ctx->msgarg5};
        printformat(platform::stream::output, ctx->msgtable[msgno], args, ctx->msgargc);
    } else {
        const msgarg number = msgarg::of(msgno);
        printformat(platform::stream::output, ctx->msgtable[0], &number, 1);
    }
}

// What a program asks for later: statistics points tell it nothing, and what comes
// after the first detail code is a consequence of that.
void keep(qha5ctx *ctx, uint32_t detail, uint32_t msgno) {
    if (msgno >= statpoint || ctx->kept.detail != 0)
        return;
    ctx->kept = {msgno,
                 detail,
                 ctx->errnum,
                 ctx->msgargc,
                 {ctx->msgarg1, ctx->msgarg2, ctx->msgarg3, ctx->msgarg4, ctx->msgarg5}};
}

} // namespace

void report(qha5ctx *ctx, uint32_t detail, uint32_t msgno, int level) {
    if (detail != 0 && ctx->errdetail == 0)
        ctx->errdetail = detail;
    ctx->lastmsg = msgno;
    keep(ctx, detail, msgno);
    if (level == 0 || level > ctx->msglevel || ctx->msglevel > lv_highest)
        return;
    if (ctx->msgargc > maxargs) {
        msgno = 43;
        setargs(ctx, msgarg::of("qha9msg"), msgarg::of(140));
    }
    if (msgno > statpoint)
        return;
    if (ctx->msgprint != 1 || !ctx->msgtable)
        return;
    printmessage(ctx, msgno);
    if (detail != 0 && ctx->msglevel == lv_highest) {
        printvalue(errdetail_line, ctx->errdetail);
        printvalue(errno_line, ctx->errnum);
    }
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

int failstale(qha5ctx *ctx, uint32_t msgno, uint32_t detail) {
    report(ctx, detail, msgno, lv_failure);
    return -1;
}

int fail(qha5ctx *ctx, uint32_t msgno, uint32_t detail) {
    setargs(ctx);
    return failstale(ctx, msgno, detail);
}

int fail(qha5ctx *ctx, uint32_t msgno, uint32_t detail, const char *first) {
    setargs(ctx, msgarg::of(first));
    return failstale(ctx, msgno, detail);
}

int fail(qha5ctx *ctx, uint32_t msgno, uint32_t detail, uint32_t first) {
    setargs(ctx, msgarg::of(first));
    return failstale(ctx, msgno, detail);
}

int fail(qha5ctx *ctx, uint32_t msgno, uint32_t detail, const char *first, uint32_t second) {
    setargs(ctx, msgarg::of(first), msgarg::of(second));
    return failstale(ctx, msgno, detail);
}

int faillogic(qha5ctx *ctx) {
    return failstale(ctx, 43, KVRN_D_LOGIC);
}

} // namespace kvern

#include "enginecontext.h"
#include "session/qha9msg.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

namespace kvern {
namespace {

constexpr msgarg noarg = {};

struct speaking : enginecontext {
    speaking() {
        msgprint = 1;
        msglevel = lv_failure;
    }
    // Without CR: reading back what was captured drops it on Windows.
    std::string printed(uint32_t detail, uint32_t msgno, int at = lv_failure) {
        testing::internal::CaptureStdout();
        report(this, detail, msgno, at);
        std::string lines = testing::internal::GetCapturedStdout();
        lines.erase(std::remove(lines.begin(), lines.end(), '\r'), lines.end());
        return lines;
    }
};

TEST(catalogue, rows_tell_their_number_and_end_the_line) {
    for (uint32_t row = 0; row < msgrows; ++row) {
        const std::string text = qha9msgt[row];
        EXPECT_EQ(text.rfind("KVERN:" + std::to_string(row) + ":", 0), 0U) << text;
        EXPECT_EQ(text.substr(text.size() - 2), "\r\n") << text;
        uint32_t places = 0;
        for (size_t at = text.find('%'); at != std::string::npos; at = text.find('%', at + 1)) {
            EXPECT_NE(std::string("sdu").find(text.at(at + 1)), std::string::npos) << text;
            ++places;
        }
        EXPECT_LE(places, 3U) << text;
    }
}

TEST(report, formats_arguments_by_their_tags) {
    struct {
        uint32_t msgno, argc;
        msgarg first, second;
        const char *line;
    } const cases[] = {
        {5, 1, msgarg::of("x=%s"), noarg, "KVERN:5:Invalid value (x=%s) is specified.\n"},
        {2, 2, msgarg::of("a"), msgarg::of("b"),
         "KVERN:2:Exclusive options (a), (b) are specified.\n"},
        {83, 2, msgarg::of("time"), msgarg::of(0x80000000U),
         "KVERN:83:Error occurred during system call or library function (time)(-2147483648).\n"},
        {44, 1, msgarg::of(UINT32_MAX), noarg, "KVERN:44:Number of input records is 4294967295.\n"},
        {7, 1, msgarg::of(UINT32_MAX), noarg,
         "KVERN:7:The mistake is found in the specification of the key-field(-1).\n"},
        // Arguments of another report, of the wrong kind, or none.
        {43, 2, msgarg::of(17U), msgarg::of("tag"),
         "KVERN:43:Logical error occurred at KVERN.(-0)\n"},
        {43, 1, msgarg::of("tag"), msgarg::of(3U),
         "KVERN:43:Logical error occurred at KVERN.(tag-0)\n"},
        {27, 1, msgarg::of(static_cast<const char *>(nullptr)), noarg,
         "KVERN:27:File() does not exist.\n"},
        {40, 0, noarg, noarg, "KVERN:40:The string was not sorted.\n"},
        // Numbers that have no row.
        {0, 1, msgarg::of("x"), noarg, "KVERN:0:Message(No.0) not found!!\n"},
        {93, 0, noarg, noarg, "KVERN:0:Message(No.93) not found!!\n"},
        {1000, 0, noarg, noarg, "KVERN:0:Message(No.1000) not found!!\n"},
        {1044, 1, msgarg::of(5U), noarg, ""},
        // More arguments than there can be.
        {5, 6, msgarg::of("x"), noarg, "KVERN:43:Logical error occurred at KVERN.(qha9msg-140)\n"},
        {1044, 6, noarg, noarg, "KVERN:43:Logical error occurred at KVERN.(qha9msg-140)\n"},
    };
    for (const auto &c : cases) {
        speaking ctx;
        ctx.msgargc = c.argc;
        ctx.msgarg1 = c.first;
        ctx.msgarg2 = c.second;
        EXPECT_EQ(ctx.printed(0, c.msgno), c.line);
        EXPECT_EQ(ctx.lastmsg, c.msgno);
    }
}

TEST(report, long_texts_come_out_whole) {
    speaking ctx;
    const std::string path(3000, 'p');
    setargs(&ctx, msgarg::of(path.c_str()));
    EXPECT_EQ(ctx.printed(215, 27), "KVERN:27:File(" + path + ") does not exist.\n");
}

TEST(report, prints_by_level_and_records_always) {
    struct {
        uint8_t msglevel, msgprint;
        int level;
        bool printed;
    } const cases[] = {
        {1, 1, 2, false}, {2, 1, 2, true},  {2, 0, 2, false}, {6, 1, 0, false}, {6, 1, 6, true},
        {5, 1, 6, false}, {7, 1, 2, false}, {1, 1, 1, true},  {0, 1, 1, false},
    };
    for (const auto &c : cases) {
        speaking ctx;
        ctx.msglevel = c.msglevel;
        ctx.msgprint = c.msgprint;
        EXPECT_EQ(!ctx.printed(0, 40, c.level).empty(), c.printed)
            << int{c.msglevel} << ' ' << int{c.msgprint} << ' ' << c.level;
        EXPECT_EQ(ctx.lastmsg, 40U);
    }
}

TEST(report, the_first_detail_stays) {
    speaking ctx;
    ctx.msglevel = 1;
    EXPECT_EQ(fail(&ctx, 27, 0, "x"), -1);
    EXPECT_EQ(ctx.errdetail, 0U);
    EXPECT_EQ(fail(&ctx, 27, 215, "x"), -1);
    EXPECT_EQ(faillogic(&ctx), -1);
    EXPECT_EQ(ctx.errdetail, 215U);
    EXPECT_EQ(ctx.lastmsg, 43U);
}

TEST(report, the_highest_level_adds_the_codes) {
    speaking ctx;
    ctx.msglevel = 6;
    ctx.errdetail = 59;
    ctx.errnum = 5;
    testing::internal::CaptureStderr();
    ctx.printed(60, 8);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "errdetail\x82\xCD"
                                                      "59\x82\xC5\x82\xB7\x81\x44\n"
                                                      "errno\x82\xCD"
                                                      "5\x82\xC5\x82\xB7\x81\x44\n");
}

} // namespace
} // namespace kvern

// A clock that fails costs the session nothing, and the message bears its error.
#include "fuzz/memory_platform.h"
#include "session/handmade.h"

#include <gtest/gtest.h>

namespace kvern::test {

namespace {

int KVRN_CALL timephases(KVRNSESS *sess, void *) {
    return kvrnlevl(sess, 3);
}

} // namespace

TEST(fault, a_clock_that_fails_is_told_with_its_error) {
    constexpr int clocks = 3; // at the start, before the input, behind it
    int failed = 0;
    bool more = true;
    for (uint32_t at = 1; more; ++at) {
        memoryplan plan;
        plan.grant = maxgrant;
        plan.failat = at;
        startplatform(plan);
        handmade s;
        kvrnhook(timephases, nullptr);
        const bool sorted = s.open() == 0 && s.put("12345678") == 0 && s.end() == 1;
        more = held().operations >= at;
        char text[200] = "";
        (void)kvrntext(&s.sess, text, sizeof text);
        if (std::string(text).find("(time)") == std::string::npos)
            continue;
        ++failed;
        EXPECT_TRUE(sorted) << text;
        EXPECT_NE(std::string(text).find("(time)(1117)"), std::string::npos) << text;
    }
    EXPECT_EQ(failed, clocks);
}

} // namespace kvern::test

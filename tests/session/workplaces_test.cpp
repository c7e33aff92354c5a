// Where the command lets the engine make temporary files: as often as is needed where one
// has 4 GiB at most.
#include "kvern/system/workplaces.h"

#include <gtest/gtest.h>

namespace {

using places = std::vector<std::string>;

TEST(workplaces, are_listed_again_where_files_are_narrow) {
    constexpr uint32_t most = 10u << 20;
    EXPECT_EQ(command::workplaces({"a"}, most, false), places{"a"});
    EXPECT_EQ(command::workplaces({"a"}, most, true), places(16, "a"));
    EXPECT_EQ(command::workplaces({"a", "b", "c"}, most, true).size(), 15U);
    // A long name takes no great part of a small storage.
    EXPECT_EQ(command::workplaces({std::string(400, 'x')}, 64u << 10, true).size(), 2U);
    EXPECT_EQ(command::workplaces(places(30, "a"), most, true).size(), 30U);
#if defined(_WIN32) // sets TEMP
    EXPECT_EQ(command::workplaces({"\\\\server\\share"}, most, true).size(), 1U);
#else
    setenv("KVERN_TMPDIR", ".", 1);
#endif
    EXPECT_EQ(command::workplaces({}, most, true).size(), 16U);
}

} // namespace

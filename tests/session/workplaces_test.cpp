// Where the command lets the engine make temporary files: as often as is needed where one
// has 4 GiB at most.
#include "kvern/workplaces.h"

#include "support/tempfolder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>

namespace {

using places = std::vector<std::string>;

TEST(workplaces, are_listed_again_where_files_are_narrow) {
    const kvern::test::tempfolder folder;
    const std::string here = folder.path();
    constexpr uint32_t most = 10u << 20;
    const places one = {here}, two = {"a", "b"};
    EXPECT_EQ(command::workplaces(one, most, false), one);
    EXPECT_EQ(command::workplaces({}, most, false), places{});
    EXPECT_EQ(command::workplaces(one, most, true), places(16, here));
    const places turns = command::workplaces(two, most, true);
    ASSERT_EQ(turns.size(), 16U);
    for (size_t i = 0; i < turns.size(); ++i)
        EXPECT_EQ(turns[i], two[i % 2]);
    // A long name takes no great part of a small storage.
    EXPECT_EQ(command::workplaces({std::string(400, 'x')}, 64u << 10, true).size(), 2U);
    EXPECT_EQ(command::workplaces(places(30, "a"), most, true).size(), 30U);
#if defined(_WIN32)
    _putenv(("KVERN_TMPDIR=" + here).c_str());
    EXPECT_EQ(command::workplaces({}, most, true), places(16, here));
    EXPECT_EQ(command::workplaces({"\\\\server\\share"}, most, true).size(), 1U);
    _putenv("KVERN_TMPDIR=");
#else
    setenv("KVERN_TMPDIR", here.c_str(), 1);
    EXPECT_EQ(command::workplaces({}, most, true), places(16, here));
    unsetenv("KVERN_TMPDIR");
#endif
}

} // namespace

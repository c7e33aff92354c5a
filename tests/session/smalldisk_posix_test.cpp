// A real disk that fills up: a tmpfs of 256 KB, where this program may mount one.
#include "handmade.h"

#include <algorithm>
#include <random>
#include <sys/mount.h>
#include <sys/resource.h>

namespace kvern::test {
namespace {

constexpr uint32_t reclen = 100, records = 10000;

class smalldisk : public ::testing::Test {
  protected:
    tempfolder folder;
    const std::string small = folder.file("small"), roomy = folder.file("roomy"),
                      more = folder.file("more"), out = folder.file("out");
    std::string given, sorted;
    bool mounted = false;

    void SetUp() override {
        for (const std::string &place : {small, roomy, more})
            std::filesystem::create_directory(place);
        mounted = mount("none", small.c_str(), "tmpfs", 0, "size=256k") == 0;
        if (!mounted)
            GTEST_SKIP() << "no right to mount a file system here";
        std::mt19937 random(3);
        strings all(records, std::string(reclen, '.'));
        for (std::string &record : all)
            for (size_t i = 0; i < 8; ++i)
                record[i] = static_cast<char>('a' + random() % 26);
        given = joined(all);
        std::sort(all.begin(), all.end());
        sorted = joined(all);
    }
    void TearDown() override {
        if (mounted) {
            EXPECT_EQ(umount(small.c_str()), 0) << "a file there is still open";
        }
    }

    // The detail code of a sort in 64 KB with these work directories.
    uint32_t sort(const std::string &output, const strings &places) {
        handmade s;
        s.prim.reclen = reclen;
        s.prim.memsize = KVRN_MEM_MIN;
        s.key(0, 8);
        s.infile(folder.file("in"));
        s.outfile(output);
        s.workplaces(places);
        const int opened = s.open();
        const uint32_t detail = s.sess.detail;
        EXPECT_EQ(opened == 0, detail == 0);
        EXPECT_EQ(s.close(), 0);
        EXPECT_TRUE(detail != 0 || s.output() == sorted);
        return detail;
    }
};

// A list of directories that is used up has no next file; only a place that was tried
// and failed is told as lack of space.
TEST_F(smalldisk, fills_up) {
    writefile(folder.file("in"), given);
    EXPECT_EQ(sort(out, {small, roomy}), 0U) << "the next place takes over";
    EXPECT_EQ(sort(out, {small}), uint32_t{KVRN_D_TEMPCREATE});
    EXPECT_EQ(sort(small + "/out", {roomy}), 277U);
}

// A signal would end the program.
TEST_F(smalldisk, files_may_not_grow) {
    writefile(folder.file("in"), given);
    rlimit before;
    getrlimit(RLIMIT_FSIZE, &before);
    for (const rlim_t most : {rlim_t{1030000}, rlim_t{1000}}) {
        const rlimit low = {most, before.rlim_max};
        setrlimit(RLIMIT_FSIZE, &low);
        const uint32_t detail = sort(out, {roomy, more});
        setrlimit(RLIMIT_FSIZE, &before);
        EXPECT_EQ(detail, most < given.size() ? uint32_t{KVRN_D_TEMPCREATE} : 0U);
    }
}

} // namespace
} // namespace kvern::test

// A real disk that fills up: a tmpfs of 256 KB, where this program may mount one.
#if defined(__linux__)

#include "kvern.h"
#include "support/tempfolder.h"

#include <filesystem>
#include <gtest/gtest.h>
#include <random>
#include <set>
#include <sys/mount.h>
#include <sys/resource.h>

namespace kvern::test {

namespace {

constexpr uint32_t record_length = 100;
constexpr uint32_t records = 10000;

class smalldisk : public ::testing::Test {
  protected:
    void SetUp() override {
        for (const char *name : {"small", "roomy", "more"})
            std::filesystem::create_directory(folder.file(name));
        mounted = mount("none", small().c_str(), "tmpfs", 0, "size=256k") == 0;
        if (!mounted)
            GTEST_SKIP() << "no right to mount a file system here";
        std::mt19937 random(3);
        std::string data(size_t{records} * record_length, '.');
        for (size_t at = 0; at < data.size(); at += record_length)
            for (size_t i = 0; i < 8; ++i)
                data[at + i] = static_cast<char>('a' + random() % 26);
        writefile(folder.file("in"), data);
    }
    void TearDown() override {
        if (mounted) {
            EXPECT_EQ(umount(small().c_str()), 0) << "a file there is still open";
        }
    }

    [[nodiscard]] std::string small() const { return folder.file("small"); }

    // The detail code of a sort in 64 KB with these work directories.
    uint32_t sort(const std::string &output, std::vector<std::string> places) {
        const std::string input = folder.file("in");
        KVRNKEY keys = {1, {{0, 8, KVRN_CHAR, KVRN_ASCENDING, 0, 0, nullptr}}};
        KVRNFLST inputs = {1, {input.c_str()}};
        struct {
            uint32_t count;
            const char *path[2];
        } work = {static_cast<uint32_t>(places.size()), {}};
        for (size_t i = 0; i < places.size(); ++i)
            work.path[i] = places[i].c_str();
        KVRNFILE files = {&inputs, output.c_str(), reinterpret_cast<KVRNFLST *>(&work),
                          nullptr, nullptr,        0,
                          {},      nullptr};
        KVRNLINK link = {};
        KVRNPRIM prim = {};
        KVRNSESS sess = {};
        prim.function = KVRN_SORT;
        prim.recform = KVRN_FIXED;
        prim.reclen = record_length;
        prim.memsize = KVRN_MEM_MIN;
        const int opened = kvrnopen(KVRN_VERSION_L4, &link, &prim, &sess, &keys, &files, nullptr);
        const uint32_t detail = sess.detail;
        EXPECT_EQ(opened == 0, detail == 0);
        EXPECT_EQ(kvrnclse(KVRN_VERSION_L4, &link, &prim, &sess), 0);
        return detail;
    }

    void expect_sorted(const std::string &path) const {
        const std::string in = readfile(folder.file("in"));
        const std::string out = readfile(path);
        std::multiset<std::string> expected, got;
        for (size_t at = 0; at < in.size(); at += record_length)
            expected.insert(in.substr(at, record_length));
        for (size_t at = 0; at < out.size(); at += record_length)
            got.insert(out.substr(at, record_length));
        EXPECT_EQ(got, expected);
        for (size_t at = record_length; at < out.size(); at += record_length)
            ASSERT_LE(out.compare(at - record_length, 8, out, at, 8), 0);
    }

    tempfolder folder;
    bool mounted = false;
};

} // namespace

TEST_F(smalldisk, the_next_place_takes_over) {
    const std::string out = folder.file("out");
    EXPECT_EQ(sort(out, {small(), folder.file("roomy")}), 0U);
    expect_sorted(out);
}

// A signal would end the program.
TEST_F(smalldisk, files_may_not_grow) {
    const std::string out = folder.file("out");
    rlimit before;
    getrlimit(RLIMIT_FSIZE, &before);
    for (const rlim_t most : {rlim_t{1030000}, rlim_t{1000}}) {
        const rlimit low = {most, before.rlim_max};
        setrlimit(RLIMIT_FSIZE, &low);
        const uint32_t detail = sort(out, {folder.file("roomy"), folder.file("more")});
        setrlimit(RLIMIT_FSIZE, &before);
        EXPECT_EQ(detail, most < records * record_length ? uint32_t{KVRN_D_TEMPCREATE} : 0U);
        if (detail == 0)
            expect_sorted(out);
    }
}

TEST_F(smalldisk, no_place_is_left) {
    // A list of directories that is used up has no next file; only a place that
    // was tried and failed is told as lack of space.
    EXPECT_EQ(sort(folder.file("out"), {small()}), uint32_t{KVRN_D_TEMPCREATE});
}

TEST_F(smalldisk, the_output_does_not_fit) {
    constexpr uint32_t diskfull = 277;
    EXPECT_EQ(sort(small() + "/out", {folder.file("roomy")}), diskfull);
}

} // namespace kvern::test

#endif

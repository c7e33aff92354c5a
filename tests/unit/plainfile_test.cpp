// Kinds 1 and 16 through their slots: binding, opens, fixed reads, writes, ends.

#include "unit/fileroom.h"

#include <gtest/gtest.h>

#if !defined(_WIN32)
#include <csignal>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>
#endif

using namespace kvern;

namespace {

struct told {
    uint32_t message, detail;
    bool operator==(const told &) const = default;
};
std::ostream &operator<<(std::ostream &out, const told &one) {
    return out << one.message << "/" << one.detail;
}
told tells(const fileroom &room) {
    return {room.ctx.lastmsg, room.ctx.errdetail};
}

TEST(plainfile, binding) {
    const struct {
        uint8_t kind;
        char form;
        int result;
        told report;
    } cases[] = {
        {1, 'f', 0, {}},        {1, 'r', 0, {}},  {16, 'f', 0, {}},        {16, 'r', 0, {}},
        {1, 'v', -1, {15, 55}}, {5, 'v', 0, {}},  {16, 'v', -1, {15, 55}}, {16, 0, -1, {15, 55}},
        {5, 'f', -1, {}},       {0, 'f', -1, {}}, {3, 'f', -1, {}},        {255, 'r', -1, {}},
    };
    for (const auto &one : cases) {
        fileroom room(static_cast<uint8_t>(one.form), 4, 8);
        EXPECT_EQ(room.bind(one.kind, 'r', "x"), one.result) << +one.kind << one.form;
        EXPECT_EQ(tells(room), one.report) << +one.kind << one.form;
        EXPECT_EQ(room.file.readfn != nullptr, one.result == 0 && one.kind != 5);
    }
}

TEST(plainfile, fixed_reads) {
    const struct {
        const char *content, *blocks;
    } cases[] = {
        {"", ""},
        {"aaaabbbbccccdddd", "aaaabbbb|ccccdddd"},
        {"aaaabbbbcccc", "aaaabbbb|cccc"},
        {"aaaabbb", "!35"},
        {"aaaabbbbccccd", "aaaabbbb!35"},
        {"aa\x1a\n", "aa\x1a\n"}, // a mark is data
    };
    const test::tempfolder dir;
    for (const uint8_t kind : {uint8_t{1}, uint8_t{16}})
        for (const auto &one : cases) {
            SCOPED_TRACE(one.content);
            fileroom room('f', 4, 8);
            ASSERT_EQ(room.bind(kind, 'r', filewith(dir, "in", one.content)), 0);
            ASSERT_EQ(room.open(), 0);
            EXPECT_EQ(room.readall("|"), one.blocks);
            if (room.ctx.errdetail != 0) {
                EXPECT_EQ(tells(room), (told{35, KVRN_D_READ}));
                EXPECT_STREQ(room.ctx.msgarg1.string, room.file.name);
                EXPECT_EQ(room.ctx.msgarg2.value, kind == 16 ? 1u : 0u);
            }
            EXPECT_EQ(room.close(), 0);
            EXPECT_EQ(room.close(), -1);
        }
}

// The output of a text session gets the mark that an input had; the arena's
// bytes are written as they are on both systems.
TEST(plainfile, writes_and_mark) {
    const test::tempfolder dir;
    for (const uint8_t kind : {uint8_t{1}, uint8_t{16}})
        for (const bool mark : {false, true}) {
            fileroom room('r', 8, 16);
            room.ctx.eofmark = mark;
            ASSERT_EQ(room.bind(kind, 'w', filewith(dir, "out", "older and longer than that")), 0);
            ASSERT_EQ(room.open(), 0);
            EXPECT_EQ(room.write("ab\ncd\r\n"), 7);
            EXPECT_EQ(room.write("\x1a\n"), 2);
            EXPECT_EQ(room.write(""), 0);
            EXPECT_EQ(room.close(), 0);
            EXPECT_EQ(test::readfile(dir.file("out")),
                      std::string("ab\ncd\r\n\x1a\n") + (mark ? "\x1a" : ""));
            EXPECT_EQ(tells(room), told{});
        }
}

TEST(plainfile, failed_opens) {
    const test::tempfolder dir;
    std::filesystem::create_directory(dir.file("dir"));
    const struct {
        std::string path;
        char mode;
        told byhandle, bydescr;
    } cases[] = {
        {dir.file("missing"), 'r', {32, 290}, {27, 215}},
        {dir.file("none/missing"), 'r', {32, 341}, {27, 215}},
        {dir.file("none/missing"), 'w', {32, 342}, {27, 215}},
        {"", 'r', {32, 341}, {27, 215}},
#if defined(_WIN32)
        {dir.file("dir"), 'r', {32, 371}, {37, 216}},
        {dir.file("dir"), 'w', {32, 372}, {38, 217}},
#else
        {dir.file("dir"), 'r', {32, 274}, {80, 235}},
        {dir.file("dir"), 'w', {32, 275}, {80, 235}},
        {filewith(dir, "file", "x") + "/below", 'r', {32, 341}, {79, 234}},
        {dir.file(std::string(300, 'n')), 'r', {32, 293}, {32, 208}},
#endif
    };
    for (const auto &one : cases)
        for (const uint8_t kind : {uint8_t{1}, uint8_t{16}}) {
            SCOPED_TRACE(one.path + " " + one.mode + " kind " + std::to_string(kind));
            fileroom room('f', 4, 8);
            ASSERT_EQ(room.bind(kind, one.mode, one.path), 0);
            EXPECT_EQ(room.open(), -1);
            EXPECT_EQ(room.file.isopen, 0);
            EXPECT_EQ(tells(room), kind == 16 ? one.byhandle : one.bydescr);
            EXPECT_STREQ(room.ctx.msgarg1.string, one.path.c_str());
        }
}

#if !defined(_WIN32)

struct writecase {
    uint8_t kind;
    told report;
    uint32_t error;
};

void failswriting(const writecase &one, int descr) {
    fileroom room('f', 4, 4096);
    EXPECT_EQ(room.bind(one.kind, 'w', "out"), 0);
    if (one.kind == 1)
        room.file.descriptor = descr;
    else
        room.file.handle = descr;
    EXPECT_EQ(room.write(std::string(4096, 'x')), -1);
    EXPECT_EQ(tells(room), one.report) << "kind " << +one.kind;
    EXPECT_EQ(room.ctx.errnum, one.error);
}

TEST(plainfile, failed_writes) {
    const test::tempfolder dir;
    const int full = open("/dev/full", O_WRONLY);
    ASSERT_GE(full, 0);
    failswriting({1, {81, 236}, 28}, full);
    failswriting({16, {36, 277}, 112}, full);
    ::close(full);

    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    ::close(ends[0]);
    failswriting({1, {36, 201}, 32}, ends[1]);
    failswriting({16, {36, 201}, 109}, ends[1]);
    ::close(ends[1]);

    // A file that may not grow: half of the block goes out before the error.
    rlimit before;
    getrlimit(RLIMIT_FSIZE, &before);
    const rlimit low = {2048, before.rlim_max};
    const int small = open(dir.file("small").c_str(), O_WRONLY | O_CREAT, 0600);
    setrlimit(RLIMIT_FSIZE, &low);
    failswriting({1, {82, 237}, 27}, small);
    failswriting({16, {36, 295}, 39}, small);
    setrlimit(RLIMIT_FSIZE, &before);
    ::close(small);
}

// The handle goes away even where its mark cannot be written.
TEST(plainfile, close_without_room_for_the_mark) {
    for (const uint8_t kind : {uint8_t{1}, uint8_t{16}}) {
        fileroom room('r', 4, 8);
        room.ctx.eofmark = 1;
        ASSERT_EQ(room.bind(kind, 'w', "/dev/full"), 0);
        ASSERT_EQ(room.open(), 0);
        const int descr = kind == 1 ? room.file.descriptor : static_cast<int>(room.file.handle);
        EXPECT_EQ(room.close(), kind == 1 ? 0 : -1);
        EXPECT_EQ(tells(room), (kind == 1 ? told{} : told{36, 277}));
        EXPECT_EQ(fcntl(descr, F_GETFD), -1) << "left open";
        EXPECT_EQ(room.file.isopen, 0);
    }
}

#endif

} // namespace

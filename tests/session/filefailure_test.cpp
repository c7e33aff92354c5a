// Failures of files, which those by handle and those by descriptor tell by tables of their
// own: message, detail, the system's code; and what of it is printed.
#include "handmade.h"

#include <algorithm>
#include <array>

namespace kvern::test {
namespace {

using told = std::array<uint64_t, 3>; // message, detail, the system's code
constexpr told nodisk = {81, 236, 28};

// Copies from a file of the kind to another one.  "mark" is a text that is nothing but an
// end mark, which the output gets when it is closed.
told copies(uint8_t kind, const std::string &in, const std::string &out) {
    handmade s;
    writefile(s.file("in"), std::string(4096, 'x'));
    writefile(s.file("torn"), "12345678123");
    writefile(s.file("mark"), "\x1A");
    std::filesystem::create_directory(s.file("dir"));
    if (in == "mark")
        s.astext(KVRN_DLMT_LF);
    KVRNFTYP kinds = {1, {in == "mark" ? uint8_t{KVRN_FILE_PLAIN} : kind}}; // who sees it
    s.files.intypes = &kinds;
    s.files.outtype = kind;
    s.prim.function = KVRN_COPY;
    const std::string from = s.file(in), to = out[0] == '/' ? out : s.file(out);
    s.infile(from);
    s.outfile(to);
    if (s.open() == 0)
        return {};
    const std::string text = s.message(); // "KVERN:32:..."
    const told is = {std::stoull(text.substr(6)), s.sess.detail, s.counters().syscode};
    const std::string &failed = in == "in" || in == "mark" ? to : from;
    EXPECT_EQ(text.find(failed) == text.npos, is == nodisk) << text;
    return is;
}

TEST(filefailure, is_told_by_kind) {
    const struct {
        std::string in, out;
        told byhandle, bydescr;
    } cases[] = {
        {"in", "out", {}, {}},
        {"mark", "out", {}, {}},
        {"missing", "out", {32, 290, 2}, {27, 215, 2}},
        {"none/missing", "out", {32, 341, 3}, {27, 215, 2}},
        {"in", "none/out", {32, 342, 3}, {27, 215, 2}},
        {"torn", "out", {35, 200, 0}, {35, 200, 0}},
#if defined(_WIN32)
        {"dir", "out", {32, 371, 5}, {37, 216, 13}},
        {"in", "dir", {32, 372, 5}, {38, 217, 13}},
#else
        {"dir", "out", {32, 274, 267}, {80, 235, 21}},
        {"in", "dir", {32, 275, 267}, {80, 235, 21}},
        {"in/below", "out", {32, 341, 3}, {79, 234, 20}},
        {std::string(300, 'n'), "out", {32, 293, 206}, {32, 208, 36}},
        {"in", "/dev/full", {36, 277, 112}, nodisk},
        {"mark", "/dev/full", {36, 277, 112}, {}}, // a descriptor's is not looked at
#endif
    };
    for (const auto &one : cases)
        for (const uint8_t kind : {KVRN_FILE_PLAIN, KVRN_FILE_DESCRIPTOR})
            EXPECT_EQ(copies(kind, one.in, one.out),
                      kind == KVRN_FILE_PLAIN ? one.byhandle : one.bydescr)
                << one.in << " to " << one.out << ", kind " << +kind;
}

int KVRN_CALL printing(KVRNSESS *sess, void *level) {
    return kvrnlevl(sess, *static_cast<unsigned char *>(level));
}

// Failures have level 2; the highest adds the codes, in Shift-JIS.  A text may be longer
// than what is printed at once.
TEST(filefailure, is_printed_by_option_and_level) {
    const std::string slashes(sizeof(void *) == 4 ? 1 : 600, '/');
    const std::string codes = "errdetail\x82\xCD\x32\x39\x30\x82\xC5\x82\xB7\x81\x44\n"
                              "errno\x82\xCD\x32\x82\xC5\x82\xB7\x81\x44\n";
    for (const bool option : {true, false})
        for (unsigned char level = 1; level <= 6; ++level) {
            handmade s;
            const std::string path = s.file(".") + slashes + "none";
            s.infile(path);
            s.prim.options = option ? KVRN_MSGPRINT : 0;
            kvrnhook(printing, &level);
            testing::internal::CaptureStdout();
            testing::internal::CaptureStderr();
            EXPECT_EQ(s.open(), -1);
            std::string printed = testing::internal::GetCapturedStdout();
            printed.erase(std::remove(printed.begin(), printed.end(), '\r'), printed.end());
            const std::string line =
                "KVERN:32:Error occurred during file (" + path + ") open.(2)\n";
            EXPECT_EQ(printed, option && level >= 2 ? line : "");
            EXPECT_EQ(testing::internal::GetCapturedStderr(), option && level == 6 ? codes : "");
        }
}

} // namespace
} // namespace kvern::test

// Sessions with files of the file manager, seen from the manager: every request of
// every kind and operation, and what becomes of a request that fails.
#include "support/managedsession.h"

#include <cerrno>
#include <gtest/gtest.h>

#if defined(_WIN32)
#include <windows.h>
#endif

namespace kvern::test {

namespace {

std::string joined(const std::vector<std::string> &lines) {
    std::string text;
    for (const std::string &line : lines)
        text += line + "\n";
    return text;
}

// ---- what is sent -----------------------------------------------------------

struct sequence {
    const char *name;
    managedjob job;
    const char *requests;
};

const sequence sequences[] = {
    {"sort, kind 2, fixed",
     {KVRN_SORT, 'f', 2, {2}, {{"bb", "aa"}}, 2},
     R"(load
InitFileManager
0=16 19=2 34=5 35=1
0=1 3=2 16=2 6"in0" 22:00090800 10=2
0=10 3=2 5"<in0>" 25:80 30=2
0=10 3=2 5"<in0>" 25:80 30=2
0=10 3=2 5"<in0>" 25:80 30=2
0=10 3=2 5"<in0>" 25:80 30=2
0=3 3=2 5"<in0>"
0=1 3=2 16=2 6"out" 22:80600900 10=2
0=15 3=2 5"<out>" 30=2 37=2 <aa
0=15 3=2 5"<out>" 30=2 37=2 <bb
0=3 3=2 5"<out>"
0=17
TermFileManager
unload
)"},
    {"sort, kind 19, variable, kinds inherited, to kind 2",
     {KVRN_SORT, 'v', 5, {19}, {{"ccccc"}, {"b", ""}}, 2},
     R"(load
InitFileManager
0=16 19=2 34=5 35=1
0=1 3=4 16=2 6"in0" 22:00094800 10=5
0=10 3=4 5"<in0>" 25:80 30=5
0=10 3=4 5"<in0>" 25:80 30=5
0=10 3=4 5"<in0>" 25:80 30=5
0=3 3=4 5"<in0>"
0=1 3=4 16=2 6"in1" 22:00094800 10=5
0=10 3=4 5"<in1>" 25:80 30=5
0=10 3=4 5"<in1>" 25:80 30=5
0=10 3=4 5"<in1>" 25:80 30=5
0=10 3=4 5"<in1>" 25:80 30=5
0=3 3=4 5"<in1>"
0=1 3=2 16=2 6"out" 22:80604900 10=5
0=15 3=2 5"<out>" 30=0 37=2 <
0=15 3=2 5"<out>" 30=1 37=2 <b
0=15 3=2 5"<out>" 30=5 37=2 <ccccc
0=3 3=2 5"<out>"
0=17
TermFileManager
unload
)"},
    {"sort, kind 18, fixed, to kind 18: all inputs as the last is described",
     {KVRN_SORT, 'f', 2, {18, 18}, {{"ab"}, {}}, 18},
     R"(load
InitFileManager
0=16 19=2 34=5 35=1
0=1 3=6 6"in0" 22=575744 10=2 9=2 18:01000000 19=7 20=9 42=513 46=1 47=2
0=10 3=6 5"<in0>" 25:80 30=2
0=10 3=6 5"<in0>" 25:80 30=2
0=10 3=6 5"<in0>" 25:80 30=2
0=3 3=6 5"<in0>"
0=1 3=6 6"in1" 22=575744 10=2 9=2 18:01000000 19=7 20=9 42=513 46=1 47=2
0=10 3=6 5"<in1>" 25:80 30=2
0=3 3=6 5"<in1>"
0=1 3=6 6"out" 22=647296 10=2 9=2 18:01000000 42=1024 45=16 46=1 47=1
0=14 3=6 5"<out>" 26:00 30=2 37=2 <ab
0=3 3=6 5"<out>"
0=17
TermFileManager
unload
)"},
    {"merge, kinds 2 and 18, to kind 19: files stay open",
     {KVRN_MERGE, 'f', 2, {2, 18}, {{"aa"}, {"bb"}}, 19},
     R"(load
InitFileManager
0=16 19=2 34=5 35=1
0=1 3=4 16=2 6"out" 22:80600900 10=2
0=1 3=6 6"in1" 22=575744 10=2 9=2 18:01000000 19=7 20=9 42=513 46=1 47=2
0=1 3=2 16=2 6"in0" 22:00090800 10=2
0=10 3=2 5"<in0>" 25:80 30=2
0=10 3=2 5"<in0>" 25:80 30=2
0=10 3=6 5"<in1>" 25:80 30=2
0=10 3=6 5"<in1>" 25:80 30=2
0=10 3=2 5"<in0>" 25:80 30=2
0=10 3=6 5"<in1>" 25:80 30=2
0=15 3=4 5"<out>" 30=2 37=2 <aa
0=15 3=4 5"<out>" 30=2 37=2 <bb
0=3 3=6 5"<in1>"
0=3 3=2 5"<in0>"
0=3 3=4 5"<out>"
0=17
TermFileManager
unload
)"},
    {"copy, kind 18, variable, to kind 18",
     {KVRN_COPY, 'v', 3, {18}, {{"b", "aaa"}}, 18},
     R"(load
InitFileManager
0=16 19=2 34=5 35=1
0=1 3=6 6"out" 22=4841600 10=3 9=0 18:01000000 42=1024 45=16 46=1 47=1
0=1 3=6 6"in0" 22=4770048 10=3 9=1 18:01000000 19=7 20=9 42=512 46=1 47=2
0=10 3=6 5"<in0>" 25:80 30=3
0=10 3=6 5"<in0>" 25:80 30=3
0=10 3=6 5"<in0>" 25:80 30=3
0=14 3=6 5"<out>" 26:00 30=1 37=2 <b
0=14 3=6 5"<out>" 26:00 30=3 37=2 <aaa
0=10 3=6 5"<in0>" 25:80 30=3
0=3 3=6 5"<in0>"
0=3 3=6 5"<out>"
0=17
TermFileManager
unload
)"},
    {"records of the caller to kind 19, no list of kinds",
     {KVRN_SORT, 'f', 2, {}, {}, 19, {"cd", "ab"}},
     R"(load
InitFileManager
0=16 19=2 34=5 35=1
0=1 3=4 16=2 6"out" 22:80600900 10=2
0=15 3=4 5"<out>" 30=2 37=2 <ab
0=15 3=4 5"<out>" 30=2 37=2 <cd
0=3 3=4 5"<out>"
0=17
TermFileManager
unload
)"},
    {"kind 19 to the caller",
     {KVRN_SORT, 'f', 2, {19}, {{"aa"}}, nooutput},
     R"(load
InitFileManager
0=16 19=2 34=5 35=1
0=1 3=4 16=2 6"in0" 22:00090800 10=2
0=10 3=4 5"<in0>" 25:80 30=2
0=10 3=4 5"<in0>" 25:80 30=2
0=10 3=4 5"<in0>" 25:80 30=2
0=3 3=4 5"<in0>"
0=17
TermFileManager
unload
)"},
    {"blocks of one record: a full block has not met the end",
     {KVRN_COPY, 'f', 20000, {19}, {{std::string(20000, 'x')}}, 19, {}, KVRN_MEM_MIN},
     R"(load
InitFileManager
0=16 19=2 34=5 35=1
0=1 3=4 16=2 6"out" 22:80600900 10=20000
0=1 3=4 16=2 6"in0" 22:00090800 10=20000
0=10 3=4 5"<in0>" 25:80 30=20000
0=15 3=4 5"<out>" 30=20000 37=2 <xxxxxxxx
0=10 3=4 5"<in0>" 25:80 30=20000
0=3 3=4 5"<in0>"
0=3 3=4 5"<out>"
0=17
TermFileManager
unload
)"},
};

} // namespace

// A manager that wants to be told of failures hears of none.
TEST(fmgr, requests_of_a_session) {
    for (const doublekind kind : {doublekind::plain, doublekind::told})
        for (const sequence &s : sequences) {
            const productdirectory product(doublefolder(kind));
            recordingmanager manager;
            const managedresult result = run(s.job, manager);
            EXPECT_EQ(joined(manager.lines), s.requests) << s.name;
            EXPECT_EQ(manager.broken, "") << s.name;
            EXPECT_EQ(result.opened, 0) << s.name;
            EXPECT_EQ(result.closed, 0) << s.name << ", detail " << result.detail;
            EXPECT_EQ(result.got.size(), s.job.outkind == nooutput ? 1U : 0U) << s.name;
        }
}

// ---- every call fails once --------------------------------------------------

namespace {

struct verdict {
    uint32_t message, detail;
};

bool operator==(const verdict &a, const verdict &b) {
    return a.message == b.message && a.detail == b.detail;
}
void PrintTo(const verdict &v, std::ostream *out) {
    *out << "message " << v.message << ", detail " << v.detail;
}

// What the failure of a request means, by the request's line.
verdict meaning(const std::string &line) {
    const struct {
        const char *begin;
        verdict means;
    } rows[] = {{"0=1 ", {32, 208}},  {"0=3 ", {34, 210}},  {"0=10 ", {35, 200}},
                {"0=14 ", {36, 201}}, {"0=15 ", {36, 201}}, {"", {75, 231}}};
    for (const auto &row : rows)
        if (line.rfind(row.begin, 0) == 0)
            return row.means;
    return {};
}

// A session with its library takes long under Wine.
#if defined(_WIN32)
constexpr size_t place_step = 4;
#else
constexpr size_t place_step = 1;
#endif

// The lines that a session leaves when the call at `place` fails.
std::vector<std::string> shortened(const std::vector<std::string> &whole,
                                   const recordingmanager::place &place, bool told) {
    const bool performed = place.function >= fmgrfunction::FileManager ||
                           place.function == fmgrfunction::InitFileManager;
    const bool replied =
        place.function == fmgrfunction::InitMsgScan || place.function == fmgrfunction::ScanParmType;
    const size_t at = replied ? place.line - 1 : place.line; // of the request that fails
    std::vector<std::string> lines(
        whole.begin(), whole.begin() + static_cast<ptrdiff_t>(at + (performed ? 1 : 0)));
    const std::string &failed = whole[at];
    const size_t handle = failed.find('<');
    const bool moves = failed.rfind("0=1", 0) == 0 && handle != std::string::npos;
    if (moves && told)
        lines.emplace_back("FailFileManager");
    if (moves) // a record; its file is open
        lines.push_back("0=3" + failed.substr(failed.find(" 3="), 4) + " 5\"" +
                        failed.substr(handle, failed.find('>') - handle + 1) + "\"");
    const bool ends = failed == "0=17" || failed == "TermFileManager";
    if (!ends && failed != "InitFileManager")
        lines.insert(lines.end(), {"0=17", "TermFileManager"});
    lines.emplace_back("unload");
    return lines;
}

} // namespace

TEST(fmgr, every_call_fails_once) {
    const managedjob jobs[] = {
        {KVRN_SORT, 'f', 2, {2}, {{"bb", "aa"}}, 19},
        {KVRN_SORT, 'v', 2, {18}, {{"bb", "a"}}, 18},
    };
    for (const managedjob &job : jobs) {
        const bool told = &job != jobs;
        const productdirectory product(doublefolder(told ? doublekind::told : doublekind::plain));
        recordingmanager whole;
        ASSERT_EQ(run(job, whole).closed, 0);
        std::map<fmgrfunction, size_t> seen;
        for (size_t i = 0; i < whole.places.size(); i++) {
            const recordingmanager::place &place = whole.places[i];
            recordingmanager manager;
            manager.failing = place.function;
            manager.failat = seen[place.function]++;
            if (i % place_step != 0)
                continue;
            const managedresult result = run(job, manager);
            const std::vector<std::string> expected = shortened(whole.lines, place, told);
            const bool replied = place.function == fmgrfunction::InitMsgScan ||
                                 place.function == fmgrfunction::ScanParmType;
            const std::string &failed = whole.lines[place.line - (replied ? 1 : 0)];
            const bool ends = failed == "0=17" || failed == "TermFileManager";
            const std::string where = "function " +
                                      std::to_string(static_cast<int>(place.function)) + ", call " +
                                      std::to_string(manager.failat) + ", " + failed;
            EXPECT_EQ(joined(manager.lines), joined(expected)) << where;
            EXPECT_EQ((verdict{result.message, result.detail}), meaning(failed)) << where;
            EXPECT_EQ(result.opened, ends ? 0 : -1) << where;
            EXPECT_EQ(result.closed, ends ? -1 : 0) << where;
        }
        EXPECT_GT(whole.places.size(), 80U);
    }
}

// ---- what replies mean ------------------------------------------------------

namespace {

using request = recordingmanager::request;

struct replyrow {
    const char *name;
    uint8_t in, out;
    char form;
    void (*twist)(request &r);
    verdict means;
    uint32_t syserr;
};

// The request opens the output.
bool makes(const request &r) {
    return r.code() == 1 && r.asked.at(6).bytes == "out";
}

#define WHEN(condition, ...)                                                                       \
    [](request &r) {                                                                               \
        if (condition) {                                                                           \
            __VA_ARGS__;                                                                           \
        }                                                                                          \
    }
constexpr int toomany = 24;
const std::string twelve = "<in0>......."; // the longest handle

const replyrow replyrows[] = {
    {"start refused", 2, 2, 'f', WHEN(r.code() == 16, r.status(0x30)), {75, 231}, 0},
    {"no status", 2, 2, 'f', WHEN(r.code() == 16, r.reply.erase(1)), {75, 231}, 0},
    {"a status of no length", 18, 2, 'f', WHEN(true, r.reply[1].measured = false), {0, 0}, 0},
    {"also of a failure",
     2,
     2,
     'f',
     WHEN(r.code() == 16, r.reply[1] = {"\x30", 0, false}),
     {75, 231},
     0},
    {"end: no reply is read", 2, 2, 'f', WHEN(r.code() == 17, r.reply.clear()), {0, 0}, 0},

    {"may not read", 2, 2, 'f', WHEN(r.code() == 1, r.status(0x37, 4)), {37, 216}, 0},
    {"may not read", 18, 2, 'f', WHEN(r.code() == 1, r.status(0x37, 4)), {37, 216}, 0},
    {"may not write", 2, 19, 'f', WHEN(makes(r), r.status(0x37)), {38, 217}, 0},
    {"may not write", 2, 18, 'f', WHEN(makes(r), r.status(0x37)), {38, 217}, 0},
    {"too many", 2, 2, 'f', WHEN(r.code() == 1, r.status(0x30), errno = toomany), {33, 209}, 0},
    {"too many", 2, 18, 'v', WHEN(makes(r), r.status(0x30), errno = toomany), {33, 209}, 0},
    {"not too many", 2, 2, 'f', WHEN(r.code() == 1, r.status(0x35), errno = toomany), {32, 208}, 0},
    {"other", 19, 2, 'f', WHEN(r.code() == 1, r.status(0x30, 9), errno = 5), {32, 208}, 0},
    {"other", 18, 2, 'f', WHEN(r.code() == 1, r.status(0x30, 9), errno = 5), {32, 243}, 9},
    {"other", 2, 18, 'f', WHEN(makes(r), r.status(0x35, 77)), {32, 243}, 77},

    {"longest handle",
     19,
     2,
     'f',
     WHEN(r.code() == 1 && !makes(r), r.reply[5].bytes = twelve),
     {0, 0},
     0},
    {"too long", 19, 2, 'f', WHEN(r.code() == 1, r.reply[5].bytes = twelve + "."), {32, 208}, 0},
    {"too long", 18, 2, 'f', WHEN(r.code() == 1, r.reply[5].bytes.resize(4000)), {32, 208}, 0},
    {"no handle", 2, 2, 'f', WHEN(r.code() == 1, r.reply.erase(5)), {32, 208}, 0},
    {"no organisation", 18, 2, 'f', WHEN(r.code() == 1, r.reply.erase(3)), {32, 208}, 0},
    {"another one", 18, 2, 'f', WHEN(r.code() == 1, r.reply[3].bytes = "\4"), {33, 209}, 0},
    {"one of no length", 18, 2, 'f', WHEN(r.code() == 1, r.reply[3].measured = false), {0, 0}, 0},
    {"an empty one", 18, 2, 'f', WHEN(r.code() == 1, r.reply[3].bytes = ""), {33, 209}, 0},

    {"kind 2 looks at the length alone",
     2,
     2,
     'f',
     WHEN(r.reply.count(30) != 0, r.status(0x34, 5)),
     {0, 0},
     0},
    {"no length",
     2,
     2,
     'v',
     WHEN(r.code() == 10, r.status(0x34, 5), r.reply.erase(30)),
     {35, 200},
     0},
    {"others at the status", 19, 2, 'f', WHEN(r.code() == 10, r.status(0x34, 5)), {35, 243}, 5},
    {"others at the status", 18, 2, 'v', WHEN(r.code() == 10, r.status(0x34, 5)), {35, 243}, 5},
    {"past an end not met", 19, 2, 'f', WHEN(r.code() == 10, r.status(0x96)), {35, 243}, 0},
    {"short", 18, 2, 'f', WHEN(r.code() == 10, r.reply[30].number = 1), {35, 200}, 0},
    {"long", 19, 2, 'f', WHEN(r.code() == 10, r.reply[30].number = 3), {35, 200}, 0},
    {"long", 2, 2, 'v', WHEN(r.code() == 10, r.reply[30].number = 3), {35, 200}, 0},
    {"longest", 2, 2, 'v', WHEN(r.code() == 10, r.reply[30].number = UINT32_MAX), {35, 200}, 0},

    {"write", 2, 19, 'f', WHEN(r.code() == 15, r.status(0x34, 5)), {36, 201}, 0},
    {"write", 2, 18, 'f', WHEN(r.code() == 14, r.status(0x22, 5)), {36, 243}, 5},
    {"close", 18, 2, 'f', WHEN(r.code() == 3, r.status(0x30, 5)), {34, 210}, 0},
};

} // namespace

TEST(fmgr, replies) {
    const productdirectory product(doublefolder());
    for (const replyrow &row : replyrows) {
        recordingmanager manager;
        manager.twist = row.twist;
        const managedjob job = {KVRN_SORT, row.form, 2, {row.in}, {{"bb", "aa"}}, row.out};
        const managedresult result = run(job, manager);
        const std::string where = std::string(row.name) + ", kind " + std::to_string(row.in) +
                                  " to " + std::to_string(row.out);
        EXPECT_EQ((verdict{result.message, result.detail}), row.means) << where;
        EXPECT_EQ(result.opened, row.means.detail == 0 ? 0 : -1) << where;
        EXPECT_EQ(result.closed, 0) << where;
        EXPECT_EQ(result.syserr, row.syserr) << where;
        EXPECT_EQ(manager.lines.back(), "unload") << where;
        EXPECT_EQ(manager.lines.at(manager.lines.size() - 2), "TermFileManager") << where;
    }
}

// A manager that knows of no failures sees the requests of a success.
TEST(fmgr, a_stop_is_told_and_closes_what_is_open) {
    managedjob job = {KVRN_COPY, 'f', 20000, {19}, {{std::string(20000, 'x')}}, 2};
    job.memsize = KVRN_MEM_MIN; // a block holds the record alone
    job.stopat = 6;
    for (const doublekind kind : {doublekind::plain, doublekind::told}) {
        const productdirectory product(doublefolder(kind));
        recordingmanager manager;
        const managedresult result = run(job, manager);
        const std::string told = kind == doublekind::told ? "FailFileManager\n" : "";
        EXPECT_EQ(joined(manager.lines), R"(load
InitFileManager
0=16 19=2 34=5 35=1
0=1 3=2 16=2 6"out" 22:80600900 10=20000
0=1 3=4 16=2 6"in0" 22:00090800 10=20000
0=10 3=4 5"<in0>" 25:80 30=20000
)" + told + "0=3 3=4 5\"<in0>\"\n" + told + R"(0=3 3=2 5"<out>"
0=17
TermFileManager
unload
)");
        EXPECT_EQ(result.opened, 1);
        EXPECT_EQ(result.closed, 1);
        EXPECT_EQ(result.detail, 0U);
    }
}

// What is closed after it belongs to a session that has failed, also a whole output.
TEST(fmgr, a_close_that_fails_is_told_before_the_others) {
    const productdirectory product(doublefolder(doublekind::told));
    recordingmanager manager;
    manager.twist = [](request &r) {
        if (r.code() == 3 && r.asked.at(5).bytes == "<in1>")
            r.status(0x30);
    };
    const managedresult result = run({KVRN_MERGE, 'f', 2, {2}, {{"aa"}, {"bb"}}, 2}, manager);
    const std::string lines = joined(manager.lines);
    EXPECT_EQ(lines.substr(lines.find("0=3")), R"(0=3 3=2 5"<in1>"
FailFileManager
0=3 3=2 5"<in0>"
FailFileManager
0=3 3=2 5"<out>"
0=17
TermFileManager
unload
)");
    EXPECT_EQ(result.opened, 0);
    EXPECT_EQ(result.closed, -1);
}

// ---- the library ------------------------------------------------------------

TEST(fmgr, is_found_where_the_setting_says) {
    const tempfolder empty;
    const tempfolder text;
    for (const char *name : {"m7hxfmg.dll", "libm7hxfmg.so"})
        writefile(text.file(name), "no library");
#if defined(_WIN32)
    const std::string separator = "\\";
#else
    const std::string separator = "/";
#endif
    const struct {
        std::string folder;
        size_t lines; // 0: not found
    } cases[] = {
        {doublefolder(), 14},
        {doublefolder() + separator, 14},
        {empty.path(), 0},
        {text.path(), 0},
        {doublefolder(doublekind::lacking), 2},
#if !defined(_WIN32) // where the manager of this tree lies beside the program
        {"", 0},
#endif
    };
    const managedjob job = {KVRN_SORT, 'f', 2, {2}, {{"aa"}}, 2};
    for (const auto &c : cases) {
        const productdirectory product(c.folder);
        recordingmanager manager;
        const managedresult result = run(job, manager);
        const bool works = c.lines == 14;
        EXPECT_EQ((verdict{result.message, result.detail}),
                  (works ? verdict{0, 0} : verdict{75, 231}))
            << c.folder;
        EXPECT_EQ(result.opened, works ? 0 : -1) << c.folder;
        EXPECT_EQ(result.closed, 0) << c.folder;
        EXPECT_EQ(manager.lines.size(), c.lines) << c.folder << joined(manager.lines);
    }
#if defined(_WIN32)
    // The system's own search finds that one, which looks for the files on disk.
    const productdirectory product("");
    recordingmanager manager;
    EXPECT_EQ(run(job, manager).detail, 208U);
    EXPECT_TRUE(manager.lines.empty());
#endif
}

} // namespace kvern::test

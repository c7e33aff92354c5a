// Sessions with files of the file manager, seen from the manager: the requests of every
// kind of file, and what becomes of a request that fails.
#include "manager/managedsession.h"
#include "manager/managerclient.h"
#include "manager/recordingmanager.h"

#include <algorithm>
#include <cerrno>

namespace kvern::test {

namespace {

struct job {
    uint8_t function, form;
    uint32_t reclen;
    std::vector<uint8_t> in; // kinds, as the caller lists them
    std::vector<records> inputs;
    uint8_t out;
    uint32_t memsize = 0;
};

struct verdict {
    int result;               // of kvrnopen and kvrnclse, of which one may fail
    uint32_t message, detail; // message: the first that was printed

    bool operator==(const verdict &b) const {
        return result == b.result && message == b.message && detail == b.detail;
    }
};
void PrintTo(const verdict &v, std::ostream *out) {
    *out << "result " << v.result << ", message " << v.message << ", detail " << v.detail;
}

// Failures are printed.
int KVRN_CALL printing(KVRNSESS *sess, void *) {
    (void)kvrnlevl(sess, 2);
    return 0;
}

// Blocks of different sizes tell indexed files apart.
std::string makeinput(const tempfolder &folder, const job &j, size_t i) {
    const uint8_t kind = j.in[std::min(i, j.in.size() - 1)];
    const uint32_t organisation = kind == KVRN_FILE_INDEXED    ? 6
                                  : kind == KVRN_FILE_RELATIVE ? 4
                                                               : 2;
    const filekind made = {organisation, j.form == 'v', j.reclen, keypart(0, 1, 0),
                           512 + static_cast<uint32_t>(i)};
    const std::string path = folder.file("in" + std::to_string(i));
    EXPECT_EQ(managerclient().writeall(path, made, j.inputs[i]), 0);
    return path;
}

verdict run(const job &j, uint32_t *syserr = nullptr) {
    const tempfolder folder;
    managedsession s(j.function, j.form, j.reclen);
    s.prim.memsize = j.memsize;
    s.prim.options = KVRN_MSGPRINT;
    for (size_t i = 0; i < j.inputs.size(); i++)
        s.input(makeinput(folder, j, i), i < j.in.size() ? j.in[i] : uint8_t{0});
    s.output(folder.file("out"), j.out);
    kvrnhook(printing, nullptr);
    testing::internal::CaptureStdout();
    verdict is = {s.open(), 0, 0};
    if (syserr)
        *syserr = s.sess.syserr;
    is.result += s.close();
    is.detail = s.sess.detail;
    const std::string printed = testing::internal::GetCapturedStdout();
    kvrnhook(nullptr, nullptr);
    if (std::sscanf(printed.c_str(), "KVERN:%u", &is.message) != 1)
        is.message = 0;
    return is;
}

// Lines that follow one like them are counted.
std::string joined(const std::vector<std::string> &lines) {
    std::string text;
    for (size_t i = 0, n = 1; i < lines.size(); i += n, n = 1) {
        while (i + n < lines.size() && lines[i + n] == lines[i])
            n++;
        text += lines[i] + (n > 1 ? " x" + std::to_string(n) : "") + "\n";
    }
    return text;
}

// The folder of the shim, and of those with a function fewer and one more.
const std::string shim = KVERN_BINARY_DIR "/fmgr_shim", lacking = KVERN_BINARY_DIR "/fmgr_lacking",
                  told = KVERN_BINARY_DIR "/fmgr_told";

const std::string start = "load\nInitFileManager\n0=16 19=2 34=5 35=1\n",
                  end = "0=17\nTermFileManager\nunload\n";

struct sequence {
    const char *name;
    job what;
    const char *requests; // between start and end
};

const sequence sequences[] = {
    {"kind 2, fixed",
     {KVRN_SORT, 'f', 2, {2}, {{"bb", "aa"}}, 2},
     R"(0=1 3=2 16=2 6"in0" 22:00090800 10=2
0=10 3=2 5"<in0>" 25:80 30=2 x4
0=3 3=2 5"<in0>"
0=1 3=2 16=2 6"out" 22:80600900 10=2
0=15 3=2 5"<out>" 30=2 37=2 <aa
0=15 3=2 5"<out>" 30=2 37=2 <bb
0=3 3=2 5"<out>"
)"},
    {"kind 19, variable, inherited; blocks of one record",
     {KVRN_COPY, 'v', 20000, {19}, {{std::string(20000, 'x')}, {"b"}}, 19, KVRN_MEM_MIN},
     R"(0=1 3=4 16=2 6"out" 22:80604900 10=20000
0=1 3=4 16=2 6"in0" 22:00094800 10=20000
0=10 3=4 5"<in0>" 25:80 30=20000
0=15 3=4 5"<out>" 30=20000 37=2 <xxxxxxxx
0=10 3=4 5"<in0>" 25:80 30=20000
0=3 3=4 5"<in0>"
0=1 3=4 16=2 6"in1" 22:00094800 10=20000
0=10 3=4 5"<in1>" 25:80 30=20000 x2
0=15 3=4 5"<out>" 30=1 37=2 <b
0=10 3=4 5"<in1>" 25:80 30=20000
0=3 3=4 5"<in1>"
0=3 3=4 5"<out>"
)"},
    {"kind 18: all inputs as the last one is described",
     {KVRN_MERGE, 'f', 2, {18, 18, 2}, {{"ab"}, {}, {"bb"}}, 18},
     R"(0=1 3=6 6"out" 22=647296 10=2 9=2 18:01000000 42=1024 45=16 46=1 47=1
0=1 3=2 16=2 6"in2" 22:00090800 10=2
0=1 3=6 6"in1" 22=575744 10=2 9=2 18:01000000 19=1 20=1 42=513 46=1 47=2
0=1 3=6 6"in0" 22=575744 10=2 9=2 18:01000000 19=1 20=1 42=513 46=1 47=2
0=10 3=6 5"<in0>" 25:80 30=2 x2
0=10 3=6 5"<in1>" 25:80 30=2
0=10 3=2 5"<in2>" 25:80 30=2 x2
0=10 3=6 5"<in0>" 25:80 30=2
0=10 3=2 5"<in2>" 25:80 30=2
0=14 3=6 5"<out>" 26:00 30=2 37=2 <ab
0=14 3=6 5"<out>" 26:00 30=2 37=2 <bb
0=3 3=2 5"<in2>"
0=3 3=6 5"<in1>"
0=3 3=6 5"<in0>"
0=3 3=6 5"<out>"
)"},
};

} // namespace

// A manager that wants to be told of failures hears of none.
TEST(requests, of_a_session) {
    for (const std::string &folder : {shim, told})
        for (const sequence &s : sequences) {
            const productdirectory product(folder);
            recordingmanager manager;
            EXPECT_EQ(run(s.what), (verdict{0, 0, 0})) << s.name;
            EXPECT_EQ(joined(manager.lines), start + s.requests + end) << s.name;
        }
}

// ---- every call fails once --------------------------------------------------

namespace {

// What a session comes to when the request of this line fails.
verdict meaning(const std::string &line) {
    const struct {
        const char *begin;
        verdict means;
    } rows[] = {{"0=1 ", {-1, 32, 208}},  {"0=3 ", {-1, 34, 210}},  {"0=10 ", {-1, 35, 200}},
                {"0=14 ", {-1, 36, 201}}, {"0=15 ", {-1, 36, 201}}, {"", {-1, 75, 231}}};
    return std::find_if(std::begin(rows), std::end(rows),
                        [&](const auto &row) { return line.rfind(row.begin, 0) == 0; })
        ->means;
}

// The place in `whole` of the line whose call fails.
size_t failedline(const recordingmanager::place &place) {
    const bool replied = place.function == "InitMsgScan" || place.function == "ScanParmType";
    return replied ? place.line - 1 : place.line;
}

// The lines that a session leaves when the call at `place` fails: all that is open is
// closed, in the usual order, but the manager is told before.
std::vector<std::string> shortened(const std::vector<std::string> &whole,
                                   const recordingmanager::place &place, bool tells) {
    const size_t at = failedline(place);
    const bool sent = place.function.rfind("Bld", 0) != 0; // even if it failed then
    std::vector<std::string> lines(whole.begin(),
                                   whole.begin() + static_cast<ptrdiff_t>(at + (sent ? 1 : 0)));
    const std::string before = joined({whole.begin(), whole.begin() + static_cast<ptrdiff_t>(at)});
    for (size_t i = at + 1; i < whole.size(); i++) {
        const size_t name = whole[i].find('<') + 1;
        if (whole[i].rfind("0=3", 0) != 0 ||
            before.find("6\"" + whole[i].substr(name, whole[i].find('>') - name) + "\"") ==
                std::string::npos)
            continue;
        if (tells)
            lines.emplace_back("FailFileManager");
        lines.push_back(whole[i]);
    }
    if (whole[at] != "0=17" && whole[at] != "TermFileManager" && whole[at] != "InitFileManager")
        lines.insert(lines.end(), {"0=17", "TermFileManager"});
    lines.emplace_back("unload");
    return lines;
}

// A session with its library takes long under Wine.
#if defined(_WIN32)
constexpr size_t placestep = 7;
#else
constexpr size_t placestep = 1;
#endif

} // namespace

TEST(requests, every_call_fails_once) {
    const struct {
        job what;
        bool tells;
    } cases[] = {
        {{KVRN_SORT, 'f', 2, {2}, {{"bb", "aa"}}, 19}, false},
        {{KVRN_SORT, 'v', 2, {18}, {{"bb", "a"}}, 18}, true},
        {{KVRN_MERGE, 'f', 2, {2, 19}, {{"aa"}, {"bb"}}, 2}, true},
    };
    for (const auto &c : cases) {
        const productdirectory product(c.tells ? told : shim);
        recordingmanager whole;
        ASSERT_EQ(run(c.what), (verdict{0, 0, 0}));
        for (size_t i = 0; i < whole.places.size(); i += placestep) {
            const recordingmanager::place &place = whole.places[i];
            const std::string &failed = whole.lines[failedline(place)];
            SCOPED_TRACE(place.function + ", call " + std::to_string(i) + ", " + failed);
            recordingmanager manager;
            manager.failat = i;
            EXPECT_EQ(run(c.what), meaning(failed));
            EXPECT_EQ(joined(manager.lines), joined(shortened(whole.lines, place, c.tells)));
        }
        EXPECT_GT(whole.places.size(), 80U);
    }
}

// ---- what replies mean ------------------------------------------------------

namespace {

struct replyrow {
    const char *name;
    uint8_t in, out, form;
    changedreply changed;
    uint32_t message, detail, syserr = 0;
};

constexpr auto gone = changedreply::gone, asis = changedreply::asis;

const replyrow replyrows[] = {
    {"start refused", 2, 2, 'f', {16, "", 1, "\x30"}, 75, 231},
    {"no status", 2, 2, 'f', {16, "", 1, gone}, 75, 231},
    {"a status of no length", 18, 2, 'f', {0, "", 1, asis}, 0, 0},
    {"end: no reply is read", 2, 2, 'f', {17, "", 1, gone}, 0, 0},

    {"may not read", 2, 2, 'f', {1, "<in0>", 1, "\x37", 4}, 37, 216},
    {"may not read", 18, 2, 'f', {1, "<in0>", 1, "\x37", 4}, 37, 216},
    {"may not write", 2, 19, 'f', {1, "<out>", 1, "\x37"}, 38, 217},
    {"may not write", 2, 18, 'f', {1, "<out>", 1, "\x37"}, 38, 217},
    {"too many", 2, 2, 'f', {1, "", 1, "\x30", 0, 24}, 33, 209},
    {"too many", 2, 18, 'v', {1, "<out>", 1, "\x30", 0, 24}, 33, 209},
    {"not too many", 2, 2, 'f', {1, "", 1, "\x35", 0, 24}, 32, 208},
    {"other", 19, 2, 'f', {1, "", 1, "\x30", 9, 5}, 32, 208},
    {"other", 18, 2, 'f', {1, "", 1, "\x30", 9, 5}, 32, 243, 9},
    {"other", 2, 18, 'f', {1, "<out>", 1, "\x35", 77}, 32, 243, 77},

    {"longest handle", 19, 2, 'f', {1, "<in0>", 5, "...."}, 0, 0},
    {"too long", 19, 2, 'f', {1, "", 5, "....."}, 32, 208},
    {"no handle", 18, 2, 'f', {1, "", 5, gone}, 32, 208},
    {"no organisation", 18, 2, 'f', {1, "", 3, gone}, 32, 208},
    {"another one", 18, 2, 'f', {1, "", 3, "\4"}, 33, 209},
    {"one of no length", 18, 2, 'f', {1, "", 3, asis}, 0, 0},
    {"an empty one", 18, 2, 'f', {1, "", 3, ""}, 33, 209},

    {"kind 2 looks at the length alone", 2, 2, 'f', {10, "", 1, "\x34", 5}, 0, 0},
    {"no length", 2, 2, 'v', {10, "", 30, gone}, 35, 200},
    {"others at the status", 19, 2, 'f', {10, "", 1, "\x34", 5}, 35, 243, 5},
    {"others at the status", 18, 2, 'v', {10, "", 1, "\x34", 5}, 35, 243, 5},
    {"past an end not met", 19, 2, 'f', {10, "", 1, "\x96"}, 35, 243},
    {"short", 18, 2, 'f', {10, "", 30, "", 1}, 35, 200},
    {"long", 19, 2, 'f', {10, "", 30, "", 3}, 35, 200},
    {"long", 2, 2, 'v', {10, "", 30, "", 3}, 35, 200},
    {"longest", 2, 2, 'v', {10, "", 30, "", UINT32_MAX}, 35, 200},

    {"write", 2, 19, 'f', {15, "", 1, "\x34", 5}, 36, 201},
    {"write", 2, 18, 'f', {14, "", 1, "\x22", 5}, 36, 243, 5},
    {"close", 18, 2, 'f', {3, "", 1, "\x30", 5}, 34, 210},
};

} // namespace

TEST(requests, replies) {
    const productdirectory product(shim);
    for (const replyrow &row : replyrows) {
        SCOPED_TRACE(std::string(row.name) + ", kind " + std::to_string(row.in) + " to " +
                     std::to_string(row.out));
        recordingmanager manager;
        manager.changed = row.changed;
        const job j = {KVRN_SORT, row.form, 2, {row.in}, {{"bb", "aa"}}, row.out};
        uint32_t syserr = 0;
        EXPECT_EQ(run(j, &syserr), (verdict{row.detail == 0 ? 0 : -1, row.message, row.detail}));
        EXPECT_EQ(syserr, row.syserr);
        const std::string lines = joined(manager.lines);
        EXPECT_EQ(lines.substr(lines.find("0=17")), end);
    }
}

// ---- the library ------------------------------------------------------------

TEST(requests, the_library_is_found_where_the_setting_says) {
    const tempfolder empty, text;
    for (const char *name : {"m7hxfmg.dll", "libm7hxfmg.so"})
        writefile(text.file(name), "no library");
    const std::string separator(1, static_cast<char>(std::filesystem::path::preferred_separator));
    const struct {
        std::string folder;
        size_t lines; // 0: not found
    } cases[] = {
        {shim, 14},
        {shim + separator, 14},
        {empty.path(), 0},
        {text.path(), 0},
        {lacking, 2},
#if !defined(_WIN32) // where the manager of this tree lies beside the program
        {"", 0},
#endif
    };
    const job j = {KVRN_SORT, 'f', 2, {2}, {{"aa"}}, 2};
    for (const auto &c : cases) {
        const productdirectory product(c.folder);
        recordingmanager manager;
        EXPECT_EQ(run(j), (c.lines == 14 ? verdict{0, 0, 0} : verdict{-1, 75, 231})) << c.folder;
        EXPECT_EQ(manager.lines.size(), c.lines) << c.folder << joined(manager.lines);
    }
#if defined(_WIN32)
    const productdirectory product(""); // the system's own search finds that one
    recordingmanager manager;
    EXPECT_EQ(run(j), (verdict{0, 0, 0}));
    EXPECT_TRUE(manager.lines.empty());
#endif
}

} // namespace kvern::test

// Sessions with files of the file manager: what comes out of them, and the requests of every
// kind of file and what becomes of one that fails, seen from the manager.
#include "manager/managerclient.h"
#include "manager/recordingmanager.h"
#include "session/handmade.h"
#include "support/modelcheck.h"

#include <algorithm>

namespace kvern::test {
namespace {

struct job {
    uint8_t function, form;
    uint32_t reclen;
    std::vector<uint8_t> in; // kinds, as the caller lists them
    std::vector<strings> inputs;
    uint8_t out;
};

// Failures are printed; the round of which the number is 0 stops the session.
int KVRN_CALL printing(KVRNSESS *sess, void *rounds) {
    (void)kvrnlevl(sess, 2);
    return (*static_cast<int *>(rounds))-- == 0 ? 1 : 0;
}

// What kvrnopen and kvrnclse gave, of which one may fail, the first message that was
// printed, the detail, syserr, and whether there is a new output.
std::string run(const job &j, int stopat = INT32_MAX) {
    KVRNOKEY outkey = {0, 1, {{0, 1, KVRN_CHAR, KVRN_ASCENDING, 0x50, 0}}};
    handmade s;
    s.prim.function = j.function;
    s.prim.recform = j.form;
    s.prim.reclen = j.reclen;
    if (j.form == 'r')
        s.astext(KVRN_DLMT_LF);
    s.key(0, 1);
    s.prim.memsize = j.function == KVRN_COPY ? KVRN_MEM_MIN : 0; // small blocks
    s.prim.options = KVRN_MSGPRINT;
    s.prim.mergecnt = j.function == KVRN_MERGE ? uint32_t(j.inputs.size()) : 0;
    strings paths;
    for (uint32_t i = 0; i < j.inputs.size(); i++) {
        const uint8_t kind = j.in[std::min<size_t>(i, j.in.size() - 1)];
        const uint32_t organisation = kind == 2 ? 2 : kind == 18 ? 6 : 4;
        // Blocks of different sizes tell indexed files apart.
        const filekind made = {organisation, j.form == 'v', j.reclen, keypart(0, 1, 0), 512 + i};
        paths.push_back(s.file("in" + std::to_string(i)));
        EXPECT_EQ(managerclient().writeall(paths.back(), made, j.inputs[i]), 0);
    }
    s.frompaths(paths);
    std::string kinds = {static_cast<char>(j.in.size()), 0, 0, 0}; // a count and as many bytes
    kinds.append(j.in.begin(), j.in.end()).resize(sizeof(KVRNFTYP) + 4);
    s.files.intypes = reinterpret_cast<KVRNFTYP *>(kinds.data());
    s.outfile(s.file("out"));
    s.files.outtype = j.out;
    s.files.outkey = &outkey;
    writefile(s.file("out"), "old");
    kvrnhook(printing, &stopat);
    testing::internal::CaptureStdout();
    int result = s.open(), message = 0;
    const uint32_t syserr = s.sess.syserr;
    result += s.close();
    (void)std::sscanf(testing::internal::GetCapturedStdout().c_str(), "KVERN:%d", &message);
    std::ostringstream all;
    all << result << ' ' << message << ' ' << s.sess.detail << ' ' << syserr;
    return all.str() + (s.output() != "old" ? " new" : "");
}
const std::string done = "0 0 0 0 new";

// Lines that follow one like them are counted.
std::string listed(const strings &lines) {
    std::string text;
    for (size_t i = 0, n = 1; i < lines.size(); i += n, n = 1) {
        while (i + n < lines.size() && lines[i + n] == lines[i])
            n++;
        text += lines[i] + (n > 1 ? " x" + std::to_string(n) : "") + "\n";
    }
    return text;
}

const std::string start = "load\nInitFileManager\n0=16 19=2 34=5 35=1\n",
                  end = "0=17\nTermFileManager\nunload\n";

const struct {
    const char *name;
    job what;
    const char *requests; // between start and end
} sequences[] = {
    {"kind 2, fixed",
     {KVRN_SORT, 'f', 2, {2}, {{"bb", "aa"}}, 2},
     R"(0=1 3=2 16=2 6"in0" 22:00090800 10=2
0=10 3=2 5"in0" 25:80 30=2 x4
0=3 3=2 5"in0"
0=1 3=2 16=2 6"out" 22:80600900 10=2
0=15 3=2 5"out" 30=2 37=2 <aa
0=15 3=2 5"out" 30=2 37=2 <bb
0=3 3=2 5"out"
)"},
    {"kind 19, variable, inherited",
     {KVRN_COPY, 'v', 9, {19}, {{}, {"b"}}, 19},
     R"(0=1 3=4 16=2 6"out" 22:80604900 10=9
0=1 3=4 16=2 6"in0" 22:00094800 10=9
0=10 3=4 5"in0" 25:80 30=9
0=3 3=4 5"in0"
0=1 3=4 16=2 6"in1" 22:00094800 10=9
0=10 3=4 5"in1" 25:80 30=9 x2
0=15 3=4 5"out" 30=1 37=2 <b
0=10 3=4 5"in1" 25:80 30=9
0=3 3=4 5"in1"
0=3 3=4 5"out"
)"},
    {"kind 18: all inputs as the last one is described",
     {KVRN_MERGE, 'f', 2, {18}, {{"ab"}, {"bb"}}, 18},
     R"(0=1 3=6 6"out" 22=647296 10=2 9=2 18:01000000 42=1024 45=16 46=1 47=1
0=1 3=6 6"in1" 22=575744 10=2 9=2 18:01000000 19=1 20=1 42=513 46=1 47=2
0=1 3=6 6"in0" 22=575744 10=2 9=2 18:01000000 19=1 20=1 42=513 46=1 47=2
0=10 3=6 5"in0" 25:80 30=2 x2
0=10 3=6 5"in1" 25:80 30=2 x2
0=10 3=6 5"in0" 25:80 30=2
0=10 3=6 5"in1" 25:80 30=2
0=14 3=6 5"out" 26:00 30=2 37=2 <ab
0=14 3=6 5"out" 26:00 30=2 37=2 <bb
0=3 3=6 5"in1"
0=3 3=6 5"in0"
0=3 3=6 5"out"
)"},
};

TEST(requests, of_a_session) {
    for (const std::string &folder : {fmgruntold, fmgrtold})
        for (const auto &s : sequences) {
            recordingmanager manager(folder);
            EXPECT_EQ(run(s.what), done) << s.name;
            EXPECT_EQ(listed(manager.lines), start + s.requests + end) << s.name;
        }
}

// What a session comes to when the request of this line fails.
std::string meaning(const std::string &line) {
    const char *const ends[][2] = {{"0=10", "-1 35 200 0"}, {"0=14", "-1 36 201 0"},
                                   {"0=15", "-1 36 201 0"}, {"0=16", "-1 75 231 0"},
                                   {"0=17", "-1 75 231 0"}, {"0=1", "-1 32 208 0"},
                                   {"0=3", "-1 34 210 0"},  {"", "-1 75 231 0"}};
    return std::ranges::find_if(ends, [&](auto &row) { return line.starts_with(row[0]); })[0][1];
}

// The lines that a session leaves of `whole` when a call of the line `at` fails: all that is
// open is closed, in the usual order, but the manager is told before.
strings shortened(const strings &whole, size_t at, bool sent, bool tells) {
    const auto failed = whole.begin() + static_cast<ptrdiff_t>(at);
    strings lines(whole.begin(), failed + (sent ? 1 : 0));
    const std::string before = listed({whole.begin(), failed});
    for (auto line = failed + 1; line < whole.end(); ++line) {
        const size_t name = line->find('"');
        if (!line->starts_with("0=3") || before.find("6" + line->substr(name)) == before.npos)
            continue;
        if (tells)
            lines.emplace_back("FailFileManager");
        lines.push_back(*line);
    }
    if (*failed != "0=17" && *failed != "TermFileManager" && *failed != "InitFileManager")
        lines.insert(lines.end(), {"0=17", "TermFileManager"});
    lines.emplace_back("unload");
    return lines;
}

TEST(requests, every_call_fails_once) {
    const struct {
        job what;
        bool tells;
    } cases[] = {
        {{KVRN_SORT, 'f', 2, {2}, {{"bb", "aa"}}, 19}, false},
        {{KVRN_SORT, 'v', 2, {18}, {{"bb", "a"}}, 18}, true},
        {{KVRN_MERGE, 'f', 2, {2, 19}, {{"aa"}, {"bb"}}, 2}, true},
    };
    for (const auto &[what, tells] : cases) {
        recordingmanager whole(tells ? fmgrtold : fmgruntold);
        ASSERT_EQ(run(what), done);
        const size_t step = sizeof(void *) < 8 ? 7 : 1; // a session takes long under Wine
        for (size_t i = 0; i < whole.places.size(); i += step) {
            const auto &[function, line] = whole.places[i];
            const bool replied = function == "InitMsgScan" || function == "ScanParmType";
            const size_t at = replied ? line - 1 : line;
            const std::string &failed = whole.lines[at];
            SCOPED_TRACE(function + ", call " + std::to_string(i) + ", " + failed);
            recordingmanager manager(tells ? fmgrtold : fmgruntold);
            manager.failat = i;
            const std::string is = run(what);
            const bool sent = !function.starts_with("Bld"); // even if it failed then
            EXPECT_EQ(listed(manager.lines), listed(shortened(whole.lines, at, sent, tells)));
            const auto closed = std::ranges::find_if(manager.lines, [](const auto &each) {
                return each.starts_with("0=3 ") && each.find("\"out\"") != each.npos;
            });
            const bool replaced = closed != manager.lines.end() && closed[-1] != "FailFileManager";
            EXPECT_EQ(is, meaning(failed) + (replaced ? " new" : ""));
        }
    }
}

// Before the manager is asked for anything there are rounds in which nothing is open.
TEST(requests, a_stop_leaves_the_old_output) {
    constexpr int startuprounds = 1001;
    constexpr uint32_t longest = 20000; // of which the smaller blocks hold one
    std::vector<strings> inputs(2);
    for (const char c : {'a', 'b', 'c', 'd', 'e', 'f', 'g', 'h'})
        inputs[c % 2].push_back(std::string(longest, c));
    for (const uint8_t function : {KVRN_SORT, KVRN_MERGE, KVRN_COPY}) {
        std::string is;
        int rounds = startuprounds - 1;
        for (; is != done && rounds < 2 * startuprounds; ++rounds) {
            recordingmanager manager(fmgrtold);
            is = run({function, 'v', longest, {2}, inputs, 18}, rounds);
            EXPECT_TRUE(is == done || is == "2 0 0 0") << is;
            EXPECT_EQ(manager.lines.empty(), rounds < startuprounds);
        }
        EXPECT_EQ(is, done) << function;
        EXPECT_GT(rounds, startuprounds + 1) << function;
    }
}

constexpr auto gone = changedreply::gone, asis = changedreply::asis;

const struct {
    std::string name;
    uint8_t in, out, form;
    changedreply changed;
    std::string ends = done;
} replyrows[] = {
    {"start refused", 2, 2, 'f', {16, "", 1, "\x30"}, "-1 75 231 0"},
    {"no status", 2, 2, 'f', {16, "", 1, gone}, "-1 75 231 0"},
    {"end: no reply is read", 2, 2, 'f', {17, "", 1, gone}},

    {"may not read", 2, 2, 'f', {1, "in0", 1, "\x37", 4}, "-1 37 216 0"},
    {"may not write", 2, 19, 'f', {1, "out", 1, "\x37"}, "-1 38 217 0"},
    {"too many", 2, 2, 'f', {1, "", 1, "\x30", 0, 24}, "-1 33 209 0"},
    {"not too many", 2, 2, 'f', {1, "", 1, "\x35", 0, 24}, "-1 32 208 0"},
    {"other", 18, 2, 'f', {1, "", 1, "\x30", 9, 5}, "-1 32 243 9"},
    {"other", 2, 18, 'f', {1, "out", 1, "\x35", 77}, "-1 32 243 77"},

    {"longest handle", 19, 2, 'f', {1, "in0", 5, "...."}},
    {"too long", 19, 2, 'f', {1, "", 5, "....."}, "-1 32 208 0"},
    {"no handle", 18, 2, 'f', {1, "", 5, gone}, "-1 32 208 0"},
    {"another one", 18, 2, 'f', {1, "", 3, "\4"}, "-1 33 209 0"},
    {"one of no length", 18, 2, 'f', {1, "", 3, asis}},

    {"kind 2 looks at the length alone", 2, 2, 'f', {10, "", 1, "\x34", 5}},
    {"no length", 2, 2, 'v', {10, "", 30, gone}, "-1 35 200 0"},
    {"others at the status", 19, 2, 'f', {10, "", 1, "\x34", 5}, "-1 35 243 5"},
    {"past an end not met", 19, 2, 'f', {10, "", 1, "\x96"}, "-1 35 243 0"},
    {"longest", 2, 2, 'v', {10, "", 30, "", UINT32_MAX}, "-1 35 200 0"},

    {"write", 2, 19, 'f', {15, "", 1, "\x34", 5}, "-1 36 201 0"},
    {"write", 2, 18, 'f', {14, "", 1, "\x22", 5}, "-1 36 243 5"},
    {"text", 2, 2, 'r', {0xFFFF}, "-1 30 206 0"},
    {"close", 18, 2, 'f', {3, "", 1, "\x30", 5}, "-1 34 210 0"},
};

TEST(requests, replies) {
    for (const auto &row : replyrows) {
        SCOPED_TRACE(row.name + std::to_string(row.in));
        recordingmanager manager(fmgrtold);
        manager.changed = row.changed;
        const job j = {KVRN_SORT, row.form, 2, {row.in}, {{"bb", "aa"}}, row.out};
        EXPECT_EQ(run(j), row.ends);
        EXPECT_TRUE(listed(manager.lines).ends_with(end)) << listed(manager.lines);
    }
}

TEST(requests, the_library_is_found_where_the_setting_says) {
    const tempfolder empty, text;
    for (const char *name : {"m7hxfmg.dll", "libm7hxfmg.so"})
        writefile(text.file(name), "no library");
    const std::tuple<std::string, size_t, std::string> cases[] = {
        {fmgrtold, 14, done},
        {fmgrtold + "/", 14, done},
        {empty.path(), 0, "-1 75 231 0"},
        {text.path(), 0, "-1 75 231 0"},
        {fmgrlacking, 2, "-1 75 231 0"},
        {"", 0, done}, // the system's own search finds that of this tree
    };
    for (const auto &[folder, lines, ends] : cases) {
        recordingmanager manager(folder);
        EXPECT_EQ(run({KVRN_SORT, 'f', 2, {2}, {{"aa"}}, 2}), ends) << folder;
        EXPECT_EQ(manager.lines.size(), lines) << folder << listed(manager.lines);
    }
}

TEST(managed, random_sessions) {
    constexpr uint64_t sessions = sizeof(void *) < 8 ? 50 : 200;
    for (const uint8_t function : {KVRN_SORT, KVRN_MERGE, KVRN_COPY})
        compare_with_model({.maxrecords = 300, .function = function, .managed = true}, sessions);
    compare_with_model({.maxrecords = 4000, .external = true, .managed = true}, sessions / 10);
}

} // namespace
} // namespace kvern::test

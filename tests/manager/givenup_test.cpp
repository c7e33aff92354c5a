// Sessions that do not come to their end leave the file manager's old outputs alone.
#include "kvern.h"
#include "manager/managerclient.h"
#include "support/tempfolder.h"

#include <gtest/gtest.h>
#ifndef _WIN32
#include <csignal>
#include <sys/resource.h>
#endif

namespace kvern::test {

namespace {

constexpr uint32_t longest = 20000;
constexpr uint8_t kinds[] = {KVRN_FILE_MANAGER, KVRN_FILE_RELATIVE, KVRN_FILE_INDEXED};

// As a sequential file holds them, in no order but within a merge's inputs.
std::string content(const std::string &firsts) {
    std::string bytes;
    for (const char c : firsts)
        bytes +=
            std::string{static_cast<char>(longest >> 8), static_cast<char>(longest & 0xFF), 0, 0} +
            std::string(longest, c);
    return bytes;
}

struct stopping {
    size_t calls, at; // the call of the hook that asks for the stop
};

int KVRN_CALL asked(KVRNSESS *, void *with) {
    auto *s = static_cast<stopping *>(with);
    return s->calls++ == s->at ? 1 : 0;
}

class givenup : public testing::Test {
  protected:
    givenup() {
#ifndef _WIN32
        setenv("KVERN_PRODUCT_DIRECTORY", KVERN_BINARY_DIR, 1);
#endif
        writefile(out, "old");
    }
    ~givenup() override {
        kvrnhook(nullptr, nullptr);
#ifndef _WIN32
        unsetenv("KVERN_PRODUCT_DIRECTORY");
#endif
    }

    // Two inputs, or the caller's records.
    int open(uint8_t function, uint8_t kind, bool calls = false) {
        prim = {};
        prim.function = function;
        prim.recform = 'v';
        prim.reclen = longest;
        prim.memsize = function == KVRN_COPY ? KVRN_MEM_MIN : 0; // small blocks
        prim.mergecnt = function == KVRN_MERGE ? 2 : 0;
        files = {};
        files.infiles = calls ? nullptr : reinterpret_cast<KVRNFLST *>(&inputs);
        files.intypes = calls ? nullptr : &managed;
        files.outfile = out.c_str();
        files.outtype = kind;
        files.outkey = &outkey;
        return kvrnopen(KVRN_VERSION_L4, &link, &prim, &sess, &keys, &files, nullptr);
    }
    int close() {
        return kvrnclse(KVRN_VERSION_L4, &link, &prim, &sess);
    }
    int run(uint8_t function, uint8_t kind) {
        const int opened = open(function, kind);
        const int closed = close();
        return opened != KVRN_DONE ? opened : closed;
    }
    void expectold() {
        EXPECT_EQ(readfile(out), "old");
        EXPECT_EQ(folder.entries(), 3U);
    }
    void expectnew() {
        EXPECT_NE(readfile(out), "old");
        EXPECT_EQ(folder.entries(), 3U);
        writefile(out, "old");
    }

    tempfolder folder;
    const std::string in[2] = {folder.file("in0"), folder.file("in1")}, out = folder.file("out");
    struct {
        uint32_t count;
        const char *path[2];
    } inputs = {2, {in[0].c_str(), in[1].c_str()}};
    KVRNFTYP managed = {1, {KVRN_FILE_MANAGER}};
    KVRNKEY keys = {1, {{0, 1, KVRN_CHAR, KVRN_ASCENDING, 0, 0, nullptr}}};
    KVRNOKEY outkey = {0, 1, {{0, 1, KVRN_CHAR, KVRN_ASCENDING, 0x50, 0}}};
    KVRNFILE files = {};
    KVRNPRIM prim = {};
    KVRNLINK link = {};
    KVRNSESS sess = {};
};

} // namespace

constexpr size_t creation = 1000; // rounds of the pump before anything is open

TEST_F(givenup, a_session_that_is_stopped) {
    writefile(in[0], content("aceg"));
    writefile(in[1], content("bdfh"));
    for (const uint8_t function : {KVRN_SORT, KVRN_MERGE, KVRN_COPY})
        for (const uint8_t kind : kinds) {
            SCOPED_TRACE(std::string(1, static_cast<char>(function)) + std::to_string(kind));
            stopping hook = {0, creation};
            kvrnhook(asked, &hook);
            int result = 1;
            for (; hook.at < 2 * creation; hook = {0, hook.at + 1}) {
                result = run(function, kind);
                if (result != 1)
                    break;
                expectold();
            }
            EXPECT_EQ(result, 0) << sess.detail;
            EXPECT_GT(hook.at, creation + 1);
            expectnew();
        }
}

TEST_F(givenup, a_session_that_fails) {
    struct {
        const char *title;
        std::string first, second; // inputs
        uint32_t detail;
    } const cases[] = {
        {"a record cut", content("aceg"), content("bdfh").substr(0, 3 * longest), KVRN_D_READ},
        {"a length cut", content("aceg"), content("bdfh") + std::string(2, '\0'), KVRN_D_READ},
        {"a record too long", content("ac"), content("b") + "\xFF\xFF" + std::string(70000, '\0'),
         KVRN_D_READ},
        {"no input", content("ac"), "", KVRN_D_OPEN},
    };
    for (const auto &c : cases)
        for (const uint8_t function : {KVRN_SORT, KVRN_MERGE, KVRN_COPY})
            for (const uint8_t kind : kinds) {
                SCOPED_TRACE(std::string(c.title) + static_cast<char>(function) +
                             std::to_string(kind));
                writefile(in[0], c.first);
                writefile(in[1], c.second);
                if (c.second.empty())
                    inputs.path[1] = "no/such";
                EXPECT_EQ(run(function, kind), KVRN_FAILED);
                EXPECT_EQ(sess.detail, c.detail);
                expectold();
            }
}

#ifndef _WIN32
TEST_F(givenup, an_output_without_room) {
    writefile(in[0], content("aceg"));
    writefile(in[1], content("bdfh"));
    rlimit limit = {};
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &limit), 0);
    const auto before = std::signal(SIGXFSZ, SIG_IGN);
    // Met while records are written and, by those that are kept back, at the close.
    for (const rlim_t room : {rlim_t{70000}, rlim_t{159000}})
        for (const uint8_t function : {KVRN_SORT, KVRN_MERGE, KVRN_COPY})
            for (const uint8_t kind : kinds) {
                SCOPED_TRACE(std::to_string(room) + static_cast<char>(function) +
                             std::to_string(kind));
                const rlimit little = {room, limit.rlim_max};
                setrlimit(RLIMIT_FSIZE, &little);
                EXPECT_EQ(run(function, kind), KVRN_FAILED);
                setrlimit(RLIMIT_FSIZE, &limit);
                expectold();
            }
    std::signal(SIGXFSZ, before);
}
#endif

TEST_F(givenup, a_session_that_is_closed_early) {
    for (const std::string &path : in)
        writefile(path, "");
    for (const uint8_t kind : kinds) {
        ASSERT_EQ(open(KVRN_MERGE, kind, true), KVRN_DONE);
        EXPECT_EQ(close(), 1);
        expectold();
    }
}

// What comes to its end counts, whatever was refused on the way.
TEST_F(givenup, not_a_session_that_refused_a_call) {
    for (const std::string &path : in)
        writefile(path, "");
    std::string record(longest + 1, 'x');
    for (const uint8_t kind : kinds) {
        ASSERT_EQ(open(KVRN_SORT, kind, true), KVRN_DONE);
        sess.code = KVRN_RECORD;
        sess.recaddr = record.data();
        for (const uint32_t length : {longest + 1, longest}) {
            sess.reclen = length;
            EXPECT_EQ(kvrnput(&sess), length > longest ? KVRN_FAILED : KVRN_DONE);
        }
        sess.code = KVRN_END;
        EXPECT_EQ(kvrnput(&sess), KVRN_ENDED);
        EXPECT_EQ(close(), 0);
        expectnew();
    }
}

TEST_F(givenup, one_session_of_several) {
    const filekind kind = {2, false, 5};
    const std::string other[] = {folder.file("in0"), folder.file("in1")};
    for (const std::string &path : other)
        writefile(path, "other");
    managerclient lost, kept;
    ASSERT_EQ(kept.open(other[0], kind, true), 0);
    ASSERT_EQ(lost.open(out, kind, true), 0);
    const std::string first = lost.handle;
    ASSERT_EQ(lost.open(other[1], kind, true), 0);
    ASSERT_EQ(lost.write("newer"), 0);
    ASSERT_EQ(kept.write("newer"), 0);
    EXPECT_EQ(MANAGER(FailFileManager)(lost.session), 0U);
    EXPECT_EQ(MANAGER(FailFileManager)(lost.session + 77), 1U);
    EXPECT_EQ(lost.close(), 0);
    lost.handle = first;
    EXPECT_EQ(lost.close(), 0);
    EXPECT_EQ(lost.close(), 0x42);
    EXPECT_EQ(kept.close(), 0);
    EXPECT_EQ(readfile(other[0]), "newer");
    EXPECT_EQ(readfile(other[1]), "other");
    expectold();
}

} // namespace kvern::test

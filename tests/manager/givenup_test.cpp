// Sessions that do not come to their end leave the file manager's old outputs alone.
// That a failure is told, whichever request it meets, is seen from the requests.
#include "manager/managedsession.h"
#include "manager/managerclient.h"

#include <optional>
#ifndef _WIN32
#include <csignal>
#include <sys/resource.h>
#endif

namespace kvern::test {

namespace {

constexpr uint32_t longest = 20000;
constexpr uint8_t functions[] = {KVRN_SORT, KVRN_MERGE, KVRN_COPY};
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
        writefile(out, "old");
        writefile(in[0], content("aceg"));
        writefile(in[1], content("bdfh"));
    }
    ~givenup() override { kvrnhook(nullptr, nullptr); }

    int open(uint8_t function, uint8_t kind, bool calls = false) {
        session.emplace(function, 'v', longest);
        session->prim.memsize = function == KVRN_COPY ? KVRN_MEM_MIN : 0; // small blocks
        session->prim.mergecnt = calls && function == KVRN_MERGE ? 2 : 0;
        for (const std::string &path : in)
            if (!calls)
                session->input(path, KVRN_FILE_MANAGER);
        session->output(out, kind);
        return session->open(&keys);
    }
    // The first result that is not 0.
    int run(uint8_t function, uint8_t kind) {
        const int opened = open(function, kind);
        const int closed = session->close();
        return opened != KVRN_DONE ? opened : closed;
    }
    template <class test>
    void everywhere(test each) {
        for (const uint8_t function : functions)
            for (const uint8_t kind : kinds) {
                SCOPED_TRACE(std::string(1, static_cast<char>(function)) + std::to_string(kind));
                each(function, kind);
            }
    }
    void expectoutput(bool old) {
        EXPECT_EQ(readfile(out) == "old", old);
        EXPECT_EQ(folder.entries(), 3U);
        writefile(out, "old");
    }

    const tempfolder folder;
    const std::string out = folder.file("out");
    const std::string in[2] = {folder.file("in0"), folder.file("in1")};
    KVRNKEY keys = {1, {{0, 1, KVRN_CHAR, KVRN_ASCENDING, 0, 0, nullptr}}};
    std::optional<managedsession> session;
};

} // namespace

constexpr size_t creation = 1000; // rounds of the pump before anything is open

TEST_F(givenup, a_session_that_is_stopped) {
    everywhere([this](uint8_t function, uint8_t kind) {
        stopping hook = {0, creation};
        kvrnhook(asked, &hook);
        int result = 1;
        for (; hook.at < 2 * creation && result == 1; hook = {0, hook.at + 1}) {
            result = run(function, kind);
            expectoutput(result == 1);
        }
        EXPECT_EQ(result, 0) << session->sess.detail;
        EXPECT_GT(hook.at, creation + 2);
    });
}

#ifndef _WIN32
TEST_F(givenup, an_output_without_room) {
    rlimit limit = {};
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &limit), 0);
    const auto before = std::signal(SIGXFSZ, SIG_IGN);
    // Met while records are written and, by those that are kept back, at the close.
    for (const rlim_t room : {rlim_t{70000}, rlim_t{159000}})
        everywhere([&](uint8_t function, uint8_t kind) {
            const rlimit little = {room, limit.rlim_max};
            setrlimit(RLIMIT_FSIZE, &little);
            EXPECT_EQ(run(function, kind), KVRN_FAILED) << room;
            setrlimit(RLIMIT_FSIZE, &limit);
            expectoutput(true);
        });
    std::signal(SIGXFSZ, before);
}
#endif

// A merge that is closed early is given up.  A sort that comes to its end counts, whatever
// was refused on the way.
TEST_F(givenup, a_session_of_calls) {
    std::string record(longest + 1, 'x');
    for (const uint8_t kind : kinds) {
        ASSERT_EQ(open(KVRN_MERGE, kind, true), KVRN_DONE);
        EXPECT_EQ(session->close(), 1);
        expectoutput(true);
        ASSERT_EQ(open(KVRN_SORT, kind, true), KVRN_DONE);
        KVRNSESS &sess = session->sess;
        sess.code = KVRN_RECORD;
        sess.recaddr = record.data();
        for (const uint32_t length : {longest + 1, longest}) {
            sess.reclen = length;
            EXPECT_EQ(kvrnput(&sess), length > longest ? KVRN_FAILED : KVRN_DONE);
        }
        sess.code = KVRN_END;
        EXPECT_EQ(kvrnput(&sess), KVRN_ENDED);
        EXPECT_EQ(session->close(), 0);
        expectoutput(false);
    }
}

TEST_F(givenup, one_session_of_several) {
    const filekind kind = {2, false, 5};
    managerclient lost, kept;
    ASSERT_EQ(kept.open(in[0], kind, true) + kept.write("newer"), 0);
    ASSERT_EQ(lost.open(out, kind, true) + lost.write("newer"), 0);
    EXPECT_EQ(MANAGER(FailFileManager)(lost.session), 0U);
    EXPECT_EQ(MANAGER(FailFileManager)(lost.session + 77), 1U);
    EXPECT_EQ(lost.close(), 0);
    EXPECT_EQ(lost.close(), 0x42);
    EXPECT_EQ(kept.close(), 0);
    EXPECT_EQ(readfile(in[0]), "newer");
    expectoutput(true);
}

} // namespace kvern::test

// A signal while the engine waits at a pipe: its pump gets a turn, and the session stops
// where that is asked for, and only there.
#include "handmade.h"
#include "support/tempfolder.h"

#include <gtest/gtest.h>

#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>

namespace kvern::test {
namespace {

volatile std::sig_atomic_t ticks = 0;
constexpr int enough = 200; // then it waits for ever

extern "C" void ontick(int) {
    ticks = ticks + 1;
    if (ticks > enough)
        std::abort();
}

// Ticks interrupt each wait.
class ticking {
  public:
    ticking() {
        struct sigaction action = {};
        action.sa_handler = ontick;
        sigaction(SIGALRM, &action, nullptr);
        every(10000);
    }
    ~ticking() {
        every(0);
        std::signal(SIGALRM, SIG_DFL);
    }

  private:
    static void every(int microseconds) {
        ticks = 0;
        const itimerval timer = {{0, microseconds}, {0, microseconds}};
        setitimer(ITIMER_REAL, &timer, nullptr);
    }
};

struct waitcase {
    uint8_t kind;
    bool output;   // the pipe is the output
    bool otherend; // somebody holds it, and neither reads nor writes
};

int KVRN_CALL stopafter(KVRNSESS *, void *number) {
    return ticks >= *static_cast<int *>(number) ? 1 : 0;
}

TEST(waiting, ends_with_a_stop) {
    for (const waitcase &one : {waitcase{KVRN_FILE_PLAIN, false, false},
                                {KVRN_FILE_PLAIN, false, true},
                                {KVRN_FILE_PLAIN, true, false},
                                {KVRN_FILE_PLAIN, true, true},
                                {KVRN_FILE_DESCRIPTOR, false, false},
                                {KVRN_FILE_DESCRIPTOR, false, true},
                                {KVRN_FILE_DESCRIPTOR, true, false},
                                {KVRN_FILE_DESCRIPTOR, true, true}}) {
        SCOPED_TRACE(testing::Message() << int{one.kind} << one.output << one.otherend);
        const tempfolder folder;
        const std::string pipe = folder.file("pipe"), data = folder.file("data");
        ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
        writefile(data, std::string(800000, 'x')); // more than a pipe takes
        const int held = one.otherend ? open(pipe.c_str(), O_RDWR) : -1;
        handmade s;
        const std::string in = one.output ? data : pipe;
        const std::string out = one.output ? pipe : folder.file("out");
        KVRNFTYP kinds = {1, {one.kind}};
        s.infile(in);
        s.outfile(out);
        s.files.intypes = &kinds;
        s.files.outtype = one.kind;
        int stopat = 3; // and not at the first interruption
        kvrnhook(stopafter, &stopat);
        {
            const ticking clock;
            EXPECT_EQ(s.open(), 1);
            EXPECT_GE(ticks, stopat);
        }
        EXPECT_EQ(s.sess.detail, 0U);
        kvrnhook(nullptr, nullptr);
        s.close();
        if (held >= 0)
            close(held);
    }
}

} // namespace
} // namespace kvern::test

// A signal while the engine waits at a pipe: its pump gets a turn, and the session stops
// where that is asked for, and only there.
#include "handmade.h"

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

int KVRN_CALL stopafter(KVRNSESS *, void *number) {
    return ticks >= *static_cast<int *>(number) ? 1 : 0;
}

// The pipe is the input or the output; somebody holds its other end, and neither reads
// nor writes, or nobody does.
TEST(waiting, ends_with_a_stop) {
    for (unsigned way = 0; way < 8; ++way) {
        SCOPED_TRACE(way);
        const bool isoutput = (way & 1) != 0, isheld = (way & 2) != 0;
        const uint8_t kind = (way & 4) != 0 ? KVRN_FILE_DESCRIPTOR : KVRN_FILE_PLAIN;
        handmade s;
        const std::string pipe = s.file("pipe");
        ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
        const int held = isheld ? open(pipe.c_str(), O_RDWR) : -1;
        KVRNFTYP kinds = {1, {kind}};
        s.files.intypes = &kinds;
        s.files.outtype = kind;
        s.fromfiles({std::string(800000, 'x')}); // more than a pipe takes
        if (!isoutput)
            s.infile(pipe);
        s.outfile(isoutput ? pipe : s.file("out"));
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

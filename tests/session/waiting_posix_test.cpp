// A signal while the engine waits at a pipe: its pump gets a turn, and the session stops
// where that is asked for, and only there.
#include "handmade.h"

#include <csignal>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace kvern::test {
namespace {

volatile std::sig_atomic_t ticks = 0;

// The pipe is the input or the output; somebody holds its other end, and neither reads
// nor writes, or nobody does.
TEST(waiting, ends_with_a_stop) {
    const auto stop = [](KVRNSESS *, void *) { return ticks >= 3 ? 1 : 0; };
    struct sigaction action = {};
    action.sa_handler = [](int) { ticks = ticks + 1; };
    sigaction(SIGALRM, &action, nullptr);
    for (unsigned way = 0; way < 8; ++way) {
        SCOPED_TRACE(way);
        const uint8_t kind = (way & 4) != 0 ? KVRN_FILE_DESCRIPTOR : KVRN_FILE_PLAIN;
        handmade s;
        const std::string pipe = s.file("pipe");
        ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
        const int held = (way & 2) != 0 ? open(pipe.c_str(), O_RDWR) : -1;
        KVRNFTYP kinds = {1, {kind}};
        s.files.intypes = &kinds;
        s.files.outtype = kind;
        s.fromfiles({std::string(800000, 'x')}); // more than a pipe takes
        if ((way & 1) == 0)
            s.infile(pipe);
        s.outfile((way & 1) != 0 ? pipe : s.file("out"));
        kvrnhook(stop, nullptr);
        ticks = 0;
        ualarm(10000, 10000);
        EXPECT_EQ(s.open(), 1);
        ualarm(0, 0);
        EXPECT_GE(ticks, 3);
        EXPECT_EQ(s.sess.detail, 0U);
        s.close();
        close(held);
    }
    kvrnhook(nullptr, nullptr);
}

} // namespace
} // namespace kvern::test

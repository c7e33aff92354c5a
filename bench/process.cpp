#include "process.h"

#include <sys/resource.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>

namespace bench {

namespace {

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

} // namespace

void give_up(const std::string &why) {
    std::fprintf(stderr, "bench: %s\n", why.c_str());
    std::exit(1);
}

measure run(const command &words) {
    std::vector<char *> argv;
    for (const std::string &word : words)
        argv.push_back(const_cast<char *>(word.c_str()));
    argv.push_back(nullptr);
    sync(); // nobody pays for what the one before left unwritten
    const auto begin = std::chrono::steady_clock::now();
    const pid_t child = fork();
    if (child == 0) {
        setenv("LC_ALL", "C", 1);
        execvp(argv[0], argv.data());
        _exit(127);
    }
    int status = 0;
    rusage usage = {};
    if (child < 0 || wait4(child, &status, 0, &usage) != child || status != 0)
        give_up(words[0] + " failed");
    const std::chrono::duration<double> took = std::chrono::steady_clock::now() - begin;
    return {took.count(), usage.ru_maxrss};
}

table::table(const setting &use) : what(use) {
    std::printf("%-44s %9s %9s %7s %9s\n", "case", "ours s", "peer s", "ratio", "peak KB");
}

void table::compare(const std::string &name, const command &ours, const command &peer,
                    const std::function<void()> &check, uint64_t bytes) {
    std::vector<double> mine, theirs, ratio;
    long peak = 0;
    for (int i = 0; i < what.runs; ++i) {
        const measure a = run(ours);
        check();
        const measure b = run(peer);
        mine.push_back(a.seconds);
        theirs.push_back(b.seconds);
        ratio.push_back(a.seconds / b.seconds);
        peak = std::max(peak, a.peak_kb);
    }
    std::printf("%-44s %9.3f %9.3f %7.2f %9ld", name.c_str(), median(mine), median(theirs),
                median(ratio), peak);
    if (bytes != 0)
        std::printf("  %.2f GB/s", static_cast<double>(bytes) / 1e9 / median(mine));
    std::printf("\n");
    std::fflush(stdout);
}

} // namespace bench

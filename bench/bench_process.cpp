// Whole processes, file to file: the command beside GNU sort and cp on the same
// bytes.  Runs take turns, so that a drift of the machine's speed meets both; the
// ratio is taken pair by pair and its median printed.  Every output of ours is
// checked outside the clock: order by key, and nothing lost or changed.
#include "records.h"

#include <sys/resource.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;
using command = std::vector<std::string>;

struct measure {
    double seconds = 0;
    long peak_kb = 0;
};

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
    if (child < 0 || wait4(child, &status, 0, &usage) != child || status != 0) {
        std::fprintf(stderr, "bench: %s failed\n", words[0].c_str());
        std::exit(1);
    }
    const std::chrono::duration<double> took = std::chrono::steady_clock::now() - begin;
    return {took.count(), usage.ru_maxrss};
}

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

struct setting {
    std::string kvern;
    fs::path folder;
    int runs;
};

class table {
  public:
    explicit table(const setting &use) : what(use) {
        std::printf("%-44s %9s %9s %7s %9s\n", "case", "ours s", "peer s", "ratio", "peak KB");
    }

    // One line: ours and a peer in turn.
    double compare(const std::string &name, const command &ours, const command &peer,
                   const std::function<void()> &check) {
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
        std::printf("%-44s %9.3f %9.3f %7.2f %9ld\n", name.c_str(), median(mine), median(theirs),
                    median(ratio), peak);
        std::fflush(stdout);
        return median(mine);
    }

  private:
    const setting &what;
};

struct job {
    fs::path in, out, temp;
    uint64_t records;
    bench::digest expected;
};

job prepare(const setting &use, uint64_t records) {
    job work{use.folder / "in", use.folder / "out", use.folder / "temp", records, {}};
    fs::create_directories(work.temp);
    bench::write_file(work.in, records);
    work.expected = bench::read_digest(work.in);
    work.expected.ordered = true;
    return work;
}

command ours(const setting &use, const job &work, bool text, const std::string &memory) {
    command words = {use.kvern, "sort", "-S", memory, "-T", work.temp, "-k", "1,10,ch"};
    const command form = text ? command{"--text", "--columns", "--eol", "lf", "--max-line", "100"}
                              : command{"--fixed", "100"};
    words.insert(words.end(), form.begin(), form.end());
    words.insert(words.end(), {"-o", work.out, work.in});
    return words;
}

command gnu(const job &work, const command &limits) {
    command words = {"sort", "-s", "-k1.1,1.10", "-T", work.temp};
    words.insert(words.end(), limits.begin(), limits.end());
    words.insert(words.end(), {"-o", fs::path(work.out) += ".peer", work.in});
    return words;
}

command copy_twice(const job &work) {
    const std::string middle = work.temp / "copy";
    return {"sh", "-c",
            "cp '" + work.in.string() + "' '" + middle + "' && cp '" + middle + "' '" +
                work.out.string() + ".peer' && rm '" + middle + "'"};
}

std::function<void()> checker(const job &work) {
    return [&work] {
        if (!(bench::read_digest(work.out) == work.expected)) {
            std::fprintf(stderr, "bench: the output is wrong\n");
            std::exit(1);
        }
        fs::remove(work.out); // the peer needs the room
    };
}

void incore(const setting &use, table &out) {
    const job work = prepare(use, 60000);
    out.compare("in core, 6 MB fixed : sort -S 32M", ours(use, work, false, "10M"),
                gnu(work, {"-S", "32M", "--parallel=1"}), checker(work));
}

void external(const setting &use, table &out, uint64_t records, const std::string &size) {
    const job work = prepare(use, records);
    const auto check = checker(work);
    for (const bool text : {false, true}) {
        const command mine = ours(use, work, text, "10M");
        const std::string name = size + (text ? " text" : " fixed");
        out.compare(name + " : sort, its defaults", mine, gnu(work, {}), check);
        out.compare(name + " : sort -S 10M --parallel=1", mine,
                    gnu(work, {"-S", "10M", "--parallel=1"}), check);
        out.compare(name + " : cp to temp, cp to output", mine, copy_twice(work), check);
    }
}

// Ours against ours at 1 GB: growth with size, and with little storage.
void growth(const setting &use, table &out, uint64_t records, const std::string &memory,
            const std::string &name) {
    const job work = prepare(use, records);
    out.compare(name, ours(use, work, false, memory), copy_twice(work), checker(work));
}

} // namespace

// bench_process KVERN FOLDER RUNS GROUP...
int main(int argc, char **argv) {
    if (argc < 5) {
        std::fprintf(stderr, "usage: bench_process KVERN FOLDER RUNS GROUP...\n"
                             "groups: incore external small 4g 16g\n");
        return 2;
    }
    const setting use{argv[1], fs::path(argv[2]), std::atoi(argv[3])};
    fs::create_directories(use.folder);
    table out(use);
    for (int i = 4; i < argc; ++i) {
        const std::string group = argv[i];
        if (group == "incore")
            incore(use, out);
        else if (group == "external")
            external(use, out, 10000000, "1 GB");
        else if (group == "small")
            growth(use, out, 2000000, "64K", "200 MB fixed in 64 KB : cp, cp");
        else if (group == "4g")
            growth(use, out, 40000000, "10M", "4 GB fixed in 10 MB : cp, cp");
        else if (group == "16g")
            growth(use, out, 160000000, "10M", "16 GB fixed in 10 MB : cp, cp");
    }
    fs::remove_all(use.folder);
    return 0;
}

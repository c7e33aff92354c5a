// Whole processes, row by row: the command beside GNU sort, cp, grep, awk or itself on
// the same bytes.  The two of a pair run in turn, so that a drift of the machine's speed
// meets both, and the ratio is taken pair by pair.  Every output of ours is checked off
// the clock.
#include "process.h"
#include "rows.h"

#include <sched.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>

namespace bench {

namespace {

namespace fs = std::filesystem;

int cores() {
    cpu_set_t own;
    return sched_getaffinity(0, sizeof own, &own) == 0 ? CPU_COUNT(&own) : 1;
}

void name(const char *variable, const std::string &value) {
    setenv(variable, value.c_str(), 1);
}

// The inputs made so far.
class inputs {
  public:
    explicit inputs(const fs::path &folder) : place(folder) {}

    std::string path(const content &of) {
        for (const auto &[made, at] : files)
            if (made == of)
                return at;
        const bool parts = of.form == content::parts;
        const std::string whole = parts ? path({of.records, of.shape}) : "";
        std::string at = place / ("in" + std::to_string(files.size()));
        if (parts)
            split(whole, at);
        else
            write_file(at, of.records, of.shape, of.form == content::prefixed);
        files.emplace_back(of, at);
        return at;
    }

    void clear() {
        files.clear();
        fs::remove_all(place);
        fs::create_directories(place / "temp");
    }

  private:
    static void split(const std::string &from, const std::string &to) {
        const std::string line = "split -n 8 " + from + " " + to + "; for i in " + to +
                                 "*; do sort -s -k1.1,1.10 -o $i $i; done";
        if (!run(line).done)
            std::exit(1);
    }

    fs::path place;
    std::vector<std::pair<content, std::string>> files;
};

bool isright(const row &one, const digest &was, const digest &is) {
    switch (one.result) {
    case outcome::sorted:
        return is.ordered && is.records == was.records && is.sum == was.sum;
    case outcome::copied:
    case outcome::halved:
        return is.records == was.records && is.sequence == was.sequence;
    case outcome::summed:
        return is.records == groups_of_records && is.amount == was.amount;
    }
    return false;
}

double middle(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

struct side {
    std::string line, in;
    std::vector<double> seconds = {};
    double peak = 0; // MB
};

// A value beside its bar: as it is printed it may reach it.
std::string judged(double value, double bar, int digits) {
    char text[40] = "";
    if (bar != 0)
        std::snprintf(text, sizeof text, "%.*f %s", digits, bar,
                      value < bar + 0.5 * std::pow(10, -digits) ? "met" : "MISSED");
    return text;
}

constexpr char format[] = "%-40s %8.3f %8.3f %6.2f (%5.2f to %5.2f)  %-11s %8.1f  %-10s %8.1f\n";

void print(const row &one, const side &ours, const side &peer) {
    std::vector<double> ratio;
    for (size_t i = 0; i < ours.seconds.size(); ++i)
        ratio.push_back(ours.seconds[i] / peer.seconds[i]);
    const auto [low, high] = std::minmax_element(ratio.begin(), ratio.end());
    const double bar = cores() >= 4 ? one.four : cores() >= 2 ? one.two : 0;
    const int threads = one.threads == 0 ? cores() : one.threads;
    const double bound = one.storage == 0 ? 0 : one.storage + 4 + 2 * threads;
    std::printf(format, one.name, middle(ours.seconds), middle(peer.seconds), middle(ratio), *low,
                *high, judged(middle(ratio), bar, 2).c_str(), ours.peak,
                judged(ours.peak, bound, 0).c_str(), peer.peak);
}

// False: a side failed, or the output of ours is wrong.
bool compare(const row &one, inputs &from, const std::string &out, int runs) {
    const bool prefixed = one.in.form == content::prefixed;
    side sides[] = {{one.ours, from.path(one.in)}, {one.peer, from.path(one.peerin)}};
    content whole = one.in;
    whole.form = prefixed ? content::prefixed : content::plain;
    const digest was = read_digest(from.path(whole), prefixed, one.result == outcome::halved);
    for (int i = 0; i < 2 * runs * one.often; ++i) {
        const bool isours = i % 4 == 0 || i % 4 == 3; // each goes first in every other pair
        side &now = sides[isours ? 0 : 1];
        name("in", now.in);
        const measure took = run(now.line);
        const char *fault = !took.done                                                 ? "failed"
                            : isours && !isright(one, was, read_digest(out, prefixed)) ? "wrong"
                                                                                       : nullptr;
        fs::remove(out); // the other needs the room, and nobody pays for an old file
        if (fault != nullptr) {
            std::printf("%-40s %s: %s\n", one.name, fault, now.line.c_str());
            return false;
        }
        now.seconds.push_back(took.seconds);
        now.peak = std::max(now.peak, static_cast<double>(took.peak_kb) / 1024);
    }
    print(one, sides[0], sides[1]);
    std::fflush(stdout);
    return true;
}

void heading() {
    double load = 0;
    getloadavg(&load, 1);
    const double memory = static_cast<double>(sysconf(_SC_PHYS_PAGES)) *
                          static_cast<double>(sysconf(_SC_PAGESIZE)) / (1 << 30);
    std::printf("%d cores, %.0f GB of memory, load %.1f; bars are those of %s cores\n", cores(),
                memory, load, cores() >= 4 ? "four" : "two");
    std::printf("%-40s %8s %8s %6s %16s  %-11s %8s  %-10s %8s\n", "ours : peer", "ours s", "peer s",
                "ratio", "(of the pairs)", "bar", "peak MB", "bound", "peer MB");
}

} // namespace
} // namespace bench

// bench_process KVERN FOLDER RUNS [GROUP...]: all groups but 16g where none is named; group
// former only beside a base command, which KVERN_BENCH_BASE names.
int main(int argc, char **argv) {
    using namespace bench;
    if (argc < 4 || std::atoi(argv[3]) < 1) {
        std::fprintf(stderr, "usage: bench_process KVERN FOLDER RUNS [GROUP...]\n");
        return 1;
    }
    const fs::path folder = fs::path(argv[2]) / "kvern-bench"; // removed, whatever it holds
    const std::vector<std::string> wanted(argv + 4, argv + argc);
    const char *base = std::getenv("KVERN_BENCH_BASE");
    name("LC_ALL", "C");
    name("kvern", argv[1]);
    name("base", base == nullptr ? "" : base);
#if defined(KVERN_COBSORT)
    name("cobsort", KVERN_COBSORT);
    name("sortverb", KVERN_SORTVERB);
    const bool cobol = true;
#else
    const bool cobol = false; // without its compiler
#endif
    name("cores", std::to_string(cores()));
    name("temp", folder / "temp");
    name("out", folder / "out");
    inputs from(folder);
    std::string_view group;
    bool fine = true;
    heading();
    for (const row &one : rows()) {
        const bool named = std::find(wanted.begin(), wanted.end(), one.group) != wanted.end();
        const std::string_view of = one.group;
        const bool left = of == "former" ? base == nullptr : of == "cobol" ? !cobol : of == "16g";
        if (wanted.empty() ? left : !named)
            continue;
        if (group != of) {
            from.clear();
            std::printf("%s\n", one.group);
        }
        group = of;
        fine = compare(one, from, folder / "out", std::atoi(argv[3])) && fine;
    }
    fs::remove_all(folder);
    return fine ? 0 : 1;
}

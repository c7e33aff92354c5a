// Whole processes, file to file: the command beside GNU sort, cp, grep and awk on the
// same bytes.  Every output of ours is checked off the clock: order by key, and nothing
// lost or changed.
#include "jobs.h"

#include <cstdio>
#include <cstdlib>

namespace bench {

namespace fs = std::filesystem;

job::job(const setting &use)
    : in(use.folder / "in"), out(use.folder / "out"), temp(use.folder / "temp") {
    fs::create_directories(temp);
}

void job::clear() const {
    fs::remove(out);
    fs::remove(peerout());
}

std::function<void()> job::checker() const {
    return [this] {
        if (!(read_digest(out) == expected))
            give_up("the output is wrong");
        clear();
    };
}

job sort_job(const setting &use, uint64_t records) {
    job work(use);
    write_file(work.in, records);
    work.expected = read_digest(work.in);
    work.expected.ordered = true;
    return work;
}

command our_sort(const setting &use, const job &work, bool text, const std::string &memory) {
    command words = {use.kvern, "sort", "-S", memory, "-T", work.temp, "-k", "1,10,ch"};
    const command form = text ? command{"--text", "--columns", "--eol", "lf", "--max-line", "100"}
                              : command{"--fixed", "100"};
    words.insert(words.end(), form.begin(), form.end());
    words.insert(words.end(), {"-o", work.out, work.in});
    return words;
}

namespace {

command gnu(const job &work, const command &limits) {
    command words = {"sort", "-s", "-k1.1,1.10", "-T", work.temp};
    words.insert(words.end(), limits.begin(), limits.end());
    words.insert(words.end(), {"-o", work.peerout(), work.in});
    return words;
}

command copy_twice(const job &work) {
    const std::string middle = work.temp / "copy";
    return {"sh", "-c",
            "cp '" + work.in.string() + "' '" + middle + "' && cp '" + middle + "' '" +
                work.peerout() + "' && rm '" + middle + "'"};
}

void incore(const setting &use, table &out) {
    const job work = sort_job(use, 60000);
    out.compare("in core, 6 MB fixed : sort -S 32M", our_sort(use, work, false, "10M"),
                gnu(work, {"-S", "32M", "--parallel=1"}), work.checker());
}

void external(const setting &use, table &out, uint64_t records, const std::string &size) {
    const job work = sort_job(use, records);
    const auto check = work.checker();
    for (const bool text : {false, true}) {
        const command mine = our_sort(use, work, text, "10M");
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
    const job work = sort_job(use, records);
    out.compare(name, our_sort(use, work, false, memory), copy_twice(work), work.checker());
}

struct group {
    const char *name;
    void (*run)(const setting &, table &);
};
constexpr group groups[] = {
    {"incore", incore},
    {"external", [](const setting &use, table &out) { external(use, out, 10000000, "1 GB"); }},
    {"small",
     [](const setting &use, table &out) {
         growth(use, out, 2000000, "64K", "200 MB fixed in 64 KB : cp, cp");
     }},
    {"4g", [](const setting &use,
              table &out) { growth(use, out, 40000000, "10M", "4 GB fixed in 10 MB : cp, cp"); }},
    {"16g",
     [](const setting &use, table &out) {
         growth(use, out, 160000000, "10M", "16 GB fixed in 10 MB : cp, cp");
     }},
    {"functions", functions},
};

} // namespace
} // namespace bench

// bench_process KVERN FOLDER RUNS GROUP...
int main(int argc, char **argv) {
    using namespace bench;
    const setting use{argc > 4 ? argv[1] : "", argc > 4 ? argv[2] : "",
                      argc > 4 ? std::atoi(argv[3]) : 0};
    if (use.runs < 1) {
        std::string names;
        for (const group &one : groups)
            names += std::string(" ") + one.name;
        give_up("usage: bench_process KVERN FOLDER RUNS GROUP...; groups:" + names);
    }
    fs::create_directories(use.folder);
    table out(use);
    for (int i = 4; i < argc; ++i)
        for (const group &one : groups)
            if (argv[i] == std::string(one.name))
                one.run(use, out);
    fs::remove_all(use.folder);
    return 0;
}

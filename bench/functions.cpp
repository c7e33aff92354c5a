// Merge, copy, selection and sums beside what a user would take instead.
#include "jobs.h"

namespace bench {

namespace {

namespace fs = std::filesystem;

constexpr uint64_t gigabyte = 10000000; // records

void merge(const setting &use, table &out) {
    constexpr uint64_t files = 8;
    job work(use);
    work.expected.ordered = true;
    command ours = {use.kvern, "merge", "--fixed", "100", "-k", "1,10,ch", "-o", work.out};
    command peer = {"sort", "-m", "-s", "-k1.1,1.10", "-o", work.peerout()};
    for (uint64_t i = 0; i < files; ++i) {
        write_file(work.in, gigabyte / files, i);
        const digest part = read_digest(work.in);
        work.expected.records += part.records;
        work.expected.sum += part.sum;
        job one = work;
        one.out = use.folder / ("sorted" + std::to_string(i));
        run(our_sort(use, one, false, "10M"));
        ours.push_back(one.out);
        peer.push_back(one.out);
    }
    out.compare("merge of 8 files, 1 GB : sort -m", ours, peer, work.checker());
    for (uint64_t i = 0; i < files; ++i)
        fs::remove(use.folder / ("sorted" + std::to_string(i)));
}

command our_copy(const setting &use, const job &work, const command &options) {
    command words = {use.kvern, "copy", "--fixed", "100", "-o", work.out};
    words.insert(words.end(), options.begin(), options.end());
    words.push_back(work.in);
    return words;
}

// Our command, and a peer that is a shell line from the input to its output.
void beside(table &out, const std::string &name, const job &work, const command &ours,
            const std::string &peer) {
    out.compare(name, ours,
                {"sh", "-c", peer + " <'" + work.in.string() + "' >'" + work.peerout() + "'"},
                work.checker(), gigabyte * record_length);
}

void copy(const setting &use, table &out) {
    job work(use);
    write_file(work.in, gigabyte);
    work.expected = read_digest(work.in);
    out.compare("copy of 1 GB : cp --reflink=never", our_copy(use, work, {}),
                {"cp", "--reflink=never", work.in, work.peerout()}, work.checker(),
                gigabyte * record_length);

    work.expected =
        read_digest(work.in, [](const uint8_t *record) { return amount_of(record) < amounts / 2; });
    const command ours = our_copy(use, work, {"-w", "[27,8,zd] < 500"});
    beside(out, "copy of the half, 1 GB : grep", work, ours, "grep '^.\\{31\\}[0-4]'");
    beside(out, "copy of the half, 1 GB : awk", work, ours, "awk 'substr($0, 27, 8) < 500'");
}

void sums(const setting &use, table &out) {
    job work(use);
    write_file(work.in, gigabyte);
    const uint64_t total = total_amount(work.in);
    const auto check = [&work, total] {
        if (fs::file_size(work.out) != uint64_t{groups_of_records} * record_length ||
            total_amount(work.out) != total)
            give_up("the sums are wrong");
        work.clear();
    };
    const command ours = {use.kvern, "sort",    "--fixed", "100",    "-S",
                          "10M",     "-T",      work.temp, "-k",     "23,3,ch",
                          "--sum",   "27,8,zd", "-o",      work.out, work.in};
    const std::string awk = "awk '{ s[substr($0, 23, 3)] += substr($0, 27, 8) } "
                            "END { for (g in s) print g, s[g] }' | sort";
    out.compare("sums of 1,000 groups, 10 M records : awk | sort", ours,
                {"sh", "-c", "< '" + work.in.string() + "' " + awk + " > " + work.peerout()}, check,
                gigabyte * record_length);
}

} // namespace

void functions(const setting &use, table &out) {
    merge(use, out);
    copy(use, out);
    sums(use, out);
}

} // namespace bench

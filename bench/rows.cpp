#include "rows.h"

namespace bench {

namespace {

constexpr uint64_t gigabyte = 10000000; // records

constexpr content records = {gigabyte};
constexpr content prefixed = {gigabyte, order::random, content::prefixed};
constexpr content parts = {gigabyte, order::random, content::parts};

row often(int times, row one) {
    one.often = times;
    return one;
}

row bounded(int storage, int threads, row one) {
    one.storage = storage;
    one.threads = threads;
    return one;
}

// Today's command beside a former one, in one session of so much storage.
row former(const char *name, const content &in, const std::string &line, outcome result,
           const std::string &storage = "10M") {
    return {"former",
            name,
            in,
            "$kvern" + line + " -j 1 -S " + storage,
            "$base" + line + " -S " + storage,
            1,
            1,
            result};
}

// A COBOL program with the library ahead of its run-time, beside the same without.
row cobol(const char *name, uint64_t count, const std::string &way, double bar) {
    const std::string line = "infile=$in outfile=$out TMPDIR=$temp $sortverb " + way;
    return {"cobol", name, {count}, "env LD_PRELOAD=$cobsort " + line, "env " + line, bar, bar};
}

} // namespace

std::vector<row> rows() {
    using enum outcome;
    const std::string files = " -T $temp -o $out $in", one = " -j 1 -S 10M";
    const std::string bykey = " sort --fixed 100 -k 1,10", bycolumn = " sort --columns -k 1,10";
    const std::string fixed = "$kvern" + bykey + files, columns = "$kvern" + bycolumn + files;
    const std::string fields = "$kvern sort -t , -k 1" + files;
    const std::string variable = "$kvern sort --variable 100 --framing rdw -k 1,10" + files;
    const std::string merge = " merge --fixed 100 -k 1,10 -o $out $in*";
    const std::string half = " copy --fixed 100 -w '[27,8,zd] < 500' -o $out $in";
    const std::string sum = " sort --fixed 100 -k 23,3 --sum 27,8,zd" + files;
    const std::string gnu = "sort -s --parallel=$cores -k1.1,1.10" + files;
    const std::string gnufields = "sort -s --parallel=$cores -t, -k1,1" + files;
    const std::string awk = "awk '{ s[substr($0, 23, 3)] += substr($0, 27, 8) } "
                            "END { for (g in s) print g, s[g] }' $in | sort > $out";
    const std::string every = " -j $cores";

    return {
        often(10, {"small", "6 MB fixed : sort", {60000}, fixed, gnu, 0.5, 0.5}),
        often(30, {"small", "1,000 lines : sort", {1000}, columns, gnu, 1, 1}),

        {"1g", "1 GB fixed : sort", records, fixed, gnu, 0.3, 0.5},
        {"1g", "text by column : sort", records, columns, gnu, 0.35, 0.55},
        {"1g", "text by field : sort", records, fields, gnufields, 0.35, 0.55},
        {"1g", "variable : fixed", prefixed, variable, fixed, 1.2, 1.2, sorted, records},

        {"functions", "merge of 8 : sort -m", parts, "$kvern" + merge,
         "sort -m -s -k1.1,1.10 -o $out $in*", 0.45, 0.45},
        {"functions", "copy : cp", records, "$kvern copy --fixed 100 -o $out $in",
         "cp --reflink=never $in $out", 1.1, 1.1, copied},
        {"functions", "copy of the half : grep", records, "$kvern" + half,
         "grep '^.\\{31\\}[0-4]' $in > $out", 0.15, 0.15, halved},
        {"functions", "1,000 sums : awk, sort", records, "$kvern" + sum, awk, 0.8, 0.8, summed},

        {"pipes", "fixed : files", records, "cat $in | $kvern" + bykey + " -T $temp | cat > $out",
         fixed, 1.3, 1.3},
        {"pipes", "text by column : files", records,
         "cat $in | $kvern" + bycolumn + " -T $temp | cat > $out", columns, 1.3, 1.3},

        {"orders",
         "equal keys : one session",
         {gigabyte, order::equal},
         fixed,
         fixed + one,
         1.1,
         1.1},
        {"orders",
         "two keys : one session",
         {gigabyte, order::two_values},
         fixed,
         fixed + one,
         1.1,
         1.1},
        {"orders",
         "sorted : one session",
         {gigabyte, order::ascending},
         fixed,
         fixed + one,
         1.1,
         1.1},
        {"orders",
         "backwards : one session",
         {gigabyte, order::descending},
         fixed,
         fixed + one,
         1.1,
         1.1},

        bounded(40, 0,
                {"memory", "fixed, 40M : sort -S 40M", records, fixed + every + " -S 40M",
                 gnu + " -S 40M"}),
        bounded(40, 0,
                {"memory", "by field, 40M : sort -S 40M", records, fields + every + " -S 40M",
                 gnufields + " -S 40M"}),
        bounded(40, 0,
                {"memory", "fixed by pipes, 40M : sort -S 40M", records,
                 "cat $in | $kvern" + bykey + every + " -S 40M -T $temp | cat > $out",
                 gnu + " -S 40M"}),
        bounded(160, 0,
                {"memory", "variable, 160M : sort -S 160M", prefixed, variable + every + " -S 160M",
                 gnu + " -S 160M", 0, 0, sorted, records}),
        bounded(40, 0,
                {"memory", "sums, 40M : awk, sort", records, "$kvern" + sum + every + " -S 40M",
                 awk, 0, 0, summed}),
        bounded(10, 1,
                {"memory", "one session, 10M : sort --parallel=1 -S 10M", records, fixed + one,
                 gnu + " --parallel=1 -S 10M"}),

        former("fixed", records, bykey + files, sorted),
        former("text by column", records, bycolumn + files, sorted),
        former("200 MB fixed in 64K", {gigabyte / 5}, bykey + files, sorted, "64K"),
        former("merge of 8", parts, merge, sorted),
        former("copy of the half", records, half, halved),
        former("1,000 sums", records, sum, summed),

        cobol("SORT USING GIVING : run-time", 1000000, "", 0.2),
        cobol("with procedures : run-time", 1000000, "procedures", 0.5),
        often(30, cobol("100 records : run-time", 100, "", 1)),

        {"4g", "4 GB fixed : sort", {4 * gigabyte}, fixed, gnu, 0.22, 0.4},
        {"16g", "16 GB fixed : 1 GB", {16 * gigabyte}, fixed, fixed, 20, 20, sorted, records},
    };
}

} // namespace bench

// What is compared, a row each.
#pragma once

#include "records.h"

#include <string>
#include <vector>

namespace bench {

// One input: records of an order, the same bytes for every form.
struct content {
    uint64_t records;
    order shape = order::random;
    enum { plain, prefixed, parts } form = plain; // parts: eight files, each in order

    bool operator==(const content &) const = default;
};

// What the output of ours must be.
enum class outcome { sorted, copied, halved, summed };

struct row {
    const char *group, *name;
    content in;
    // Lines of shell: $kvern, $base and $sortverb the commands, $cobsort COBOL's sort library,
    // $cores, $temp a folder; $in and $out
    // the files (of `parts`: the beginning of their names).
    std::string ours, peer;
    double four = 0, two = 0; // bars for the ratio by cores; 0: none
    outcome result = outcome::sorted;
    content peerin = in;
    int often = 1;   // times the runs asked for
    int storage = 0; // MB, where the line names it: peak memory has a bound
    int threads = 0; // 0: one a core
};

std::vector<row> rows();

} // namespace bench

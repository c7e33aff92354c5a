// The files of one case: the input, the output of ours and of the peer (out.peer), a
// place for temporary files.
#pragma once

#include "process.h"
#include "records.h"

namespace bench {

struct job {
    std::filesystem::path in, out, temp;
    digest expected; // of the output of ours

    explicit job(const setting &use);
    std::string peerout() const { return out.string() + ".peer"; }
    // Removes both outputs: the peer needs the room, and nobody pays for an old file.
    void clear() const;
    // Compares the output with what is expected, and clears.
    std::function<void()> checker() const;
};

// A job whose input holds so many records, and whose output is expected to hold the
// same in order.
job sort_job(const setting &use, uint64_t records);
// Our command for a sort of `in` to `out` by the first ten bytes.
command our_sort(const setting &use, const job &work, bool text, const std::string &memory);

// The groups beside plain sorts: merge, copy, selection, sums.
void functions(const setting &use, table &out);

} // namespace bench

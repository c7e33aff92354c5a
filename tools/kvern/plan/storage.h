// How much runs at the same time: the threads of a job, its sessions, and the working
// storage of each.
#pragma once

#include "kvern/options/joboptions.h"
#include "kvern/records/inputs.h"

#include <cstdint>
#include <vector>

namespace command {

constexpr uint64_t leaststorage = uint64_t{64} << 10; // of a session, beside its records

struct storageplan {
    unsigned jobs = 1;   // threads
    size_t sessions = 1; // of a sort: all of them; of a merge: that may be open together
    uint32_t memory = 0; // of each

    uint64_t all() const { return uint64_t{memory} * sessions; }
};

// Looks at the beginnings of streams that are sorted.  Tells where -S is not followed, but
// not again.
storageplan planstorage(const joboptions &options, std::vector<inputsource> &sources,
                        bool again = false);

// Fewer sessions where a share of the storage does not do for records of this length.
void heedlength(storageplan &plan, uint32_t longest);

// Of a session that is alone.
uint32_t singlestorage(const joboptions &options);

} // namespace command

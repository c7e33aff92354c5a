// Records on their way from a part of the inputs to the sessions: tested, the unwanted ones
// left out, and laid side by side by the range of their keys.
#pragma once

#include "kvern/engine/session.h"
#include "kvern/flow/partworker.h"
#include "kvern/flow/ranges.h"
#include "kvern/records/part.h"

#include <optional>
#include <vector>

namespace command {

constexpr uint32_t lengthword = 4; // in front of a variable record in a block

// A part as the sessions take it: fixed records, lines with their ends, variable records
// each behind a length word.
struct routedpart {
    part read;
    std::vector<char> room;
    std::vector<std::string_view> slices; // by range, into `room` or the part that was read
    std::vector<uint64_t> records;        // by range
    size_t waiting = 0;                   // slices that no session took yet
};

// Of one thread.
class router : public partworker {
  public:
    // `framed`: variable records keep the prefixes that they have in the inputs.
    router(const flowjob &given, const partreader &reader, const keyranges &all, bool framed);

    // Throws what is wrong with a record of the part.
    void route(routedpart &one);

  private:
    struct target { // of one record
        uint16_t range, length;
    };
    const keyranges &ranges;
    uint32_t prefix; // of variable records, which a length word takes the place of; or 0
    bool asitis;     // one session takes the bytes as they were read
    std::optional<session> probe; // where there are ranges
    std::vector<target> targets;
    std::vector<size_t> places; // by range, of the next byte

    void choose(routedpart &one);
    void settle(routedpart &one);
    void scatter(routedpart &one);
};

} // namespace command

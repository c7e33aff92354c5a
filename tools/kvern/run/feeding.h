// Data between the session and inputs and outputs that the command reads and writes
// itself.
#pragma once

#include "kvern/engine/session.h"
#include "kvern/plan/jobplan.h"
#include "kvern/records/recordsink.h"
#include "kvern/system/workfile.h"

#include <functional>
#include <vector>

namespace command {

// What the command saw of the data; the engine counts the rest.
struct tally {
    uint64_t shorts = 0; // records left out for that
};

// All sources into the input of a sort, which is ended.
// What to do where an input of a merge is not in order.
constexpr const char *orderadvice = "sort each input first, by the same keys";

void feed(session &engine, std::vector<inputsource> &sources, const jobplan &plan, tally &counts);

// What happens between two calls.
using lookat = std::function<void()>;

// A sort's or merge's output.
void draw(session &engine, const jobplan &plan, recordsink &out, const lookat &look);
void drawmerged(session &engine, recordsink &out, const lookat &look);

// A merge with the command at both ends; null: nobody wants the records.
void exchange(session &engine, std::vector<inputsource> &sources, const jobplan &plan,
              recordsink *out, const lookat &look, tally &counts);

// A file, and a stream into a file.
// Where a text ends at a byte 0x1A, that one is the engine's and left out.
void drawfile(const std::string &path, recordsink &out, bool doseof = false);
void takeinto(scratchfile &file, inputsource &source);
// The records of a source that are not short into a file.
void siftinto(scratchfile &file, inputsource &source, const jobplan &plan, textscanner &tests);

// The first records of each source, as they stand in the first one.
std::string takeheaders(std::vector<inputsource> &sources, const recordshape &shape,
                        uint32_t records);

} // namespace command

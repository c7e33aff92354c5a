// What the flows of all verbs are given, and what they tell.
//
// In this folder: records on their way from parts of the inputs to the output, by all
// threads of a job.  Left to others: how parts are read (records/part), what a session is
// opened with (plan), where the output ends up (run).  One routine for each verb.
#pragma once

#include "kvern/engine/watch.h"
#include "kvern/options/joboptions.h"
#include "kvern/plan/jobplan.h"
#include "kvern/plan/storage.h"
#include "kvern/records/inputs.h"
#include "kvern/system/workfile.h"

#include <string>
#include <vector>

namespace command {

// What was counted beside the engine, added up over all threads.
struct tallies {
    uint64_t shorts = 0;          // records left out for that
    uint64_t dropped = 0;         // by the filter, ahead of any session that counts them
    uint64_t taken = 0;           // that no session took, where none was needed
    std::vector<uint64_t> ranges; // records that went to each range, of several
    uint32_t sumstop = 0;         // the detail where summing stopped and that is no failure
    uint64_t outbytes = 0;        // in files that are not the one output
};

// Thrown where a sum that stopped ends the run.
struct sumended {
    uint32_t detail;
    bool lost; // the record at which it stopped is in no output
};

struct flowjob {
    const joboptions &options;
    const jobplan &plan;
    std::vector<inputsource> &sources;
    const storageplan &storage;
    const std::string &header; // leads the output
    watch &seen;
    outputsink *target; // null: nobody wants the output
    tallies &counts;
};

// A sum that stopped ends the run unless a warning is enough.
inline void checksum(const flowjob &job, uint32_t sumstop) {
    if (sumstop != 0 && !job.options.warnoverflow)
        throw sumended{sumstop, false};
}

// Where the last sum found no room its record is lost, and the engine's account of records
// tells: of a session that `work` closes.
template <typename Work>
void withsums(const uint32_t &sumstop, Work work) {
    try {
        work();
    } catch (const enginefailure &) {
        if (sumstop != 0)
            throw sumended{sumstop, true};
        throw;
    }
}

// A sort, with its output written and not yet in its place.
void sortrecords(const flowjob &job);
void mergerecords(const flowjob &job);
void copyrecords(const flowjob &job);
void checkrecords(const flowjob &job);
// Into files of its own, which take their places, and the ranges to standard output.
void dealrecords(const flowjob &job);

} // namespace command

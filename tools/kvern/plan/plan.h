// From options and inputs to the description of a session: everything that can
// be refused without the engine is refused here, in the user's words.
//
// Left to others: options that exclude each other (options/optioncheck), and everything
// once the plan stands (run).  In order: findshape, then planjob; planmerge and listinputs
// again where inputs are merged by groups or stand in scratch files.
#pragma once

#include "kvern/plan/jobplan.h"
#include "kvern/records/inputs.h"

#include <vector>

namespace command {

// How records lie in the inputs; of text this reads the beginnings.
recordshape findshape(const joboptions &options, std::vector<inputsource> &sources);

// `replaced`: the output is a file that a new one takes the place of.
jobplan planjob(const joboptions &options, const recordshape &shape,
                std::vector<inputsource> &sources, bool replaced);

// The file kind by which the engine reads a text: a byte 0x1A is no end in files of
// descriptors alone, which part lines at line feeds and end the last one in such.
uint8_t textkind(bool marked);
// A merge of so many inputs; `byfile` and `tofile` are decided.
void planmerge(const joboptions &options, size_t inputs, jobplan &plan);
// The inputs that the engine reads.
void listinputs(jobplan &plan, const std::vector<inputsource> &sources, bool doseof);
// A copy that passes through the command some megabytes at a time whatever it holds.
bool inportions(const joboptions &options, bool replaced);

} // namespace command

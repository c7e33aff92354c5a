// From options and inputs to the description of a session: everything that can
// be refused without the engine is refused here, in the user's words.
//
// Left to others: options that exclude each other (options/optioncheck), and everything
// once the plan stands (flow).  In order: findshape, startplan, what mustlook says kept,
// finishplan, and planmerge for each merge.
#pragma once

#include "kvern/plan/jobplan.h"
#include "kvern/records/inputs.h"

#include <vector>

namespace command {

// How records lie in the inputs; of text this reads the beginnings.
recordshape findshape(const joboptions &options, std::vector<inputsource> &sources);

// What the options alone tell.
jobplan startplan(const joboptions &options, const recordshape &shape);

// What the inputs tell; text is looked at on so many threads, with somebody looking on.
void finishplan(const joboptions &options, std::vector<inputsource> &sources, unsigned jobs,
                watch &seen, jobplan &plan);

// The session of a merge of so many inputs, or of a rebuilding copy of one, with records
// brought and given one by one.
description planmerge(const jobplan &plan, size_t inputs);

} // namespace command

// A merge of more inputs than may be open at once merges groups of neighbours into scratch
// files first, and those at the end; equal keys keep the order of the inputs so.  The
// groups are filtered and rebuilt, for keys look at rebuilt records; what reduces equal
// keys to one record comes with the last merge.
#pragma once

#include "kvern/run/job.h"

namespace command {

// `descriptors`: so many files can be opened now.  `header` leads the output.
void mergegroups(const joboptions &options, std::vector<inputsource> &sources, const jobplan &plan,
                 watch &seen, outputsink &target, const std::string &header, size_t descriptors);

} // namespace command

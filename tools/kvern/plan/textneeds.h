// What has to be known of lines before the first session.
#pragma once

#include "kvern/plan/jobplan.h"

#include <memory>

namespace command {

// The longest one, and the widths of fields.  Lines are as long as the longest one in
// temporary files, and in keys: with room for any line those would be many times the input.
bool mustmeasure(const joboptions &options, const jobplan &plan);

// How lines of CR LF are put to a merge depends on what they hold.
bool wantsstrays(const jobplan &plan);

// Who takes numbers of them; null where nobody does.
std::shared_ptr<numbercheck> numbersof(const joboptions &options, const jobplan &plan);

// Any of these: all lines have to be looked at, and a stream among the inputs is kept.
bool mustlook(const joboptions &options, const jobplan &plan);

} // namespace command

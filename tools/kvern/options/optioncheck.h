// What the options alone tell of a job that cannot be, before an input is opened.
#pragma once

#include "kvern/options/joboptions.h"

namespace command {

// Throws what is wrong with them, in the user's words.
void checkoptions(const joboptions &options);

} // namespace command

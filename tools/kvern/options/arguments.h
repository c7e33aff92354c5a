// From the words of the command line to the values of a job.
#pragma once

#include "kvern/options/joboptions.h"

namespace command {

// Throws a failure of the command line; false when help was asked for and given.
bool parsejob(jobkind kind, int argc, const char *const *argv, joboptions &out);

std::string jobhelp(jobkind kind);

// Bytes of working storage for the text of -S, empty for the default.  Outside
// of what the engine takes, the nearest bound with a note.
uint32_t memorysize(const std::string &text);

} // namespace command

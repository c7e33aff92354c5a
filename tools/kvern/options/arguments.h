// From the words of the command line to the values of a job.
#pragma once

#include "kvern/options/joboptions.h"

namespace command {

// Throws a failure of the command line; false when help was asked for and given.
bool parsejob(jobkind kind, int argc, const char *const *argv, joboptions &out);

std::string jobhelp(jobkind kind);

// The bytes that a text of -S means, more than any machine has where they are too many to count.
uint64_t memorysize(const std::string &text);

} // namespace command

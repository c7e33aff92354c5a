// The one table of the options of every command, from which the command line is read
// and the help, the manual pages and the completions are made.
#pragma once

#include "kvern/options/joboptions.h"

#include <CLI/CLI.hpp>

#include <memory>

namespace command {

// The parser of `kvern` with the verb of out.kind; it fills `out`.
std::unique_ptr<CLI::App> jobparser(joboptions &out);

const char *jobname(jobkind kind);

} // namespace command

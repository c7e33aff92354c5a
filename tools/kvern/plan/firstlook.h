// What is looked at before the session: how lines end, how long they and their fields are.
#pragma once

#include "kvern/records/inputs.h"
#include "kvern/records/textscan.h"

#include <string>
#include <vector>

namespace command {

lineend findlineend(const std::string &eol, std::vector<inputsource> &sources);

// Looks at all lines of placed inputs; throws what is wrong with them.
void scanfiles(const recordshape &shape, std::vector<inputsource> &sources, textscanner &scanner);
// The lines of the streams' beginnings, so far as they are complete.
void scanaheads(const recordshape &shape, const std::vector<inputsource> &sources,
                textscanner &scanner);
} // namespace command

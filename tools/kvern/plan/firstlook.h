// What is looked at before the session: how lines end, how long they and their fields are,
// and whether there are bytes 0x1A.
#pragma once

#include "kvern/records/inputs.h"
#include "kvern/records/textscan.h"

#include <string>
#include <vector>

namespace command {

lineend findlineend(const std::string &eol, std::vector<inputsource> &sources);

// Looks at all lines of files; throws what is wrong with them.
void scanfiles(const recordshape &shape, std::vector<inputsource> &sources, textscanner &scanner);
// The lines of the streams' beginnings, so far as they are complete.
void scanaheads(const recordshape &shape, const std::vector<inputsource> &sources,
                textscanner &scanner);
// The inputs that the engine shall read are read once, to know of bytes 0x1A.
void lookthrough(const recordshape &shape, std::vector<inputsource> &sources);

} // namespace command

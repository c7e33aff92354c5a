// What is looked at before the session: how lines end, how long they and their fields are.
#pragma once

#include "kvern/engine/watch.h"
#include "kvern/records/inputs.h"
#include "kvern/records/textscan.h"

#include <string>
#include <vector>

namespace command {

lineend findlineend(const std::string &eol, std::vector<inputsource> &sources);

// What is looked at, and who looks on.
struct looking {
    const recordshape &shape;
    std::vector<inputsource> &sources;
    watch &seen;
};

// All lines of placed inputs, and of the others those that were read ahead whole.  Throws
// what is wrong with the first one that is wrong.
void scaninorder(const looking &at, textscanner &scanner);
// The same on several threads, without the places of what was seen; false: something is
// wrong, which scaninorder tells.
bool scantogether(const looking &at, const textform &form, textscanner &scanner, unsigned jobs);

} // namespace command

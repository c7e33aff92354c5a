// From options and inputs to the description of a session: everything that can
// be refused without the engine is refused here, in the user's words.
#pragma once

#include "arguments.h"
#include "inputs.h"
#include "keysyntax.h"
#include "session.h"
#include "textscan.h"

#include <vector>

namespace command {

struct sortplan {
    description engine;
    std::vector<keyspec> keys;
    bool text = false;
    textform form;        // text only
    bool byfile = false;  // the engine reads the inputs itself
    bool scanned = false; // every line of the inputs was looked at
};

// What the options alone tell, before an input is opened.
void checkoptions(const sortoptions &options);

sortplan plansort(const sortoptions &options, std::vector<inputsource> &sources);

// Looks at all lines of files; throws what is wrong with them.
void scanfiles(const sortplan &plan, std::vector<inputsource> &sources, textscanner &scanner);

} // namespace command

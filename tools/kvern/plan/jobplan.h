// What a job does: the description of its session, the fields by the names that the user
// knows, and who reads and who writes.
#pragma once

#include "kvern/engine/session.h"
#include "kvern/options/joboptions.h"
#include "kvern/records/textscan.h"
#include "kvern/syntax/keysyntax.h"
#include "kvern/syntax/recordsyntax.h"

#include <string>
#include <vector>

namespace command {

struct jobplan {
    jobkind kind = jobkind::sort;
    description engine; // points into the pieces
    std::vector<keyspec> keys;
    std::vector<sumspec> sums;
    std::vector<rebuildpiece> pieces;
    recordview view;
    recordshape shape;
    textform form;         // what every record is tested for; text: its fields too
    bool byfile = false;   // the engine reads the inputs itself
    bool tofile = false;   // the engine writes the output itself
    bool replaced = false; // what is written takes the place of the output at the end
    bool portions = false; // a copy through the command, some megabytes at a time
    bool scanned = false;  // every line of the inputs was looked at
    // What stands behind a line in the session where the command puts lines.  Records of
    // a merge cannot end in two bytes: lines of CR LF end in one of them there.
    std::string lineput;
};

constexpr uint64_t internalroom = 32716; // bytes of key and record together

} // namespace command

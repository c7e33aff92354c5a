// What a job does: the description of its sessions, and the fields by the names that the
// user knows.
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
    // A sort that the command feeds and draws from.  The other verbs ask it of keys and of
    // the filter, and a copy may have its records rebuilt by it, for it keeps their order;
    // planmerge makes a merge of it.  It points into the plan, which has to stand.
    description engine;
    std::vector<keyspec> keys;
    std::vector<sumspec> sums;
    std::vector<rebuildpiece> pieces;
    recordview view;
    recordshape shape;
    textform form; // what every record is tested for; text: its fields too
    // Every line was looked at, where any had to be: tests can only leave out short ones.
    bool allseen = false;
    bool teststaken() const {
        return shape.kind != formkind::fixed && (!allseen || form.dropshort);
    }
    // What stands behind a line in a merge.  A record cannot end in two bytes there: lines
    // of CR LF end in one of them.
    std::string lineput;
    std::string joint; // what the engine puts between the pieces of a rebuilt line

    // A rebuilding copy has this ahead of each record that its session gives, for its key:
    // all records have the same.
    static constexpr const char *leadpiece = "0";
    size_t leadingbytes() const {
        return kind == jobkind::copy && !pieces.empty() ? 1 + joint.size() : 0;
    }
};

constexpr uint64_t internalroom = 32716; // bytes of key and record together

} // namespace command

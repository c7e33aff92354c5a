// From options and inputs to the description of a session: everything that can
// be refused without the engine is refused here, in the user's words.
#pragma once

#include "kvern/engine/session.h"
#include "kvern/options/joboptions.h"
#include "kvern/records/inputs.h"
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
    bool text = false;
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

// What the options alone tell, before an input is opened.
void checkoptions(const joboptions &options);

// How records lie in the inputs; of text this reads the beginnings.
recordshape findshape(const joboptions &options, std::vector<inputsource> &sources);

// `replaced`: the output is a file that a new one takes the place of.
jobplan planjob(const joboptions &options, const recordshape &shape,
                std::vector<inputsource> &sources, bool replaced);

// The file kind by which the engine reads a text: a byte 0x1A is no end in files of
// descriptors alone, which part lines at line feeds and end the last one in such.
uint8_t textkind(bool marked);
// The inputs that the engine shall read are read once, to know of bytes 0x1A.
void lookthrough(const recordshape &shape, std::vector<inputsource> &sources);
// A merge of so many inputs; `byfile` and `tofile` are decided.
void planmerge(const joboptions &options, size_t inputs, jobplan &plan);
// Of records that are no lines.
uint32_t rebuiltlength(const jobplan &plan);
// The inputs that the engine reads.
void listinputs(jobplan &plan, const std::vector<inputsource> &sources, bool doseof);
// A copy that passes through the command some megabytes at a time whatever it holds.
bool inportions(const joboptions &options, bool replaced);

// The -b -d -f -i -n of the command line as bits of a key.
uint8_t textoptions(const joboptions &options);

lineend findlineend(const std::string &eol, std::vector<inputsource> &sources);
// The length of the longest line, of fields and of the rebuilt line.
void plantext(const joboptions &options, std::vector<inputsource> &sources, jobplan &plan);

// Throws when a field ends behind the record.
struct reachcheck {
    const std::string &name;
    uint64_t reach;
    uint32_t message, detail; // that the engine would give
};
void checkreach(const reachcheck &field, uint64_t length, const std::string &record,
                const std::string &advice);
// Keys and sums, which look at the record that goes out.
void checkfields(const jobplan &plan, uint64_t length, const std::string &record,
                 const std::string &advice);

// Bytes that conditions and pieces need of each record that comes in.
void needleast(const joboptions &options, jobplan &plan);

// The greatest end of a piece of the record that comes in, from 1.
uint64_t piecereach(const jobplan &plan);

// Looks at all lines of files; throws what is wrong with them.
void scanfiles(const jobplan &plan, std::vector<inputsource> &sources, textscanner &scanner);

} // namespace command

// The look through text before the session: the longest line, the widest value
// of each key field, lines that lack a field, what ends a line.  Fields are
// found as the engine finds them: without a separator, white space in front of a
// field belongs to it.
#pragma once

#include "kvern/records/decimals.h"
#include "kvern/records/framing.h"
#include "kvern/records/inputs.h"

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace command {

// What the first line of this text ends in.
lineend guesslineend(std::string_view text);

struct textform {
    bool looksforstrays = false;  // bytes of the end CR LF by themselves
    std::string separator;        // empty: white space
    std::vector<uint32_t> fields; // the field number of each key, from 0
    std::vector<std::string> keynames;
    uint64_t maxline = 0; // longest line allowed, without its end; 0: any
    // Bytes that conditions, pieces or sums need of each record, and which of them.
    uint64_t least = 0;
    std::string leastname;
    bool dropshort = false; // such records are left out, as lines that lack a field
    const char *word = "line";
    std::shared_ptr<numbercheck> numbers; // one for all inputs; null: nobody takes any
};

class textscanner {
  public:
    explicit textscanner(const textform &form);

    // Throws the failure of a line that is too long or lacks a field; false: it is to be
    // left out for that.
    bool line(std::string_view text);
    // The next source: line numbers count from 1 again, behind its header.
    void startsource(const inputsource &source);
    // What another one saw of other lines, of which it is not told where they stand.
    void add(const textscanner &other);
    // So many of its lines were looked at elsewhere.
    void behind(uint64_t lines) { number += lines; }

    uint64_t longest() const { return longestline; }
    uint64_t longestat() const { return longestnumber; } // 0: not known
    const std::string &longestin() const { return longestname; }
    uint32_t widest(size_t key) const { return widths[key]; }
    uint64_t linenumber() const { return number; }
    uint64_t lines() const { return total; } // of all sources
    uint64_t shorts() const { return dropped; }
    const std::string &source() const { return name; }
    bool strayfeed() const { return feeds; }
    bool strayreturn() const { return returns; }

  private:
    const textform &form;
    uint32_t maxfield = 0;
    std::vector<std::string_view> fieldtexts; // by field number
    std::vector<uint32_t> widths;             // by key
    std::string name, longestname;
    bool feeds = false, returns = false;
    uint64_t number = 0, total = 0, dropped = 0, longestline = 0, longestnumber = 0;

    uint32_t measurefields(std::string_view text);
    bool lookatfields(std::string_view text);
    bool failfields(uint32_t found);
    bool failshort(uint64_t bytes);
};

} // namespace command

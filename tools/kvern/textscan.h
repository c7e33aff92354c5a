// The look through text before the session: the longest line, the widest value
// of each key field, lines that lack a field, what ends a line.  Fields are
// found as the engine finds them: without a separator, white space in front of a
// field belongs to it.
#pragma once

#include "inputs.h"

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace command {

enum class lineend : uint8_t { lf, cr, crlf };
std::string_view endbytes(lineend end);
// What the first line of this text ends in.
lineend guesslineend(std::string_view text);

struct textform {
    lineend end = lineend::lf;
    std::string separator;        // empty: white space
    std::vector<uint32_t> fields; // the field number of each key, from 0
    std::vector<std::string> keynames;
    uint64_t maxline = 0; // longest line allowed, without its end; 0: any
};

class textscanner {
  public:
    explicit textscanner(const textform &form);

    // Throws the failure of a line that is too long or lacks a field.
    void line(std::string_view text);
    // The next source: line numbers count from 1 again.
    void startsource(const std::string &name);

    uint64_t longest() const { return longestline; }
    uint64_t longestat() const { return longestnumber; }
    const std::string &longestin() const { return longestname; }
    uint32_t widest(size_t key) const { return widths[key]; }
    uint64_t linenumber() const { return number; }
    uint64_t lines() const { return total; } // of all sources
    const std::string &source() const { return name; }

  private:
    const textform &form;
    uint32_t maxfield = 0;
    std::vector<uint32_t> fieldwidths; // by field number
    std::vector<uint32_t> widths;      // by key
    std::string name, longestname;
    uint64_t number = 0, total = 0, longestline = 0, longestnumber = 0;

    uint32_t measurefields(std::string_view text);
    [[noreturn]] void failfields(uint32_t found) const;
};

// Runs `each` over the lines of a source, without their ends; the end stands
// behind every line in memory all the same, also behind a last line that lacks
// it.  Where `endmark` is set, a byte 0x1A ends the source; the result is the
// number of bytes behind it.
uint64_t eachline(inputsource &source, lineend end, bool endmark,
                  const std::function<void(std::string_view)> &each);

} // namespace command

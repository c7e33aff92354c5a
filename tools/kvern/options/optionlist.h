// The options of the commands as plain data, read from the parsers themselves, for
// what describes them elsewhere: completions and the manual page.
#pragma once

#include "kvern/options/joboptions.h"

#include <string>
#include <vector>

namespace command {

// What stands behind an option.
enum class valuekind : uint8_t { none, text, file, directory, words };

struct listedoption {
    std::vector<std::string> names; // with their hyphens, short ones first
    std::string value;              // as the help shows it, none: empty
    std::string text, group;
    valuekind kind = valuekind::none;
    std::vector<std::string> words; // kind words
    bool optional = false;          // the value may be left out
    bool repeated = false;          // may be given more than once
};

struct listedcommand {
    std::string name, text;
    std::vector<listedoption> options;
};

// The commands that work on records, in the order of the overview.
std::vector<listedcommand> listcommands();

} // namespace command

// A sort session as plain data: what the random tests make, the model reads,
// the runner runs and a failing test prints.  Records are raw bytes without
// frame: no length word (form 'v'), no line delimiter (form 'r').
#pragma once

#include "kvern.h"

#include <optional>
#include <string>
#include <vector>

namespace kvern::test {

using bytes = std::string; // compares as unsigned bytes

struct keyspec {
    uint32_t position = 0;
    uint32_t length = 0;
    uint8_t type = KVRN_CHAR;
    uint8_t order = KVRN_ASCENDING;
    uint8_t textoption = 0;
    uint8_t kanjiconv = 0;
    bytes table{}; // KVRN_TABLED
};

struct piece {
    bool literal = false;
    uint32_t position = 0;
    uint32_t length = 0;
    bytes text{}; // literal
};

enum class exchange : uint8_t { record, block, plainfile, descriptorfile };

struct sessionspec {
    uint32_t version = KVRN_VERSION_L4;
    char form = 'f';
    uint8_t fieldmode = 0; // form 'r'
    uint8_t cdmode = 0;
    uint8_t altmode = 0;
    uint8_t linedlmt = KVRN_DLMT_CRLF;
    uint8_t keyoption = 0;
    uint8_t keyoption2 = 0;
    bool keeporder = false;
    bool suppress = false;
    bool descall = false;
    std::optional<bytes> separator{};
    uint32_t reclen = 0; // text: with the delimiter
    uint32_t memsize = 0;
    std::vector<keyspec> keys{};
    std::vector<piece> pieces{}; // not empty: reconstruction
    exchange input = exchange::record;
    exchange output = exchange::record;
    bool checked = false;                     // record calls through the link table
    bool onto_input = false;                  // the output file is the first input file
    bool unterminated = false;                // the last line of each input file has no delimiter
    bool endmark = false;                     // each input file ends in 0x1A and bytes behind it
    std::vector<std::vector<bytes>> inputs{}; // records, a list for each input file

    [[nodiscard]] unsigned level() const;
    [[nodiscard]] bytes delimiter() const;
    [[nodiscard]] bool filein() const { return input >= exchange::plainfile; }
    [[nodiscard]] bool fileout() const { return output >= exchange::plainfile; }
    [[nodiscard]] size_t records() const;
    // Length of the records that come out, the longest one for 'v' and 'r';
    // without the delimiter.
    [[nodiscard]] uint32_t outlength() const;
    // Byte 39 as it goes to the engine; at one version it is the delimiter too.
    [[nodiscard]] uint8_t byte39() const;
    // Double-byte characters are heeded in the search for separators.
    [[nodiscard]] bool doublebyte() const;
};

[[nodiscard]] std::string describe(const sessionspec &spec);
[[nodiscard]] std::string quoted(const bytes &text);

} // namespace kvern::test

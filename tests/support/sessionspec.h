// A session as plain data: what the random tests make, the model reads,
// the runner runs and a failing test prints.  Records are raw bytes without
// frame: no length word (form 'v'), no line delimiter (form 'r').
#pragma once

#include "kvern.h"

#include <optional>
#include <string>
#include <vector>

namespace kvern::test {

using bytes = std::string; // compares as unsigned bytes

// Of type KVRN_MASKBYTE the length is a mask, and the field one byte.
[[nodiscard]] constexpr uint32_t bytesof(uint8_t type, uint32_t length) {
    return type == KVRN_MASKBYTE ? 1 : length;
}

struct keyspec {
    uint32_t position = 0, length = 0;
    uint8_t type = KVRN_CHAR;
    uint8_t order = KVRN_ASCENDING;
    uint8_t textoption = 0, kanjiconv = 0;
    bytes table{}; // KVRN_TABLED

    [[nodiscard]] uint32_t width() const { return bytesof(type, length); }
};

struct piece {
    bool literal = false;
    uint32_t position = 0, length = 0;
    bytes text{}; // literal
};

struct sumfield {
    uint32_t position = 0, length = 0;
    uint8_t type = KVRN_ZONED;
};

// One condition of the selection program.
struct condition {
    uint8_t op = KVRN_OP_EQ;
    uint8_t ltype = KVRN_CHAR, rtype = KVRN_CHAR;
    uint8_t options = 0;
    uint32_t lpos = 0, llen = 0, rpos = 0, rlen = 0;
    bytes literal{};
    uint8_t iftrue = KVRN_GO_KEEP, iffalse = KVRN_GO_DROP;
    uint32_t truejump = 0, falsejump = 0;

    [[nodiscard]] bool isliteral() const { return rtype == KVRN_FLD_LIT; }
    [[nodiscard]] uint32_t leftlength() const { return bytesof(ltype, llen); }
    [[nodiscard]] uint32_t rightlength() const { return bytesof(ltype, rlen); }
};

// The last three are the file manager's; records come out of an indexed file in the
// order of its primary key, the record's first byte.
enum class exchange : uint8_t {
    record,
    block,
    plainfile,
    descriptorfile,
    managerfile,
    relativefile,
    indexedfile
};
[[nodiscard]] constexpr bool ismanaged(exchange way) {
    return way >= exchange::managerfile;
}

constexpr uint32_t enginelevel1 = 0x10100000; // a version that qha5init alone admits

struct sessionspec {
    uint32_t version = KVRN_VERSION_L4;
    uint8_t function = KVRN_SORT;
    char form = 'f';
    uint8_t fieldmode = 0; // form 'r'
    uint8_t cdmode = 0, altmode = 0;
    uint8_t linedlmt = KVRN_DLMT_CRLF;
    uint8_t keyoption = 0, keyoption2 = 0;
    bool keeporder = false, suppress = false, descall = false;
    bool external = false; // a sort of more records than the working storage holds
    std::optional<bytes> separator{};
    uint32_t reclen = 0, memsize = 0; // text: the length with the delimiter
    std::vector<keyspec> keys{};
    std::vector<piece> pieces{};         // not empty: reconstruction
    std::vector<sumfield> sums{};        // not empty: summation
    std::vector<condition> conditions{}; // not empty: selection
    exchange input = exchange::record, output = exchange::record;
    bool checked = false;                     // record calls through the link table
    bool onto_input = false;                  // the output file is the first input file
    bool unterminated = false;                // the last line of each input file has no delimiter
    bool endmark = false;                     // each input file ends in 0x1A and bytes behind it
    std::vector<std::vector<bytes>> inputs{}; // records, a list for each input file

    [[nodiscard]] unsigned level() const;
    [[nodiscard]] bytes delimiter() const;
    [[nodiscard]] bool text() const { return form == 'r'; }
    [[nodiscard]] bool filein() const { return input >= exchange::plainfile; }
    [[nodiscard]] bool fileout() const { return output >= exchange::plainfile; }
    [[nodiscard]] bool bynumber() const { return fieldmode == KVRN_FIELDS; }
    [[nodiscard]] size_t records() const;
    // Bytes, or fields by number, that selection, and rebuilding, ask of a record.
    [[nodiscard]] uint32_t selectionneeds() const;
    [[nodiscard]] uint32_t rebuildingneeds() const;
    // Length of the records that come in, and out, the longest one for 'v' and 'r';
    // without the delimiter.
    [[nodiscard]] uint32_t inlength() const {
        return reclen - static_cast<uint32_t>(delimiter().size());
    }
    [[nodiscard]] uint32_t outlength() const;
    // Byte 39 as it goes to the engine; at one version it is the delimiter too.
    [[nodiscard]] uint8_t byte39() const {
        return version == KVRN_VERSION_L2_OLDDLMT ? linedlmt : keyoption2;
    }
    // Double-byte characters are heeded in the search for separators.
    [[nodiscard]] bool doublebyte() const;
};

// The order in which an indexed file gives its records.
void orderbyprimary(std::vector<bytes> &records);

[[nodiscard]] std::string describe(const sessionspec &spec);
[[nodiscard]] std::string visible(const bytes &text);

} // namespace kvern::test

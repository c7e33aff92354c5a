// How the three record forms lie in a file, and the prefixes that carry the length of
// a variable record:
//
//   rdw     00 07 00 00  a b c    length with the prefix, then two zero bytes
//   bdw     the same, in blocks with a prefix of that form in front of each
//   be16z   00 03 00 00  a b c    the same, length of the data alone
//   be32    00 00 00 03  a b c
//   le32    03 00 00 00  a b c
//   be16    00 03        a b c
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace command {

enum class lineend : uint8_t { lf, cr, crlf };
std::string_view endbytes(lineend end);

struct framing {
    const char *name;
    uint8_t prefix;      // bytes in front of the data
    uint8_t lengthbytes; // of the prefix, the first ones; zero bytes follow
    bool bigendian;
    bool inclusive; // the length counts the prefix too
    bool blocked;   // records lie in blocks
};
// Bytes of a block with its prefix: what systems that write them allow.
constexpr uint32_t longestblock = 32760;

// What insists on rdw where the records look like blocks.
constexpr const char *plainrdw = "plainrdw";
// Null: no framing has this name.
const framing *findframing(const std::string &name);

// Length of the data behind a prefix; false: it is none.
bool readprefix(const framing &kind, const char *bytes, uint32_t &length);
// The prefix of that many bytes of data goes to `out`.
void addprefix(const framing &kind, uint32_t length, std::string &out);

enum class formkind : uint8_t { fixed, variable, text };
struct recordshape {
    formkind kind = formkind::text;
    uint32_t length = 0;            // fixed; variable: the greatest
    const framing *frame = nullptr; // variable
    lineend end = lineend::lf;      // text
    // The first line ended so and the user does not say that all do: with CR LF, a bare
    // line feed in a later one is no data but the end of a line of another system.
    bool guessed = false;

    bool blocked() const { return frame != nullptr && frame->blocked; }
    bool refusesfeeds() const { return guessed && end == lineend::crlf; }
    const char *word() const { return kind == formkind::text ? "line" : "record"; }
};

} // namespace command

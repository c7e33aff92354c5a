// The key table: one row for each piece of a record, with its place in the
// internal record.
//
//   offset 0            keylen        txtdataoff              intreclen
//   | seq | keys, last entry lowest | sums | gap pieces / text | filler |
//
// In this folder: where each piece goes, and what a key type is (keytypes).  Left to
// others: which entries are allowed (param), the encoders themselves (key/encode), the walk
// over the rows for each record (sort/convert).
//
// Legal order: begin, one addkey per key entry from the last entry to the first
// (or one for the whole record), finish.
#pragma once

#include "session/context.h"

namespace kvern {

class tablebuilder {
  public:
    explicit tablebuilder(qha5ctx *session) : ctx(session) {}

    // Takes the table, with the sequence row if the order is kept.  `keys` is the
    // number of key entries given, 0 for the whole-record key; `sums` that of
    // summation entries.
    [[nodiscard]] int begin(uint32_t keys, uint32_t sums);
    // Places the next key, at `position` as in KVRNKEYE; its row, for the caller to add
    // a table or to change the length of a mask.  Null, with the message out, beyond
    // `keys`.
    keyentry *addkey(uint32_t position, const keyfield &field);
    // Summation rows, gaps or text, the internal record's length.  `sum`
    // is the caller's table, null without summation.
    [[nodiscard]] int finish(const KVRNSUM *sum);

  private:
    qha5ctx *ctx;
    uint64_t place = 0; // next free offset; 64 bits, so that no sum of lengths wraps
    uint32_t rows = 0;
    uint32_t keysleft = 0; // pieces that begin() made room for

    keyentry &addrow();
    keyentry &addraw(uint32_t src, uint64_t length);
    void addgap(uint64_t from, uint64_t to);
    void addsums(const KVRNSUM &sum);
    [[nodiscard]] int addgaps();
};

// Behind the internal record of a form with lengths, a place for one; the record form is
// settled then.
void addlength(qha5ctx *ctx);

} // namespace kvern

// The key machinery's part of the context: the key table, the routines that
// build an internal record, and their work areas.
#pragma once

#include <cstdint>

namespace kvern {

struct qha5ctx;
struct blockhdr;

// What an encoder may need beside its field.
struct keyextra {
    const uint8_t *table; // TABLED: 256 bytes; MASKBYTE: the mask; else null
    uint8_t options;      // textoption bits, text records only
    uint32_t textlength;  // text records only: bytes of the field that are there
};

// An encoder fills a piece of the internal record from `length` source bytes; a
// decoder fills the source bytes from the piece.  Both return -1 for failure,
// anything else for success; decoder results are not looked at.  No message is
// issued by either.
using coder = int32_t (*)(qha5ctx *ctx, uint8_t *dst, const uint8_t *src, uint32_t length,
                          uint8_t order, const keyextra &extra);

// One piece of a record and its place in the internal record.
struct keyentry {
    uint32_t src; // offset in the source record ('v' counts the length word);
                  // text by fields: the field's number
    uint32_t dst; // offset in the internal record
    uint32_t len; // bytes in the source record
    uint8_t type; // public key type or one of internaltype
    uint8_t options;
    uint8_t order;
    uint8_t kanjiconv;
    const uint8_t *table;
    coder encoder;
    coder decoder; // null: nothing to restore

    keyextra extra(uint32_t textlength = 0) const { return {table, options, textlength}; }
};

enum internaltype : uint8_t {
    ET_RAW = 237, // bytes carried over unchanged
    ET_SEQ = 238, // the 4-byte input sequence number
};

struct keytab {
    uint32_t count;
    keyentry entry[1];
};

// Where a field of a text line lies: offset from the line's start.
struct fieldrow {
    uint32_t offset;
    uint32_t length;
};
// The same by address, with a word for its user.
struct fieldaddr {
    const uint8_t *start;
    uint32_t length;
    uint32_t userword;
};

struct key_fields {
    keytab *keytable;
    uint32_t keycount;   // rows that come from the key
    uint32_t keylen;     // key area of the internal record, multiple of 4
    uint32_t intreclen;  // internal record, multiple of 4
    uint32_t txtdataoff; // 'v': gap pieces; 'r': the text
    uint32_t summaxfld;  // highest field number of a sum, mode 243
    uint32_t txtlenoff;  // 'r': the 4-byte text length

    // Text by field numbers.  Both return -1 for a line with too few fields.
    // fieldscan returns the line's length with its delimiter.
    int32_t (*fieldscan)(qha5ctx *ctx, const uint8_t *line, fieldrow *table, uint32_t maxfield);
    int32_t (*fieldscanlen)(qha5ctx *ctx, const uint8_t *line, fieldaddr *table, uint32_t maxfield,
                            uint32_t length);
    fieldrow *keyfields, *reconfields, *selfields;
    fieldaddr *sumfields1, *sumfields2;

    uint8_t *keyscratch; // keylen bytes
};

} // namespace kvern

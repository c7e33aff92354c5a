// The key machinery's part of the context: the key table, the routines that
// build an internal record, and their work areas.
#pragma once

#include <cstdint>

namespace kvern {

struct qha5ctx;
struct blockhdr;

// A field of a record as its encoder and decoder know it.
struct keyfield {
    uint32_t len = 0; // bytes in the source record; text by fields: at most
    uint8_t type = 0; // public key type; 0 for what is no key
    uint8_t options = 0;
    uint8_t order = 0;
    uint8_t kanjiconv = 0;
    // TABLED: 256 bytes; MASKBYTE: the mask; else the order of the other code
    const uint8_t *table = nullptr;
};

// An encoder fills the field's place in the internal record, `key`, with its normal
// form.  Of text records `given` bytes of the field are there; others do not look at it.
// The length of the normal form, or -1 for a record that cannot be encoded; no message.
using keyencoder = int32_t (*)(const qha5ctx *ctx, uint8_t *key, const uint8_t *source,
                               const keyfield &field, uint32_t given);
// A decoder fills the field from its normal form, as far as that tells its bytes.
using keydecoder = void (*)(uint8_t *target, const uint8_t *key, const keyfield &field);

// One piece of a record and its place in the internal record.
struct keyentry : keyfield {
    uint32_t src; // offset in the source record ('v' counts the length word);
                  // text by fields: the field's number
    uint32_t dst; // offset in the internal record
    keyencoder encoder;
    keydecoder decoder; // null: nothing to restore
};
// What a storage size has room for shows.
static_assert(sizeof(keyentry) == 16 + 3 * sizeof(void *));

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
    int32_t (*fieldscan)(const qha5ctx *ctx, const uint8_t *line, fieldrow *table,
                         uint32_t maxfield);
    int32_t (*fieldscanlen)(const qha5ctx *ctx, const uint8_t *line, fieldaddr *table,
                            uint32_t maxfield, uint32_t length);
    fieldrow *keyfields, *reconfields, *selfields;
    fieldaddr *sumfields1, *sumfields2;

    uint8_t *keyscratch; // keylen bytes
};

} // namespace kvern

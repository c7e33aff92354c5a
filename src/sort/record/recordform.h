// Record forms: fixed, variable, and text, which counts twice by how its fields are found.
//
// This folder holds what a form means for a record as it lies in a block: lengths and
// steps (rawrecord.h), taking one in and giving one out (blockrecord.h), blocks of records
// (blocks.h).  What becomes of the fields in it is the key table's (sort/convert).
//
// A form is settled by the analysis.  Set-ups ask for it here and choose routines by it;
// what runs for each record does not ask.
#pragma once

#include "session/context.h"

namespace kvern {

// An index into tables of routines.
enum recordform : uint8_t {
    form_fixed,
    form_variable,
    form_columns, // text whose fields are columns, or that has no fields
    form_fields,  // text whose fields have numbers
    recordforms
};

// In front of a variable record's data in a block; in an internal record of that form or
// of text a length stands likewise in a word.
constexpr uint32_t lengthword = sizeof(uint32_t);
// The step from variable record to variable record in an input block is a multiple of it.
constexpr uint32_t recordunit = 4;

inline recordform formof(const qha5ctx *ctx) {
    switch (ctx->recform) {
    case 'f':
        return form_fixed;
    case 'v':
        return form_variable;
    default:
        return ctx->fieldmode == KVRN_COLUMNS ? form_columns : form_fields;
    }
}

constexpr bool istext(recordform form) {
    return form == form_columns || form == form_fields;
}
inline bool isfixed(const qha5ctx *ctx) {
    return formof(ctx) == form_fixed;
}
inline bool isvariable(const qha5ctx *ctx) {
    return formof(ctx) == form_variable;
}
inline bool istext(const qha5ctx *ctx) {
    return istext(formof(ctx));
}

// Bytes of a block in front of a record's data.
constexpr uint32_t prefixof(recordform form) {
    return form == form_variable ? lengthword : 0;
}

// Lines that the session reads itself are counted where they become records.
inline bool countslate(const qha5ctx *ctx) {
    return istext(ctx) && !ctx->apiinput;
}

} // namespace kvern

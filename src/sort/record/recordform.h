// The four shapes of a record, as an index into tables of routines.
#pragma once

#include "session/context.h"

namespace kvern {

enum recordform : uint8_t {
    form_fixed,
    form_variable,
    form_columns, // text whose fields are columns, or that has no fields
    form_fields,  // text whose fields have numbers
    recordforms
};

// Raw record to internal record, as the slot `encode` has it.
using encoderoutine = int32_t (*)(qha5ctx *ctx, const uint8_t *raw, uint8_t *internal);

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

} // namespace kvern

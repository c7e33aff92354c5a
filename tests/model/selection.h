// Selection in the model: operands are read as values of the key types, the
// shorter one widened as its type asks, and values compared.
#pragma once

#include "support/sessionspec.h"

namespace kvern::test {

// A failure that no detail tells.
constexpr uint32_t silentfault = 0xFFFFFFFF;

struct verdict {
    uint32_t detail = 0; // the session fails at this record
    bool keep = true;
};

[[nodiscard]] verdict selected(const sessionspec &spec, const bytes &record);

} // namespace kvern::test

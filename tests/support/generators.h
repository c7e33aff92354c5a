// Random sessions: every form, key type, code, order and option, every way for
// records to come and go, with records that suit the keys most of the time.
#pragma once

#include "support/randomness.h"
#include "support/sessionspec.h"

namespace kvern::test {

struct scale {
    uint32_t maxrecords = 0;
    bool external = false; // more records than the working storage holds
    uint8_t function = KVRN_SORT;
    bool managed = false;        // files of the file manager among them
    uint32_t storage = 0xA00000; // the greatest that is asked for, as a rule
};

[[nodiscard]] sessionspec randomsession(randomness &r, const scale &size);

} // namespace kvern::test

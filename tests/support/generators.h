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

// The smallest description with the same fault that simple cuts lead to.
template <class Fails>
sessionspec shrunk(sessionspec spec, const Fails &fails) {
    const auto accept = [&](sessionspec smaller) {
        if (!fails(smaller))
            return false;
        spec = std::move(smaller);
        return true;
    };
    for (size_t file = 0; file < spec.inputs.size(); ++file) {
        for (size_t cut = spec.inputs[file].size(); cut > 0; cut /= 2) {
            for (size_t at = 0; at + cut <= spec.inputs[file].size();) {
                sessionspec smaller = spec;
                auto &records = smaller.inputs[file];
                const auto from = records.begin() + static_cast<ptrdiff_t>(at);
                records.erase(from, from + static_cast<ptrdiff_t>(cut));
                at += accept(smaller) ? 0 : cut;
            }
        }
    }
    const auto thin = [&](auto list) { // to one at least
        for (size_t i = 0; i < (spec.*list).size() && (spec.*list).size() > 1;) {
            sessionspec smaller = spec;
            (smaller.*list).erase((smaller.*list).begin() + static_cast<ptrdiff_t>(i));
            i += accept(smaller) ? 0U : 1U;
        }
    };
    thin(&sessionspec::keys);
    thin(&sessionspec::sums);
    if (spec.function == KVRN_MERGE)
        thin(&sessionspec::inputs);
    for (const bool last : {false, true}) { // no condition at all, then the last one alone
        sessionspec smaller = spec;
        if (!spec.conditions.empty())
            smaller.conditions = {spec.conditions.back()};
        if (!last)
            smaller.conditions.clear();
        accept(smaller);
    }
    for (size_t key = 0; key < spec.keys.size(); ++key) {
        for (uint8_t bit = 1; bit != 0; bit = static_cast<uint8_t>(bit << 1)) {
            sessionspec smaller = spec;
            smaller.keys[key].textoption &= static_cast<uint8_t>(~bit);
            accept(smaller);
        }
    }
    for (bool sessionspec::*flag :
         {&sessionspec::keeporder, &sessionspec::suppress, &sessionspec::checked,
          &sessionspec::onto_input, &sessionspec::unterminated, &sessionspec::endmark}) {
        sessionspec smaller = spec;
        smaller.*flag = false;
        accept(smaller);
    }
    return spec;
}

} // namespace kvern::test

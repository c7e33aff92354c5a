#include "support/prober.h"

#include <algorithm>
#include <cstring>
#include <memory>

namespace kvern::test {

namespace {

constexpr uint32_t often = 20; // looks at first; later on ever fewer
constexpr uint32_t notdue = KVRN_D_PUTUSE;

} // namespace

bool prober::before(KVRNSESS &sess, const KVRNLINK &) {
    const auto &records = r.pickof(spec.inputs);
    if (!records.empty() && r.onein(1 + calls++ / often) && sess.detail != KVRN_D_SUMOPERAND)
        look(sess, r.pickof(records));
    ended = ended || sess.code == KVRN_END;
    return true;
}

// Record and key in memory of their own, so that a byte past an end shows.
void prober::look(KVRNSESS &sess, bytes record) {
    if (spec.form != 'f' && r.onein(4))
        record.resize(r.below(static_cast<uint32_t>(record.size()) + 1));
    const bool due = spec.function == KVRN_MERGE || (!spec.filein() && !ended);
    verdict wanted = selected(spec, record);
    const uint32_t told = sess.detail;
    const bool asked = kvrnkey(&sess, nullptr, 0, nullptr, &length) == -1;
    modelrecord expected = taken(spec, record);
    const bytes line = record + spec.delimiter();
    const auto given = std::make_unique<char[]>(line.size());
    const auto key = std::make_unique<char[]>(length);
    std::memcpy(given.get(), line.data(), line.size());
    const bytes before(length, r.byte());
    std::memcpy(key.get(), before.data(), length);
    const auto size = static_cast<unsigned>(line.size());
    const auto resultof = [&](uint32_t detail) { return !due || detail != 0 ? -1 : !wanted.keep; };
    const auto check = [&](bool holds, const char *what) {
        if (!holds && wrong.empty())
            wrong = what + (" of " + visible(line)) + ", detail " + std::to_string(sess.detail);
    };
    check(asked && sess.detail == (due ? uint32_t{KVRN_D_STORAGE} : notdue), "length");
    check(kvrntest(&sess, given.get(), size) == resultof(wanted.detail), "test");
    if (wanted.detail == 0 && wanted.keep)
        wanted.detail = expected.detail;
    unsigned room = length;
    const int result = kvrnkey(&sess, given.get(), size, key.get(), &room);
    bytes made(key.get(), length);
    check(result == resultof(wanted.detail) && room == length, "key");
    check(result != 1 || made == before, "key of what is dropped");
    const uint32_t detail = wanted.detail == silentfault ? 0 : wanted.detail;
    check(sess.detail == (result != -1 ? told : due ? detail : notdue), "detail");
    if (result == 0)
        keys.push_back({std::move(expected), std::move(made)});
}

// The order of the bytes is that of the model.
std::string prober::fault() const {
    auto all = keys;
    std::sort(all.begin(), all.end(),
              [](const auto &a, const auto &b) { return compare(a.record, b.record) < 0; });
    for (size_t i = 1; i < all.size() && wrong.empty(); ++i) {
        const auto &low = all[i - 1], &high = all[i];
        const int order = compare(low.record, high.record), told = low.key.compare(high.key);
        if (order == 0 ? told != 0 : told >= 0)
            return "keys of " + visible(low.record.data) + " and " + visible(high.record.data);
    }
    return wrong;
}

} // namespace kvern::test

#include "support/modelcheck.h"

#include "model/model.h"
#include "model/selection.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <map>

namespace kvern::test {

namespace {

// An indexed output gives its records in an order of its own.  Where the model knows
// the session's order to the record, the model's records are put in that of the file;
// else those of the file in that of the session's keys.
void settleorder(const sessionspec &spec, modelresult &expected, std::vector<bytes> &got) {
    if (expected.exact) {
        std::stable_sort(expected.records.begin(), expected.records.end(),
                         [](const modelrecord &a, const modelrecord &b) {
                             return a.data.substr(0, 1) < b.data.substr(0, 1);
                         });
        return;
    }
    sessionspec plain = spec;
    plain.reclen = spec.outlength();
    plain.pieces.clear();
    std::vector<modelrecord> records;
    for (const bytes &record : got)
        records.push_back(taken(plain, record));
    std::stable_sort(records.begin(), records.end(),
                     [](const modelrecord &a, const modelrecord &b) { return compare(a, b) < 0; });
    for (size_t i = 0; i < got.size(); ++i)
        got[i] = records[i].data;
}

} // namespace

std::string judged(const sessionspec &spec, runresult &got) {
    modelresult expected = outcomeof(spec);
    const bool whole = got.failed.empty(), clean = got.detail == 0 || foldingstopped(got.detail);
    const uint32_t detail = whole || got.detail != 0 ? got.detail : silentfault;
    const auto &legal = expected.details;
    const bool islegal = std::find(legal.begin(), legal.end(), detail) != legal.end();
    if (expected.open)
        return (detail == KVRN_D_LOGIC && !islegal) || (clean && !whole) ? got.failed : "";
    if (!islegal) {
        return "detail " + std::to_string(detail) + ", model " + std::to_string(legal.front()) +
               " or " + std::to_string(legal.back()) + ": " + got.failed;
    }
    if (clean && !whole && detail != silentfault)
        return got.failed;
    if (!whole)
        return "";
    if (spec.output == exchange::indexedfile)
        settleorder(spec, expected, got.records);
    return difference(spec, expected, got.records, detail);
}

std::string faultof(const sessionspec &spec) {
    tempfolder folder;
    runresult got = run(spec, folder);
    const std::string wrong = judged(spec, got);
    const size_t files =
        (spec.filein() ? spec.inputs.size() : 0) + (spec.fileout() && !spec.onto_input ? 1 : 0);
    return wrong.empty() && got.failed.empty() && folder.entries() != files
               ? "temporary files are left"
               : wrong;
}

void compare_with_model(const scale &size, uint64_t usual) {
    const uint64_t sessions = fromenvironment("KVERN_SESSIONS", usual);
    const uint64_t seed = fromenvironment("KVERN_SEED", 20261121);
    std::printf("first seed %llu, %llu sessions\n", static_cast<unsigned long long>(seed),
                static_cast<unsigned long long>(sessions));
    uint64_t records = 0;
    std::map<uint32_t, uint64_t> ends; // by the detail that the model foretells
    for (uint64_t i = 0; i < sessions; ++i) {
        randomness r(seed + i);
        const sessionspec spec = randomsession(r, size);
        if (fromenvironment("KVERN_SHOW", 0) != 0) {
            std::printf("seed %llu: %s\n", static_cast<unsigned long long>(seed + i),
                        describe(spec).c_str());
            std::fflush(stdout);
        }
        records += spec.records();
        ++ends[outcomeof(spec).details.back()];
        const std::string fault = faultof(spec);
        if (fault.empty())
            continue;
        const sessionspec small =
            shrunk(spec, [](const sessionspec &s) { return !faultof(s).empty(); });
        FAIL() << "seed " << seed + i << ": " << fault
               << "\nsmallest failing session: " << faultof(small) << "\n"
               << describe(small);
    }
    std::printf("%llu records; sessions by detail:", static_cast<unsigned long long>(records));
    for (const auto &[detail, count] : ends)
        std::printf(" %u: %llu", detail, static_cast<unsigned long long>(count));
    std::printf("\n");
    EXPECT_GT(ends[0] * 5 + 50, sessions * 4) << "the generator makes too few clean sessions";
}

} // namespace kvern::test

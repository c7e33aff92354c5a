#include "support/modelcheck.h"

#include "support/prober.h"

#include <algorithm>
#include <gtest/gtest.h>

namespace kvern::test {

namespace {

// The failing session of as few records as simple cuts lead to.
sessionspec shrunk(sessionspec spec) {
    for (size_t file = 0; file < spec.inputs.size(); ++file)
        for (size_t cut = spec.inputs[file].size(); cut > 0; cut /= 2)
            for (size_t at = 0; at + cut <= spec.inputs[file].size();) {
                sessionspec smaller = spec;
                const auto from = smaller.inputs[file].begin() + static_cast<ptrdiff_t>(at);
                smaller.inputs[file].erase(from, from + static_cast<ptrdiff_t>(cut));
                const bool fails = !faultof(smaller).empty();
                spec = fails ? smaller : spec;
                at += fails ? 0 : cut;
            }
    return spec;
}

} // namespace

std::string judged(const sessionspec &spec, const runresult &got) {
    const modelresult expected = outcomeof(spec);
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
    return whole ? difference(spec, expected, got.records, detail) : "";
}

std::string faultof(const sessionspec &spec) {
    const tempfolder folder;
    prober probes(spec); // some go unprobed, so that nothing leans on it
    const runresult got = run(spec, folder, spec.reclen % 3 == 0 ? nullptr : &probes);
    std::string wrong = probes.fault();
    wrong = wrong.empty() ? judged(spec, got) : "probe: " + wrong;
    const size_t files =
        (spec.filein() ? spec.inputs.size() : 0) + (spec.fileout() && !spec.onto_input ? 1 : 0);
    return wrong.empty() && got.failed.empty() && folder.entries() != files
               ? "temporary files are left"
               : wrong;
}

void compare_with_model(const scale &size, uint64_t usual) {
    const uint64_t sessions = fromenvironment("KVERN_SESSIONS", usual);
    const uint64_t seed = fromenvironment("KVERN_SEED", 20261121);
    uint64_t clean = 0;
    for (uint64_t i = seed; i < seed + sessions; ++i) {
        randomness r(i);
        const sessionspec spec = randomsession(r, size);
        if (fromenvironment("KVERN_SHOW", 0) != 0)
            std::fprintf(stderr, "seed %s: %s\n", std::to_string(i).c_str(),
                         describe(spec).c_str());
        clean += outcomeof(spec).details == std::vector<uint32_t>{0} ? 1U : 0U;
        const std::string fault = faultof(spec);
        if (fault.empty())
            continue;
        const sessionspec small = shrunk(spec);
        FAIL() << "seed " << i << ": " << fault << "\nsmallest failing session: " << faultof(small)
               << "\n"
               << describe(small);
    }
    std::printf("first seed %s, %s sessions, %s of them clean\n", std::to_string(seed).c_str(),
                std::to_string(sessions).c_str(), std::to_string(clean).c_str());
    EXPECT_GT(clean * 5 + 50, sessions * 4) << "the generator makes too few clean sessions";
}

} // namespace kvern::test

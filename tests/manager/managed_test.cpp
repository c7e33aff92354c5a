// Files of the file manager beside all others: every pair of input and output, in both
// record forms, sorted, merged and copied, against the reference model.
#include "model/model.h"
#include "support/modelcheck.h"
#include "support/randomness.h"

#include <gtest/gtest.h>

namespace kvern::test {

namespace {

constexpr exchange ways[] = {
    exchange::record,      exchange::block,        exchange::plainfile,  exchange::descriptorfile,
    exchange::managerfile, exchange::relativefile, exchange::indexedfile};

// A merge or a sort through the calls takes and gives single records; a copy knows no
// calls, and no plain file holds variable records.
bool possible(uint8_t function, char form, exchange way) {
    const bool calls = way < exchange::plainfile;
    return calls ? function == KVRN_SORT || (function == KVRN_MERGE && way == exchange::record)
                 : form == 'f' || ismanaged(way);
}

sessionspec session(uint8_t function, char form, exchange input, exchange output, randomness &r) {
    sessionspec s;
    s.function = function;
    s.form = form;
    s.reclen = 40;
    s.memsize = 100000;
    s.input = input;
    s.output = output;
    if (function != KVRN_COPY) // the file's own order, so that indexed inputs can be merged
        s.keys = {{0, 4}, {4, 2, KVRN_CHAR, KVRN_DESCENDING}};
    const bool several = function == KVRN_MERGE || input >= exchange::plainfile;
    s.inputs.resize(several ? 3 : 1);
    for (auto &records : s.inputs) {
        for (uint32_t n = r.below(200); n-- > 0;) {
            bytes record(form == 'f' ? s.reclen : r.between(6, s.reclen), '.');
            for (size_t i = 0; i < 6; ++i)
                record[i] = static_cast<char>(r.between('a', 'e'));
            record.back() = static_cast<char>(r.byte());
            records.push_back(record);
        }
    }
    if (function == KVRN_MERGE)
        orderinputs(s);
    if (input == exchange::indexedfile)
        for (auto &records : s.inputs)
            orderbyprimary(records);
    return s;
}

#ifdef _WIN32
constexpr uint64_t sessions = 40;
#else
constexpr uint64_t sessions = 150;
#endif

} // namespace

TEST(managed, every_pair_of_kinds) {
    randomness r(18219);
    uint32_t count = 0;
    for (const uint8_t function : {KVRN_SORT, KVRN_MERGE, KVRN_COPY})
        for (const char form : {'f', 'v'})
            for (const exchange input : ways)
                for (const exchange output : ways) {
                    if ((!ismanaged(input) && !ismanaged(output)) ||
                        !possible(function, form, input) || !possible(function, form, output))
                        continue;
                    const sessionspec s = session(function, form, input, output, r);
                    ASSERT_EQ(faultof(s), "") << describe(s);
                    ++count;
                }
    EXPECT_EQ(count, 126U);
}

TEST(managed, random_sorts) {
    compare_with_model({.maxrecords = 300, .managed = true}, sessions);
}

TEST(managed, random_merges) {
    compare_with_model({.maxrecords = 300, .function = KVRN_MERGE, .managed = true}, sessions);
}

TEST(managed, random_copies) {
    compare_with_model({.maxrecords = 300, .function = KVRN_COPY, .managed = true}, sessions);
}

TEST(managed, external_sorts) {
    compare_with_model({.maxrecords = 4000, .external = true, .managed = true}, sessions / 10);
}

} // namespace kvern::test

// Sorts of far more records than the storage holds, through the public calls: named
// orders of input in every record form, against a stable sort of the input.
#include "support/fieldvalues.h"
#include "support/sessionrunner.h"

#include <algorithm>
#include <gtest/gtest.h>

namespace kvern::test {

namespace {

constexpr uint32_t record_length = 60;
constexpr uint32_t key_length = 10;
constexpr distribution orders[] = {
    distribution::ascending, distribution::descending, distribution::equal,
    distribution::twovalues, distribution::sawtooth,   distribution::organpipe,
    distribution::random,
};

bytes keyof(const bytes &record) {
    return record.substr(0, key_length);
}
bool keybelow(const bytes &a, const bytes &b) {
    return keyof(a) < keyof(b);
}

// Key, then the place in the input, so that no two records are alike.
std::vector<bytes> recordsin(distribution order, char form, size_t count) {
    randomness r(count);
    std::vector<bytes> records;
    char field[32];
    for (size_t at = 0; at < count; ++at) {
        const auto rank = static_cast<long long>(rankof(order, at, count, r)) % 1000000000;
        std::snprintf(field, sizeof field, "%010lld%08zu", rank < 0 ? -rank : rank, at);
        bytes record(field);
        const uint32_t length = form == 'f' ? record_length : 18 + r.below(record_length - 19);
        record.resize(std::max<size_t>(length, 18), static_cast<char>('a' + at % 26));
        records.push_back(record);
    }
    return records;
}

sessionspec sessionof(char form, std::vector<bytes> records) {
    sessionspec spec;
    spec.form = form;
    spec.fieldmode = form == 'r' ? KVRN_COLUMNS : 0;
    spec.linedlmt = KVRN_DLMT_LF;
    spec.reclen = record_length;
    spec.memsize = KVRN_MEM_MIN;
    spec.input = spec.output = form == 'v' ? exchange::record : exchange::plainfile;
    keyspec key;
    key.length = key_length;
    spec.keys.push_back(key);
    spec.inputs.push_back(std::move(records));
    return spec;
}

// What a sort of the records must give, but for the order of equal keys.
void checkrecords(const sessionspec &spec, std::vector<bytes> got) {
    std::vector<bytes> expected = spec.inputs.front();
    std::stable_sort(expected.begin(), expected.end(), keybelow);
    ASSERT_TRUE(std::is_sorted(got.begin(), got.end(), keybelow));
    if (spec.suppress) {
        // one of each key, whichever it is
        std::vector<bytes> keys, expectedkeys;
        for (const bytes &record : got) {
            ASSERT_TRUE(std::binary_search(expected.begin(), expected.end(), record, keybelow));
            keys.push_back(keyof(record));
        }
        for (const bytes &record : expected)
            expectedkeys.push_back(keyof(record));
        expectedkeys.erase(std::unique(expectedkeys.begin(), expectedkeys.end()),
                           expectedkeys.end());
        ASSERT_EQ(keys, expectedkeys);
        return;
    }
    if (!spec.keeporder) {
        std::sort(got.begin(), got.end());
        std::sort(expected.begin(), expected.end());
    }
    ASSERT_EQ(got.size(), expected.size());
    for (size_t at = 0; at < got.size(); ++at)
        ASSERT_EQ(got[at], expected[at]) << "record " << at;
}

void sortandcheck(const sessionspec &spec) {
    const tempfolder folder;
    const runresult result = run(spec, folder);
    ASSERT_EQ(result.failed, "") << "detail " << result.detail;
    ASSERT_NO_FATAL_FAILURE(checkrecords(spec, result.records));
    const size_t own = (spec.filein() ? 1U : 0U) + (spec.fileout() ? 1U : 0U);
    EXPECT_EQ(folder.entries(), own) << "temporary files are left";
}

} // namespace

TEST(external, every_order_and_form_comes_out_sorted) {
    for (const char form : {'f', 'v', 'r'})
        for (const distribution order : orders)
            for (const int option : {0, 1, 2}) {
                SCOPED_TRACE(std::string(1, form) + " order " +
                             std::to_string(static_cast<int>(order)) + " option " +
                             std::to_string(option));
                sessionspec spec = sessionof(form, recordsin(order, form, 6000));
                spec.keeporder = option == 1;
                spec.suppress = option == 2;
                ASSERT_NO_FATAL_FAILURE(sortandcheck(spec));
            }
}

// Many more strings than merge blocks: the final merge spills.
TEST(external, many_strings_in_the_smallest_storage) {
    for (const char form : {'f', 'v', 'r'}) {
        SCOPED_TRACE(form);
        sessionspec spec = sessionof(form, recordsin(distribution::random, form, 60000));
        spec.keeporder = true;
        ASSERT_NO_FATAL_FAILURE(sortandcheck(spec));
    }
}

TEST(external, records_come_and_go_through_the_calls) {
    for (const exchange way : {exchange::record, exchange::block})
        for (const bool suppress : {false, true}) {
            sessionspec spec = sessionof('f', recordsin(distribution::sawtooth, 'f', 5000));
            spec.input = spec.output = way;
            spec.suppress = suppress;
            spec.checked = true;
            ASSERT_NO_FATAL_FAILURE(sortandcheck(spec));
        }
}

// A key as long as the record leaves few index entries in a block: the index itself
// does not fit the storage.
TEST(external, an_index_larger_than_the_storage) {
    sessionspec spec = sessionof('f', {});
    spec.reclen = 600;
    spec.keys.front().length = 600;
    randomness r(9);
    for (size_t at = 0; at < 6000; ++at) {
        bytes record(600, 'x');
        for (size_t byte = 0; byte < 8; ++byte)
            record[byte] = static_cast<char>('a' + r.below(26));
        spec.inputs.front().push_back(record);
    }
    const tempfolder folder;
    const runresult result = run(spec, folder);
    ASSERT_EQ(result.failed, "");
    std::vector<bytes> expected = spec.inputs.front();
    std::sort(expected.begin(), expected.end());
    EXPECT_TRUE(result.records == expected);
}

} // namespace kvern::test

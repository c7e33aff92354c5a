// kvern.hpp: what its objects hold, throw and leave behind.
#include "kvern.hpp"
#include "support/tempfolder.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

using namespace kvern::test;

namespace {

std::vector<std::string> rest(kvern::output &from) {
    std::vector<std::string> out;
    while (const auto record = from.get())
        out.emplace_back(*record);
    return out;
}

template <class Key>
std::vector<std::string> sorted(const kvern::sorting<Key> &how,
                                const std::vector<std::string> &records) {
    kvern::input in = how.open();
    for (const std::string &record : records)
        in.put(record);
    kvern::output out = std::move(in).sorted();
    std::vector<std::string> got = rest(out);
    EXPECT_EQ(out.counters().taken, records.size());
    out.close();
    return got;
}

std::string bytes(std::initializer_list<int> values) {
    return {values.begin(), values.end()};
}

} // namespace

TEST(wrapper, kinds_of_records_and_keys) {
    using words = std::vector<std::string>;
    using kvern::field;
    using kvern::key;
    const words three = {"b1x", "a2x", "b0x"};
    EXPECT_EQ(sorted(kvern::fixed(3), three), (words{"a2x", "b0x", "b1x"}));
    EXPECT_EQ(sorted(kvern::fixed(3).by(key::chars(1, 1).descending()), three),
              (words{"a2x", "b1x", "b0x"}));
    EXPECT_EQ(sorted(kvern::fixed(3).by(key::chars(0, 1)).keep_order(), three),
              (words{"a2x", "b1x", "b0x"}));
    EXPECT_EQ(sorted(kvern::fixed(3).by(key::chars(2, 1)).unique(), three), (words{"b1x"}));
    EXPECT_EQ(sorted(kvern::variable(9), {"longer", "", "lo"}), (words{"", "lo", "longer"}));
    EXPECT_EQ(sorted(kvern::lines(9).by(field(1).numeric()), {"a 10", "b 9", "c -1"}),
              (words{"c -1", "b 9", "a 10"}));
    EXPECT_EQ(sorted(kvern::lines(9, "::").by(field(1).fold()).by(field(0).descending()),
                     {"1::B", "2::a", "3::b"}),
              (words{"2::a", "3::b", "1::B"}));

    const words numbers = {bytes({0x01, 0x00}), bytes({0xFF, 0x7F}), bytes({0x00, 0x90})};
    const struct {
        kvern::key by;
        size_t first, second;
    } cases[] = {
        {key::signed_be(0, 2), 1, 2},
        {key::signed_le(0, 2), 2, 0},
        {key::unsigned_be(0, 2), 2, 0},
        {key::unsigned_le(0, 2), 0, 1},
    };
    for (const auto &c : cases) {
        const words got = sorted(kvern::fixed(2).by(c.by), numbers);
        EXPECT_EQ(got.at(0), numbers[c.first]) << &c - cases;
        EXPECT_EQ(got.at(1), numbers[c.second]) << &c - cases;
    }
}

TEST(wrapper, from_files_and_to_a_file) {
    const tempfolder folder;
    writefile(folder.file("a"), "c;1\na;3\n");
    writefile(folder.file("b"), "b;2\n");
    const std::vector<std::string> files = {folder.file("a"), folder.file("b")};
    const auto how = kvern::lines(80, ";").by(kvern::field(1).numeric().descending());
    kvern::output out = how.open(files);
    EXPECT_EQ(rest(out), (std::vector<std::string>{"a;3", "b;2", "c;1"}));
    out.close();
    how.run(files, folder.file("sorted"));
    EXPECT_EQ(readfile(folder.file("sorted")), "a;3\nb;2\nc;1\n");
    EXPECT_THROW(how.run({folder.file("none")}, folder.file("sorted")), kvern::error);
}

TEST(wrapper, errors_carry_what_the_engine_says) {
    try {
        kvern::fixed(10).by(kvern::key::chars(0, 2)).by(kvern::key::packed(8, 3)).open();
        FAIL() << "no error";
    } catch (const kvern::error &e) {
        EXPECT_EQ(e.result, KVRN_FAILED);
        EXPECT_EQ(e.detail, KVRN_D_KEYFIELD);
        EXPECT_EQ(e.number, 7U);
        EXPECT_EQ(e.text, "KVERN:7:The mistake is found in the specification of the key-field(1).");
        EXPECT_EQ(e.what(), "kvrnopen: detail 59 " + e.text);
    }
    kvern::input in = kvern::fixed(4).open();
    try {
        in.put("long one");
        FAIL() << "no error";
    } catch (const kvern::error &e) {
        EXPECT_EQ(e.detail, KVRN_D_RECLEN);
        EXPECT_EQ(e.number, 22U);
    }
    EXPECT_THROW((void)std::move(in).sorted(), kvern::error) << "a failed session stays failed";
}

TEST(wrapper, a_guard_closes_once_wherever_it_has_moved) {
    KVRNPRIM prim = {};
    prim.function = KVRN_SORT;
    prim.recform = KVRN_FIXED;
    prim.reclen = 1;
    kvern::session first(prim), second(prim);
    KVRNSESS *block = &first.block();
    second = std::move(first); // the session that it held is closed here
    EXPECT_EQ(&second.block(), block);
    EXPECT_THROW((void)first.put(), std::logic_error); // NOLINT: so it must end
    second.block().code = KVRN_END;
    EXPECT_FALSE(second.put());
    EXPECT_FALSE(second.get());
    second.close();
    EXPECT_THROW(second.close(), std::logic_error);

    kvern::input in = kvern::fixed(1).open();
    in.put("x");
    kvern::output out = std::move(in).sorted();
    EXPECT_THROW(in.put("y"), std::logic_error); // NOLINT: so it must end
}

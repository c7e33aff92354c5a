// kvern.hpp: what its objects hold, throw and leave behind.
#include "kvern.hpp"
#include "support/tempfolder.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

using namespace kvern::test;

namespace {

using words = std::vector<std::string>;

words rest(kvern::output &from) {
    words out;
    while (const auto record = from.get())
        out.emplace_back(*record);
    return out;
}

template <class Key>
words sorted(const kvern::sorting<Key> &how, const words &records) {
    kvern::input in = how.open();
    for (const std::string &record : records)
        in.put(record);
    kvern::output out = std::move(in).sorted();
    words got = rest(out);
    EXPECT_EQ(out.counters().taken, records.size());
    out.close();
    return got;
}

} // namespace

TEST(wrapper, kinds_of_records_and_keys) {
    using kvern::field;
    using kvern::key;
    const words three = {"b1x", "a2x", "b0x"};
    EXPECT_EQ(sorted(kvern::fixed(3), three), (words{"a2x", "b0x", "b1x"}));
    EXPECT_EQ(sorted(kvern::fixed(3).by(key::chars(0, 1)).keep_order(), three),
              (words{"a2x", "b1x", "b0x"}));
    EXPECT_EQ(sorted(kvern::fixed(3).by(key::chars(2, 1)).unique(), three), words{"b1x"});
    EXPECT_EQ(sorted(kvern::variable(9), {"longer", "", "lo"}), (words{"", "lo", "longer"}));
    EXPECT_EQ(sorted(kvern::lines(9).by(field(1).numeric()), {"a 10", "b 9", "c -1"}),
              (words{"c -1", "b 9", "a 10"}));
    EXPECT_EQ(sorted(kvern::lines(9, "::").by(field(1).fold()).by(field(0).descending()),
                     {"1::B", "2::a", "3::b"}),
              (words{"2::a", "3::b", "1::B"}));

    const std::string one("\x01\x00", 2), most("\xFF\x7F"), middle("\x00\x90", 2);
    const words numbers = {one, most, middle};
    EXPECT_EQ(sorted(kvern::fixed(2).by(key::signed_be(0, 2)), numbers),
              (words{most, middle, one}));
    EXPECT_EQ(sorted(kvern::fixed(2).by(key::signed_le(0, 2)), numbers),
              (words{middle, one, most}));
    EXPECT_EQ(sorted(kvern::fixed(2).by(key::unsigned_be(0, 2)), numbers),
              (words{middle, one, most}));
    EXPECT_EQ(sorted(kvern::fixed(2).by(key::unsigned_le(0, 2)), numbers),
              (words{one, most, middle}));
}

TEST(wrapper, from_files_and_to_a_file) {
    const tempfolder folder;
    writefile(folder.file("a"), "c;1\na;3\n");
    writefile(folder.file("b"), "b;2\n");
    const words files = {folder.file("a"), folder.file("b")};
    const auto how = kvern::lines(80, ";").by(kvern::field(1).numeric().descending());
    kvern::output out = how.open(files);
    EXPECT_EQ(rest(out), (words{"a;3", "b;2", "c;1"}));
    out.close();
    how.run(files, folder.file("sorted"));
    EXPECT_EQ(readfile(folder.file("sorted")), "a;3\nb;2\nc;1\n");
}

TEST(wrapper, a_probe_leaves_the_session_as_it_is) {
    kvern::input in = kvern::lines(9, ";").by(kvern::field(1, 2).descending()).open();
    in.put("x;b");
    EXPECT_LT(in.key("y;c"), in.key("z;b"));
    EXPECT_EQ(in.key("y;bb;"), in.key("z;bbb"));
    EXPECT_THROW((void)in.key("lacking"), kvern::error);
    kvern::output out = std::move(in).sorted();
    EXPECT_EQ(rest(out), words{"x;b"});
    out.close();
    kvern::input left = kvern::fixed(3).open();
    EXPECT_THROW((void)left.key("longer"), kvern::error);
    EXPECT_NO_THROW(std::move(left).sorted().close()); // which looks at the detail
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
    EXPECT_THROW(in.put("long one"), kvern::error);
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
    second.close();
    EXPECT_THROW(second.close(), std::logic_error);
}

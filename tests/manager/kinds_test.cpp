// Sorts between all kinds of the file manager's files, through the public calls.  What
// went in and what came out is written and read by the manager's own functions.
#include "manager/managerclient.h"
#include "session/handmade.h"
#include "support/randomness.h"
#include "support/tempfolder.h"

#include <algorithm>
#include <cstdlib>

namespace kvern::test {

namespace {

constexpr uint32_t longest = 40, keylength = 6;

struct kind {
    uint8_t number;
    uint32_t organisation;
};
constexpr kind kinds[] = {{KVRN_FILE_MANAGER, 2}, {KVRN_FILE_RELATIVE, 4}, {KVRN_FILE_INDEXED, 6}};

// Keys that occur once, in no order; variable records end anywhere behind the key.
records makerecords(randomness &random, bool variable, uint32_t count) {
    records out;
    for (uint32_t i = 0; i < count; ++i) {
        std::string number = std::to_string(100000 + i);
        number.resize(variable ? random.between(keylength, longest) : longest, 'x');
        out.push_back(number);
        std::swap(out[random.below(i + 1)], out.back());
    }
    return out;
}

} // namespace

TEST(kinds, every_kind_is_sorted_into_every_other) {
#ifndef _WIN32 // there it lies beside the program
    ASSERT_EQ(setenv("KVERN_PRODUCT_DIRECTORY", KVERN_BINARY_DIR, 1), 0);
#endif
    const tempfolder folder;
    randomness random(53);
    const std::string in = folder.file("in"), out = folder.file("out");
    for (int i = 0; i < 2 * 3 * 3; ++i) {
        const bool variable = i % 2 != 0;
        const kind from = kinds[i / 2 % 3], to = kinds[i / 6];
        SCOPED_TRACE(std::to_string(from.number) + (variable ? " v " : " f ") +
                     std::to_string(to.number));
        const auto fileof = [&](const kind &k) {
            return filekind{k.organisation, variable, longest, keypart(0, keylength, 0), 1024};
        };
        records all = makerecords(random, variable, i < 6 ? 5000 : 500), found;
        {
            managerclient client;
            ASSERT_EQ(client.writeall(in, fileof(from), all), 0);
        }
        KVRNKEY keys = {1, {{0, keylength, KVRN_CHAR, KVRN_DESCENDING, 0, 0, nullptr}}};
        KVRNFTYP intypes = {1, {from.number}};
        KVRNOKEY outkey = {0, 1, {{0, keylength, KVRN_CHAR, KVRN_ASCENDING, 0x50, 0}}};
        handmade s;
        s.prim.recform = variable ? KVRN_VARIABLE : KVRN_FIXED;
        s.prim.reclen = longest;
        s.prim.memsize = 65536;
        s.infile(in);
        s.outfile(out);
        s.files.intypes = &intypes;
        s.files.outtype = to.number;
        s.files.outkey = &outkey;
        EXPECT_EQ(kvrnopen(s.version, &s.link, &s.prim, &s.sess, &keys, &s.files, nullptr), 0)
            << "detail " << s.sess.detail;
        EXPECT_EQ(s.close(), 0);
        managerclient client;
        EXPECT_EQ(client.readall(out, fileof(to), &found), 0x10);
        // An indexed file has an order of its own.
        std::sort(all.begin(), all.end());
        if (to.organisation != 6)
            std::reverse(all.begin(), all.end());
        EXPECT_TRUE(found == all) << found.size();
        EXPECT_EQ(folder.entries(), 2U);
        std::filesystem::remove(out);
    }
}

} // namespace kvern::test

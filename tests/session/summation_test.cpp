// Where summation stops: the borders that random sessions do not hit.
#include "handmade.h"

namespace kvern::test {
namespace {

struct summing : handmade {
    explicit summing(uint8_t get) {
        prim.recoprat = static_cast<uint8_t>(KVRN_PUT_RECORD | get);
        prim.reclen = 10;
        prim.memsize = KVRN_MEM_MIN;
        key(0, 8);
        sum(8, 2, KVRN_PACKED);
    }
    // One key more, which is one of the others or behind them; no two sums have room.
    strings sortwith(uint32_t count, uint32_t one) {
        strings all = numbered(count, count);
        all.push_back(std::to_string(1000000 + one) + '\n');
        for (std::string &record : all)
            record += "\x99\x9C";
        return sort(all);
    }
};

// An external sort has no second look at a held record that finds the output block
// full just when summation stops: that record is lost, and the balance of counts
// tells.  A sort in core keeps it.
TEST(summation, held_record_without_room) {
    for (const uint32_t count : {1000U, 9000U}) { // in core, external
        const strings blocks = summing(KVRN_GET_BLOCK).sortwith(count, count);
        ASSERT_GT(blocks.size(), 1U);
        const auto perblock = static_cast<uint32_t>(blocks[0].size() / 10);
        for (const uint32_t twice : {perblock - 1, perblock, perblock + 1}) {
            const bool lost = count == 9000 && twice == perblock;
            summing s(KVRN_GET_RECORD);
            EXPECT_EQ(s.sortwith(count, twice).size(), count + 1 - lost) << twice;
            EXPECT_EQ(s.sess.detail, unsigned{KVRN_D_SUMOVERFLOW});
            EXPECT_EQ(s.close(), lost ? -1 : 0);
            EXPECT_EQ(s.sess.detail, unsigned{lost ? KVRN_D_LOGIC : KVRN_D_SUMOVERFLOW});
        }
    }
}

TEST(summation, text_grows_as_far_as_there_is_room) {
    for (const std::string end : {"\n", "\r\n"})
        for (const size_t missing : {0, 1}) {
            handmade s;
            s.astext(end == "\n" ? KVRN_DLMT_LF : KVRN_DLMT_CRLF, KVRN_FIELDS);
            s.prim.recoprat = KVRN_PUT_BLOCK | KVRN_GET_RECORD; // for two bytes of delimiter
            s.prim.separator = ",";
            s.prim.reclen = static_cast<uint32_t>(7 + end.size() - missing);
            s.key(0, 1);
            s.sum(1, 3, KVRN_CHAR);
            const strings given = {"A,7,z" + end, "A,5" + end}, grown = {"A,012,z" + end};
            EXPECT_EQ(s.sort(given), missing ? given : grown);
            EXPECT_EQ(s.sess.detail, missing ? 115U : 0U);
        }
}

} // namespace
} // namespace kvern::test

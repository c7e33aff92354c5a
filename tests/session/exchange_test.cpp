// Records and blocks through kvrnput and kvrnget, and what may happen meanwhile.
#include "handmade.h"
#include "support/tempfolder.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace kvern::test {
namespace {

using strings = std::vector<std::string>;

std::string numbered(uint32_t i) {
    const std::string digits = std::to_string(i);
    return std::string(7 - digits.size(), '0') + digits + '\n';
}

// Enough to fill some blocks, in an order that is none.
strings shuffled(uint32_t count) {
    strings all;
    for (uint32_t i = 0; i < count; ++i)
        all.push_back(numbered(i * 7919 % count));
    return all;
}

// A record as it stands in a block of its form.
std::string framed(char form, const std::string &record) {
    if (form != 'v')
        return record;
    const auto length = static_cast<uint32_t>(record.size());
    return std::string(reinterpret_cast<const char *>(&length), sizeof length) + record;
}

TEST(exchange, forms_and_ways) {
    const strings records = shuffled(30011); // a prime, so that all numbers occur once
    strings sorted = records;
    std::sort(sorted.begin(), sorted.end());
    for (const char form : {'f', 'v', 'r'}) {
        for (const uint8_t in : {KVRN_PUT_RECORD, KVRN_PUT_BLOCK}) {
            for (const uint8_t out : {KVRN_GET_RECORD, KVRN_GET_BLOCK}) {
                handmade s;
                if (form == 'r')
                    s.astext(KVRN_DLMT_LF);
                else
                    s.prim.recform = static_cast<uint8_t>(form);
                s.prim.recoprat = in | out;
                s.prim.memsize = 0x400000;
                ASSERT_EQ(s.open(), 0) << form << int{in} << int{out};
                const bool manyablock = in == KVRN_PUT_BLOCK && form != 'r';
                std::string block;
                for (const std::string &record : records)
                    if (manyablock)
                        block += framed(form, record);
                    else
                        ASSERT_EQ(s.put(record), 0);
                if (manyablock)
                    ASSERT_EQ(s.put(block), 0);
                const bool oneablock = in == KVRN_PUT_BLOCK && form == 'r';
                EXPECT_EQ(s.sess.putcount, oneablock ? 1 : records.size());
                ASSERT_EQ(s.end(), 1);
                int last;
                std::string all, expected;
                const strings parts = s.getall(&last);
                for (const std::string &part : parts)
                    all += part;
                for (const std::string &record : sorted)
                    expected += out == KVRN_GET_BLOCK ? framed(form, record) : record;
                EXPECT_EQ(last, 1);
                EXPECT_TRUE(all == expected) << form << int{in} << int{out};
                EXPECT_EQ(s.sess.code, KVRN_END);
                EXPECT_EQ(s.sess.recaddr, nullptr);
                EXPECT_EQ(s.sess.getcount, records.size());
                EXPECT_EQ(s.close(), 0);
                EXPECT_EQ(s.sess.detail, 0U);
            }
        }
    }
}

TEST(exchange, files_on_one_side_or_both) {
    const strings records = shuffled(5003);
    std::string in, out;
    for (uint32_t i = 0; i < records.size(); ++i) {
        in += records[i];
        out += numbered(i);
    }
    for (const bool filein : {false, true}) {
        for (const bool fileout : {false, true}) {
            const tempfolder folder;
            const std::string input = folder.file("in"), output = folder.file("out");
            handmade s;
            if (filein) {
                writefile(input, in);
                s.infile(input);
            }
            if (fileout)
                s.outfile(output);
            ASSERT_EQ(s.open(), 0);
            if (filein) {
                EXPECT_EQ(s.put("abcdefgh"), -1); // not the caller's business
                EXPECT_EQ(s.sess.detail, 101U);
            } else {
                for (const std::string &record : records)
                    ASSERT_EQ(s.put(record), 0);
                ASSERT_EQ(s.end(), 1);
            }
            std::string all;
            int last;
            for (const std::string &record : s.getall(&last))
                all += record;
            EXPECT_EQ(last, fileout ? -1 : 1);
            EXPECT_TRUE((fileout ? readfile(output) : all) == out) << filein << fileout;
            EXPECT_EQ(s.close(), 0);
        }
    }
}

TEST(exchange, ends) {
    handmade s;
    int last;
    ASSERT_EQ(s.open(), 0); // no record at all
    EXPECT_EQ(s.end(s.link.chkp), 1);
    EXPECT_EQ(s.link.chkg(&s.sess), 1);
    EXPECT_EQ(s.close(), 0);

    ASSERT_EQ(s.open(), 0); // closed early, with records in, and after the sort
    ASSERT_EQ(s.put("12345678"), 0);
    EXPECT_EQ(s.close(), 1);
    EXPECT_EQ(s.sess.detail, 0U);
    ASSERT_EQ(s.open(), 0);
    ASSERT_EQ(s.end(), 1);
    EXPECT_EQ(s.close(), 1);

    ASSERT_EQ(s.open(), 0); // the plain calls know an end too
    ASSERT_EQ(s.put("12345678"), 0);
    ASSERT_EQ(s.end(), 1);
    for (const uint8_t code : {KVRN_RECORD, KVRN_END}) {
        s.sess.code = code;
        s.sess.recaddr = nullptr;
        EXPECT_EQ(kvrnput(&s.sess), -1);
        EXPECT_EQ(s.sess.detail, 101U);
    }
    EXPECT_EQ(s.getall(&last), strings{"12345678"});
    EXPECT_EQ(kvrnget(&s.sess), -1);
    EXPECT_EQ(s.sess.detail, 102U);
    EXPECT_EQ(s.close(), 0);
}

// A line without its delimiter in a block: the call takes it, the session fails.
TEST(exchange, text_block_without_a_delimiter) {
    handmade s;
    s.astext(KVRN_DLMT_CRLF);
    s.prim.recoprat = KVRN_PUT_BLOCK | KVRN_GET_RECORD;
    ASSERT_EQ(s.open(), 0);
    EXPECT_EQ(s.put("ab\r\n"), 0);
    EXPECT_EQ(s.sess.detail, 0U);
    EXPECT_EQ(s.put("ab"), 0);
    EXPECT_EQ(s.sess.detail, 117U);
    EXPECT_EQ(s.end(s.link.chkp), -1);
    EXPECT_EQ(s.close(), 0);
}

struct reentry {
    handmade *session;
    int rounds;
};

// Tries what a handler inside a running call must not do.
int KVRN_CALL reentering(KVRNSESS *sess, void *arg) {
    auto *re = static_cast<reentry *>(arg);
    handmade &s = *re->session;
    ++re->rounds;
    struct {
        handmade::recordcall call;
        uint32_t detail;
    } const calls[] = {{kvrnput, 101},  {qha5chkp, 101}, {kvrnget, 102},
                       {qha5chkg, 102}, {kvrnmrge, 103}, {qha5chkm, 103}};
    const KVRNSESS before = *sess;
    for (const auto &c : calls) {
        EXPECT_EQ(c.call(sess), -1);
        EXPECT_EQ(sess->detail, c.detail);
    }
    EXPECT_EQ(s.close(), -1);
    EXPECT_EQ(sess->detail, 104U);
    EXPECT_EQ(qha5term(&s.prim, sess), -1);
    EXPECT_EQ(kvrnlevl(sess, 1), 0);
    EXPECT_NE(s.link.init, nullptr);
    EXPECT_EQ(sess->ctx, before.ctx);
    *sess = before;
    return 0;
}

TEST(hook, calls_on_the_running_session_are_refused) {
    handmade s;
    reentry re = {&s, 0};
    kvrnhook(reentering, &re);
    ASSERT_EQ(s.open(), 0);
    EXPECT_GT(re.rounds, 0);
    re.rounds = 0;
    for (const std::string &record : shuffled(5003))
        ASSERT_EQ(s.put(record), 0);
    ASSERT_EQ(s.end(), 1);
    EXPECT_GT(re.rounds, 0);
    int last;
    EXPECT_EQ(s.getall(&last).size(), 5003U);
    EXPECT_EQ(s.close(), 0);
    EXPECT_EQ(s.sess.detail, 0U);
}

int KVRN_CALL nonzero(KVRNSESS *, void *) {
    return 1;
}

TEST(hook, stops_the_sort) {
    const tempfolder folder;
    const std::string input = folder.file("in"), output = folder.file("out");
    std::string data;
    handmade s;
    ASSERT_EQ(s.open(), 0);
    for (const std::string &record : shuffled(5003)) {
        ASSERT_EQ(s.put(record), 0);
        data += record;
    }
    kvrnhook(nonzero, nullptr);
    EXPECT_EQ(s.end(), -1);
    EXPECT_EQ(s.sess.detail, 0U);
    EXPECT_EQ(kvrnget(&s.sess), -1);
    EXPECT_EQ(s.sess.detail, 102U);
    EXPECT_EQ(s.close(), 1);

    // Between files, from any round on: the call says that it was stopped.
    writefile(input, data);
    s.infile(input);
    s.outfile(output);
    struct countdown {
        static int KVRN_CALL hook(KVRNSESS *, void *arg) { return --*static_cast<int *>(arg) == 0; }
    };
    for (const int round : {1, 1000, 1001, 1002, 1003, 1010}) {
        int left = round;
        kvrnhook(countdown::hook, &left);
        EXPECT_EQ(s.open(), 1) << round;
        EXPECT_EQ(s.sess.detail, 0U);
        EXPECT_EQ(s.close(), 1);
    }
}

} // namespace
} // namespace kvern::test

// Indexed files: what the header and the key blocks of an input say, in sound and in spoilt
// ones, and the keys of an output, all as the manager hears it.
#include "manager/recordingmanager.h"
#include "session/handmade.h"

#include <algorithm>
#include <array>
#include <sstream>

namespace kvern::test {

namespace {

// The request that opens the file named "indexed", or message and detail where the engine
// itself refuses the file.
std::string opening(handmade &s) {
    recordingmanager manager(fmgruntold);
    s.prim.function = KVRN_COPY;
    (void)s.open();
    const std::string text = s.message(); // "KVERN:32:..."
    std::string told = text.substr(0, text.find(':', 6)) + "/" + std::to_string(s.sess.detail);
    for (const std::string &line : manager.lines)
        if (line.find("6\"indexed\"") != std::string::npos)
            told = line;
    (void)s.close();
    return told;
}
std::string openinginput(const std::string &data, uint8_t form = KVRN_FIXED) {
    handmade s;
    writefile(s.file("indexed"), data);
    KVRNFTYP kinds = {1, {KVRN_FILE_INDEXED}};
    s.files.intypes = &kinds;
    s.prim.recform = form;
    s.infile(s.file("indexed"));
    s.outfile(s.file("out"));
    s.files.outtype = KVRN_FILE_MANAGER;
    return opening(s);
}

void put(std::string &data, size_t at, uint32_t value, size_t size) {
    data.resize(std::max(data.size(), at + size));
    for (size_t i = size; i-- > 0; value >>= 8)
        data[at + i] = static_cast<char>(value);
}

// With changes: what stands at a place, in hexadecimal.
std::string with(std::string data, const std::string &changes) {
    std::istringstream words(changes);
    size_t at;
    char equals;
    for (std::string digits; words >> at >> equals >> digits;)
        put(data, at, static_cast<uint32_t>(std::stoul(digits, nullptr, 16)), digits.size() / 2);
    return data;
}

using keypart = std::array<uint32_t, 3>; // position, length, flags

// A sound header with its key definition blocks, which are block 0 and those behind the
// header, as many as the parts take; the last one is cut off behind its last part.
std::string indexed(uint32_t blocksize, const std::vector<keypart> &parts) {
    std::string data =
        with("", "1=01 6=524D4B46 16=0064 18=0064 20=01 23=01 105=05 107=07 252=00000000");
    put(data, 25, static_cast<uint32_t>(parts.size()), 1);
    put(data, 26, blocksize, 2);
    uint32_t block = 0;
    for (const auto &[position, length, flags] : parts) {
        if (data.size() + 36 > blocksize * (block + 1)) {
            const uint32_t next = block == 0 ? (255 + blocksize) / blocksize : block + 1;
            put(data, blocksize * block + 2, next, 4);
            block = next;
            data.resize(blocksize * block + 6);
            data[blocksize * block + 1] = 1;
        }
        const size_t at = data.size();
        put(data, at, position, 2);
        put(data, at + 2, length, 2);
        put(data, at + 4, flags, 1);
        data.resize(at + 36);
    }
    put(data, 42, block, 4);
    return data;
}

} // namespace

TEST(indexed, spoilt_files) {
    const std::string one = indexed(512, {{0, 4, 2}, {8, 2, 3}, {10, 254, 0}});
    // 20 parts in blocks of 292: one in block 0, then 7, 7, 5; blocks 1 and 2 at 292 and 584.
    const std::string chained = indexed(292, std::vector<keypart>(20, {3, 4, 0}));
    const std::string asked = "0=1 ", torn = "KVERN:35/200", unusable = "KVERN:32/208",
                      otherform = "KVERN:15/206", cutoff = "KVERN:75/231";
    const struct {
        std::string is, data;
        strings changes;
    } rows[] = {
        // Both attributes; the lowest bit in the order of the host; the other block size; the
        // entries end where the block does; a byte that is not read; one part more.
        {asked,
         one,
         {"20=02 23=02", "35=01", "32=FF 30=0190 26=0000", "26=FFFF", "26=016C", "333=FF",
          "25=04 366=0009 508=00000000"}},
        // A circle; a block that is not looked at.
        {asked, chained, {"", "2=00000001", "25=FF 586=00000002", "25=01 2=000003E7"}},
        {asked, indexed(42, {{1, 2, 0}}), {"42=00000007"}},
        {torn, "", {""}},
        {unusable, one.substr(0, 19), {""}},
        {torn, one.substr(0, 256), {""}},
        // All of a part's length counts.
        {torn,
         one,
         {"1=00", "9=47", "32=01 30=0029", "26=0000", "26=0029", "258=0000", "330=00FF", "330=0101",
          "332=04", "25=FF"}},
        // A block behind the last one, or behind the file, which counts as zero there.
        {torn,
         chained,
         {"42=00000002", "2=00000004", "2=00000004 42=00000004", "2=FFFFFFFF 42=FFFFFFFF", "293=02",
          "592=0000", "25=15"}},
        {unusable,
         one,
         {"16=0065", "16=0000 18=0000", "20=00", "20=03", "23=00", "23=FF", "25=00", "32=01"}},
        {otherform, one, {"16=0063", "16=0063 20=00"}}, // the lengths come first
        {cutoff, one, {"26=002A", "26=016B"}},          // block 0 has not all entries
        {cutoff, chained, {"586=00000000"}},
    };
    for (const auto &row : rows)
        for (const std::string &changes : row.changes)
            EXPECT_EQ(openinginput(with(row.data, changes)).substr(0, row.is == asked ? 4 : 99),
                      row.is)
                << changes;
    EXPECT_EQ(openinginput(one, KVRN_VARIABLE), otherform);
}

TEST(indexed, what_a_file_says) {
    const std::vector<keypart> parts = {{0x1234, 254, 2}, {8, 2, 2}, {9, 1, 0},
                                        {20, 3, 1},       {5, 6, 3}, {7, 8, 1}};
    // As many entries in every block; behind a full block, and in the first block.
    for (const uint32_t size : {42U, 77U, 78U, 291U, 292U, 364U, 472U, 65535U})
        EXPECT_EQ(openinginput(with(indexed(size, parts), "16=0014 18=2345"), KVRN_VARIABLE),
                  "0=1 3=6 6\"indexed\" 22=4770048 10=9029 9=20 "
                  "18:FE203412022008000100090003101400063005000810"
                  "0700 19=5 20=7 42=" +
                      std::to_string(size) + " 46=1 47=1");
}

TEST(indexed, keys_of_an_output) {
    using keylist = std::vector<KVRNOKEYE>;
    const auto part = [](uint32_t at, uint32_t length, uint8_t flags = 0x50, uint8_t type = 161,
                         uint8_t order = 16) {
        return KVRNOKEYE{at, length, type, order, flags, 0};
    };
    const auto typed = [&](uint8_t type, uint8_t order = 16) {
        return part(0, 1, 0x10, type, order);
    };
    const char *const refused = "KVERN:15/243";
    const auto openingoutput = [](const keylist &keys, uint32_t options) {
        handmade s;
        listblock<KVRNOKEY, KVRNOKEYE> table;
        for (const KVRNOKEYE &key : keys)
            table.add(key);
        if (!keys.empty())
            table.get()->options = options;
        s.fromfiles({""});
        s.outfile(s.file("indexed"));
        s.files.outtype = KVRN_FILE_INDEXED;
        s.files.outkey = table.get();
        return opening(s);
    };
    // One part each: lengths, places, attributes, not primary, orders, types, which may have
    // the bits of a listed one and others.
    const keylist good = {part(32760, 254), part(0, 1, 0x12), part(0, 1, 0x14),
                          typed(0xA1, 32),  typed(0xB1),      typed(0xFF)};
    const keylist bad = {part(32761, 1), part(0, 255),    part(0, 1, 0x16), part(0, 1, 0x60),
                         typed(0xA1, 0), typed(0xA1, 48), typed(0xA4),      typed(0xC1)};
    for (const KVRNOKEYE &one : good)
        EXPECT_EQ(openingoutput({one}, 0).substr(0, 4), "0=1 ") << &one - good.data();
    for (const KVRNOKEYE &one : bad)
        EXPECT_EQ(openingoutput({one}, 0), refused) << &one - bad.data();
    // All together.
    EXPECT_NE(openingoutput(keylist(254, part(0, 1)), 0), refused);
    EXPECT_NE(openingoutput(keylist(255, part(0, 0)), 0), refused);
    EXPECT_EQ(openingoutput(keylist(256, part(0, 0)), 0), refused);
    EXPECT_EQ(openingoutput({part(0, 127), part(0, 128)}, 0), refused);
    EXPECT_EQ(openingoutput({part(0, ~0U), part(0, 2)}, 0), refused);
    EXPECT_EQ(openingoutput({part(0, 1), part(0, 1, 0, 0)}, 0), refused);
    EXPECT_EQ(openingoutput({part(0, 1, 0x60), part(0, 1, 0x40)}, 0), refused);
    EXPECT_NE(openingoutput({part(0, 1, 0x40), part(0, 1, 0x10)}, 0), refused);
    EXPECT_EQ(openingoutput({}, 0), refused);
    for (const uint32_t options : {0U, 1U, 8U, 9U, 0xF6U, 0x900U}) {
        const keylist keys = {part(0x1234, 3, 0x12), part(9, 2), part(7, 4, 0x42)};
        const std::string is = openingoutput(keys, options),
                          attribute0 = (options & 8) != 0 ? "2" : "1",
                          attribute1 = (options & 1) != 0 ? "2" : "1";
        EXPECT_EQ(is.substr(is.find("18:")), "18:033034120200090004100700 42=1024 45=16 46=" +
                                                 attribute0 + " 47=" + attribute1);
    }
}

} // namespace kvern::test

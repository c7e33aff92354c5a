// The example lines of the documentation on generated data, checked by plain code of its
// own, and pipes from one command to the next.

#include "support/randomness.h"
#include "support/tempfolder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

using namespace kvern::test;
using namespace std::string_literals;

namespace {

using records = std::vector<std::string>;

class examples : public ::testing::Test {
  protected:
    tempfolder folder;
    std::filesystem::path before = std::filesystem::current_path();
    randomness r{23};

    void SetUp() override {
        const auto program = std::filesystem::absolute(KVERN_COMMAND);
        std::filesystem::current_path(folder.path());
        std::filesystem::create_symlink(program, "kvern");
        std::filesystem::create_directory("big1");
        std::filesystem::create_directory("big2");
    }
    void TearDown() override { std::filesystem::current_path(before); }

    int shell(const std::string &line) {
        const std::string whole = "PATH=.:$PATH; " + line + " 2> err";
        const int code = std::system(("bash -o pipefail -c '" + quoted(whole) + "'").c_str()) >> 8;
        return code;
    }
    void succeeds(const std::string &line) { EXPECT_EQ(shell(line), 0) << line << readfile("err"); }

    static std::string quoted(std::string text) {
        for (size_t at = 0; (at = text.find('\'', at)) != std::string::npos; at += 4)
            text.replace(at, 1, "'\\''");
        return text;
    }
    std::string letters(size_t count, uint32_t kinds) {
        std::string out(count, ' ');
        for (char &c : out)
            c = static_cast<char>('A' + r.below(kinds));
        return out;
    }
    records fixed(size_t count, size_t length) {
        records out(count);
        for (std::string &one : out) {
            one = letters(length, 26);
            one.replace(0, 10, letters(2, 3) + "        ");
        }
        return out;
    }
    void amounts(records &all, size_t at, size_t bytes, int limit) {
        for (std::string &one : all)
            one.replace(at, bytes,
                        packed(static_cast<int>(r.below(2u * static_cast<uint32_t>(limit))) - limit,
                               bytes));
    }
    static std::string packed(int value, size_t bytes) {
        std::string digits = std::to_string(value < 0 ? -value : value), out;
        digits.insert(0, bytes * 2 - 1 - digits.size(), '0');
        digits += value < 0 ? "=" : "<"; // 0x3D, 0x3C
        for (size_t i = 0; i < digits.size(); i += 2)
            out += static_cast<char>((digits[i] & 15) << 4 | (digits[i + 1] & 15));
        return out;
    }
    static int amount(const std::string &bytes) {
        int value = 0;
        for (size_t i = 0; i < bytes.size() * 2 - 1; ++i)
            value = value * 10 + (bytes[i / 2] >> (i % 2 ? 0 : 4) & 15);
        return (bytes.back() & 15) == 13 ? -value : value;
    }
};

std::string joined(const records &all, const std::string &end = "") {
    std::string out;
    for (const std::string &one : all)
        out += one + end;
    return out;
}

records cut(const std::string &data, size_t length) {
    records out;
    for (size_t at = 0; at < data.size(); at += length)
        out.push_back(data.substr(at, length));
    return out;
}

records lines(const std::string &data) {
    records out;
    for (size_t at = 0, end; (end = data.find('\n', at)) != std::string::npos; at = end + 1)
        out.push_back(data.substr(at, end - at));
    return out;
}

std::string framed(const records &all) {
    std::string out;
    for (const std::string &one : all) {
        const size_t length = one.size() + 4;
        out += static_cast<char>(length >> 8);
        out += static_cast<char>(length & 255);
        out += "\0\0"s + one;
    }
    return out;
}

records unframed(const std::string &data) {
    records out;
    for (size_t at = 0; at + 4 <= data.size();) {
        const size_t length = static_cast<size_t>(static_cast<uint8_t>(data[at])) << 8 |
                              static_cast<uint8_t>(data[at + 1]);
        out.push_back(data.substr(at + 4, length - 4));
        at += length;
    }
    return out;
}

// The same records, in an order in which none is `less` than the one ahead of it.
template <typename Less>
void expectsorted(records got, records given, Less less) {
    EXPECT_TRUE(std::is_sorted(got.begin(), got.end(), less));
    std::sort(got.begin(), got.end());
    std::sort(given.begin(), given.end());
    EXPECT_TRUE(got == given);
}

auto byfirst(size_t bytes) {
    return [=](const std::string &a, const std::string &b) {
        return a.compare(0, bytes, b, 0, bytes) < 0;
    };
}

TEST_F(examples, sorts) {
    records all = fixed(3000, 80);
    amounts(all, 20, 6, 500);
    writefile("in.dat", joined(all));
    succeeds("kvern sort --fixed 80 -k 1,10,ch -k 21,6,pd,d -o out.dat in.dat");
    expectsorted(cut(readfile("out.dat"), 80), all, [](const auto &a, const auto &b) {
        const int words = a.compare(0, 10, b, 0, 10);
        return words != 0 ? words < 0 : amount(a.substr(20, 6)) > amount(b.substr(20, 6));
    });

    records variable(2000);
    for (std::string &one : variable)
        for (one.resize(12 + r.below(200)); char &c : one)
            c = static_cast<char>(r.between(0xC1, 0xC9));
    writefile("vb.bin", framed(variable));
    succeeds("kvern sort --variable 4096 --framing rdw --data ebcdic -k 1,12,ch < vb.bin > vb.srt");
    expectsorted(unframed(readfile("vb.srt")), variable, byfirst(12));

    records list(2000);
    for (std::string &one : list)
        one = letters(1, 20) + letters(1, 3) + ";x y;" + std::to_string(r.below(300)) + ";z";
    for (std::string &one : list)
        one[1] = static_cast<char>(one[1] | 32 * (r.onein(2) ? 1 : 0));
    writefile("list.txt", "name;words;size;end\n" + joined(list, "\n"));
    succeeds("kvern sort -t ';' --header 1 -k 3nr -k 1f -o by-size.txt list.txt");
    records got = lines(readfile("by-size.txt"));
    EXPECT_EQ(got.at(0), "name;words;size;end");
    got.erase(got.begin());
    expectsorted(got, list, [](const auto &a, const auto &b) {
        const int x = std::stoi(a.substr(7)), y = std::stoi(b.substr(7));
        const char c = static_cast<char>(a[1] & ~32), d = static_cast<char>(b[1] & ~32);
        return x != y ? x > y : a[0] != b[0] ? a[0] < b[0] : c < d;
    });

    records names(500); // two bytes each, in which the two codes have one order
    for (std::string &one : names)
        for (size_t i = 0; i < 1 + r.below(12); ++i)
            one += {static_cast<char>(r.between(0x89, 0x97)),
                    static_cast<char>(r.between(0x9F, 0xFC))};
    writefile("names.sjis", joined(names, "\n"));
    succeeds("kvern sort --columns --max-line 200 -k 1,20,sj -o names.jis names.sjis");
    expectsorted(lines(readfile("names.jis")), names, byfirst(20));

    records big(24000);
    for (std::string &one : big) {
        one.assign(512, 'x');
        one.replace(8, 16, letters(16, 26));
    }
    writefile("big.dat", joined(big));
    succeeds("kvern sort --fixed 512 -k 9,16,ch -T big1 -T big2 -S 10M --progress always "
             "--stats=json -o big.srt big.dat");
    expectsorted(cut(readfile("big.srt"), 512), big,
                 [](const auto &a, const auto &b) { return a.compare(8, 16, b, 8, 16) < 0; });
    EXPECT_NE(readfile("err").find("\"external\":true"), std::string::npos);
    EXPECT_TRUE(std::filesystem::is_empty("big1") && std::filesystem::is_empty("big2"));
}

TEST_F(examples, sums_merges_and_checks) {
    records all = fixed(2000, 60);
    amounts(all, 29, 6, 1000);
    std::map<std::string, std::pair<int, int>> totals;
    for (std::string &one : all) {
        const auto units = static_cast<int>(r.below(1000));
        std::string zoned = std::to_string(units);
        one.replace(35, 8, std::string(8 - zoned.size(), '0') + zoned);
        auto &[money, pieces] = totals[one.substr(0, 8)];
        money += amount(one.substr(29, 6));
        pieces += units;
    }
    writefile("day1.dat", joined(records(all.begin(), all.begin() + 700)));
    writefile("day2.dat", joined(records(all.begin() + 700, all.end())));
    succeeds("kvern sort --fixed 60 -k 1,8,ch --sum 30,6,pd --sum 36,8,zd -o totals.dat "
             "day1.dat day2.dat");
    const records got = cut(readfile("totals.dat"), 60);
    ASSERT_EQ(got.size(), totals.size());
    auto want = totals.begin();
    for (const std::string &one : got) {
        EXPECT_EQ(one.substr(0, 8), want->first);
        EXPECT_EQ(amount(one.substr(29, 6)), want->second.first);
        EXPECT_EQ(std::stoi(one.substr(35, 7)) * 10 + (one[42] & 15), want->second.second);
        ++want;
    }

    records week, inputs;
    for (const char *name : {"mon.srt", "tue.srt", "wed.srt"}) {
        records day = fixed(400, 80);
        std::stable_sort(day.begin(), day.end(), byfirst(10));
        writefile(name, joined(day));
        week.insert(week.end(), day.begin(), day.end());
    }
    std::stable_sort(week.begin(), week.end(), byfirst(10));
    succeeds("kvern merge --fixed 80 -k 1,10,ch -o week.dat mon.srt tue.srt wed.srt");
    EXPECT_TRUE(readfile("week.dat") == joined(week));
    const std::string line = "kvern check --fixed 80 -k 1,10,ch week.dat || echo \"not in order\"";
    succeeds("(" + line + ") > said");
    EXPECT_EQ(readfile("said"), "");
    writefile("week.dat", joined(week) + week.front());
    succeeds("(" + line + ") > said");
    EXPECT_EQ(readfile("said"), "not in order\n");
}

TEST_F(examples, copies) {
    records all(3000);
    for (std::string &one : all) {
        one = letters(200, 3);
        one.replace(0, 2, r.onein(2) ? "NO" : "SE");
        one[29] = static_cast<char>(r.below(2) | 0x30);
    }
    amounts(all, 20, 6, 2000);
    writefile("cust.dat", joined(all));
    writefile("cust.lay", "region = 1,2\namount = 21,6,pd\nvip = 30,1,bit=0x01\n");
    succeeds("kvern copy --fixed 200 --layout cust.lay -w 'region == \"NO\" and (amount >= 1000 or "
             "vip = 1)' -o no.dat cust.dat");
    std::string kept, rebuilt;
    for (const std::string &one : all) {
        if (one[0] == 'N' && (amount(one.substr(20, 6)) >= 1000 || (one[29] & 1) != 0))
            kept += one;
        rebuilt += one.substr(0, 10) + "  " + one.substr(40, 20) + "\n";
    }
    EXPECT_TRUE(readfile("no.dat") == kept);
    succeeds("kvern copy --fixed 200 --rebuild '1,10 \"  \" 41,20 x\"0A\"' -o names.txt cust.dat");
    EXPECT_TRUE(readfile("names.txt") == rebuilt);
}

TEST_F(examples, pipes_of_every_form) {
    records all(3000);
    for (std::string &one : all)
        one = letters(1, 4) + letters(19, 26);
    records want = all;
    std::sort(want.begin(), want.end());
    std::erase_if(want, [](const std::string &one) { return one[0] == 'B'; });
    const struct {
        const char *options;
        std::string (*file)(const records &);
    } forms[] = {
        {"--fixed 20", [](const records &some) { return joined(some); }},
        {"--variable 20 --framing rdw", framed},
        {"--columns", [](const records &some) { return joined(some, "\n"); }},
        {"--columns", [](const records &some) { return joined(some, "\r\n"); }},
    };
    for (const auto &form : forms) {
        writefile("in", form.file(all));
        const std::string options = form.options;
        succeeds("kvern sort " + options + " -k 1,20 < in | kvern copy " + options +
                 " -w '[1,1] != \"B\"' > out");
        EXPECT_TRUE(readfile("out") == form.file(want)) << options;
    }
    // The reader of the output leaves.
    std::string long_;
    while (long_.size() < 4000000)
        long_ += "some line\n";
    writefile("in", long_);
    for (const char *verb : {"sort", "merge", "copy"})
        EXPECT_EQ(shell(verb == "sort"s ? "kvern sort -T big1 < in | head -c 10 > out"
                                        : "kvern "s + verb + " -T big1 in | head -c 10 > out"),
                  130);
    EXPECT_EQ(readfile("err"), "");
    EXPECT_TRUE(std::filesystem::is_empty("big1"));
}

} // namespace

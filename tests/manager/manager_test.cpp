// The file manager through its functions: what lies in its files, what comes back
// from them, and what it refuses.
#include "manager/managerclient.h"
#include "support/tempfolder.h"

#include <algorithm>
#include <cerrno>
#include <random>
#ifndef _WIN32
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#endif

namespace kvern::test {

namespace {

using namespace std::string_literals;

const filekind seqfixed = {2, false, 5}, seqvariable = {2, true, 5};
const filekind relfixed = {4, false, 5}, relvariable = {4, true, 5};
const filekind idxfixed = {6, false, 5, keypart(1, 2, 0)};
const filekind idxvariable = {6, true, 600, keypart(1, 2, 0x10), 292};

struct filecase {
    const char *title;
    filekind kind;
    records written;
    std::string bytes;     // that the file consists of, or, indexed, holds
    records expected = {}; // empty: as written
    int status = 0;        // otherwise nothing is read
};

filekind keyed(const std::string &keyparts) {
    return {6, false, 3, keyparts};
}

const std::string onekey = keypart(0, 2, 0), onekeyagain = keypart(0, 2, 0x10);
const std::string uneven = keypart(0, 1, 0x30) + keypart(1, 1, 0); // the last part counts
const std::string large = "3bb" + std::string(500, '3');

const filecase filecases[] = {
    {"sequential", seqfixed, {"abcde", "fg\0\n "s}, "abcdefg\0\n "s},
    {"sequential, variable", seqvariable, {"abcde", "", "f"}, "\0\5\0\0abcde\0\0\0\0\0\1\0\0f"s},
    {"relative", relfixed, {"abcde", "fghij"}, "\5\0\0\0\0\0\0\0abcde\5\0\0\0\0\0\0\0fghij"s},
    {"relative, variable", relvariable, {"ab"}, "\2\0\0\0\0\0\0\0ab   "s},
    {"indexed", idxfixed, {"2bcxx", "1bbyy", "3aazz"}, "\0\1\0\2\0"s, {"3aazz", "1bbyy", "2bcxx"}},
    {"duplicates", idxvariable, {"1bb", "2aa", large}, "\0\1\0\2\1"s, {"2aa", "1bb", large}},
    {"empty", seqfixed, {}, ""},
    {"empty, indexed", idxfixed, {}, "RMKF"},
    {"equal keys", keyed(onekey), {"ab1", "aa2", "ab3"}, "", {}, 0x22},
    {"equal keys of parts", keyed(uneven), {"ab1", "ab2"}, "", {}, 0x22},
    {"second keys", keyed(onekeyagain + keypart(2, 1, 0)), {"ab1", "ac1"}, "", {}, 0x22},
    {"again", keyed(onekey + keypart(2, 1, 0x10)), {"ac1", "ab1"}, "", {"ab1", "ac1"}},
};

} // namespace

TEST(manager, files_hold_the_bytes_and_give_the_records_back) {
    for (const filecase &c : filecases) {
        SCOPED_TRACE(c.title);
        const tempfolder folder;
        const std::string path = folder.file("f");
        managerclient client;
        records found;
        ASSERT_EQ(client.writeall(path, c.kind, c.written), c.status);
        if (c.status != 0) {
            EXPECT_EQ(client.close(), 0x30); // never put in its place
            EXPECT_EQ(folder.entries(), 0U);
            continue;
        }
        const std::string bytes = readfile(path);
        const bool indexed = c.kind.organisation == 6;
        EXPECT_TRUE(indexed ? bytes.find(c.bytes) != std::string::npos : bytes == c.bytes) << bytes;
        EXPECT_TRUE(!indexed || bytes.size() % c.kind.blocksize == 0);
        EXPECT_EQ(client.readall(path, c.kind, &found), 0x10);
        EXPECT_EQ(found, c.expected.empty() ? c.written : c.expected);
        EXPECT_EQ(folder.entries(), 1U);
    }
}

// Keys of several parts, over several blocks of the head; records in any order.
TEST(manager, indexed_files_come_back_in_the_order_of_their_primary_key) {
    const tempfolder folder;
    managerclient client;
    std::minstd_rand random(51);
    struct {
        uint32_t parts, partlength, blocksize;
    } const layouts[] = {{1, 4, 1024}, {1, 254, 65535}, {4, 1, 292}, {23, 1, 300}, {255, 1, 1024}};
    for (const auto &layout : layouts) {
        SCOPED_TRACE(layout.parts);
        std::string keyparts; // the last bytes weigh most
        for (uint32_t i = layout.parts; i-- != 0;)
            keyparts += keypart(i * layout.partlength, layout.partlength, i != 0 ? 0x20 : 0);
        const filekind kind = {6, true, 300, keyparts, layout.blocksize};
        const auto keyof = [&](const std::string &record) {
            std::string key;
            for (uint32_t i = layout.parts; i-- != 0;)
                key += record.substr(size_t{i} * layout.partlength, layout.partlength);
            return key;
        };
        records all, found;
        for (uint32_t i = 0; i < 1000; ++i) {
            all.push_back(std::to_string(1000 + i) + std::string(251, '.') +
                          std::string(random() % 40, 'v'));
            std::swap(all[random() % all.size()], all.back());
        }
        ASSERT_EQ(client.writeall(folder.file("f"), kind, all), 0);
        EXPECT_EQ(client.readall(folder.file("f"), kind, &found), 0x10);
        std::sort(all.begin(), all.end(),
                  [&](const std::string &a, const std::string &b) { return keyof(a) < keyof(b); });
        EXPECT_EQ(found, all);
    }
}

TEST(manager, what_others_leave_is_read_and_what_is_damaged_refused) {
    const tempfolder folder;
    managerclient client;
    // A record deleted, its bytes still there; slots never written.
    const std::string empty(8, '\0'),
        slots = empty + "gone!" + "\2\0\0\0\0\0\0\0hixyz"s + empty + "\0\0\0\0\0"s;
    struct {
        const char *title;
        filekind kind;
        std::string bytes;
        records before; // what is read up to the fault
        int status;
    } const cases[] = {
        {"slots", relvariable, slots, {"hi"}, 0x10},
        {"slots, no such length", relfixed, slots, {}, 0x04},
        {"fixed, cut", seqfixed, "abcdeabc", {}, 0x39},
        {"fixed, no length", {2, false, 0}, "", {}, 0x39},
        {"length cut", seqvariable, "\0\1\0\0a\0\1"s, {"a"}, 0x30},
        {"record cut", seqvariable, "\0\1\0\0a\0\2\0\0b"s, {"a"}, 0x30},
        {"no such length word", seqvariable, "\0\1\0\1a"s, {}, 0x30},
        {"record too long", seqvariable, "\0\6\0\0abcdef"s, {}, 0x04},
        {"slot cut", relfixed, "\5\0\0\0\0\0\0\0abc"s, {}, 0x39},
        {"slot too short for its record", relvariable, "\6\0\0\0\0\0\0\0abcde"s, {}, 0x30},
        {"huge length", relvariable, "\1\0\0\0\0\0\0\1abcde"s, {}, 0x30},
        {"no index", idxfixed, "", {}, 0x39},
        {"nothing but zeros", idxfixed, std::string(1024, '\0'), {}, 0x39},
    };
    records found;
    for (const auto &c : cases) {
        writefile(folder.file("f"), c.bytes);
        EXPECT_EQ(client.readall(folder.file("f"), c.kind, &found), c.status) << c.title;
        EXPECT_EQ(found, c.before) << c.title;
    }
    // Of an indexed file no byte may differ, be missing or be too many: samples.
    const filekind kind = {6, true, 300, keypart(0, 2, 0) + keypart(2, 1, 0x10), 292};
    const records all = {"ca1", "ab2" + std::string(250, '.'), "ac3"};
    ASSERT_EQ(client.writeall(folder.file("f"), kind, all), 0);
    const std::string whole = readfile(folder.file("f"));
    std::vector<std::string> damaged;
    for (size_t i = 0; i < whole.size(); i += i < 32 ? 1 : 5) {
        damaged.push_back(whole);
        damaged.back()[i] = static_cast<char>(whole[i] ^ 1 << i % 8);
    }
    for (const size_t length : {size_t{0}, whole.size() - 292, whole.size() - 1, whole.size() + 1})
        (damaged.emplace_back(whole)).resize(length);
    for (const std::string &bytes : damaged) {
        std::filesystem::remove(folder.file("f")); // file systems flush what is overwritten
        writefile(folder.file("f"), bytes);
        const int status = client.readall(folder.file("f"), kind, &found);
        EXPECT_TRUE(status == 0x30 || status == 0x39) << &bytes - damaged.data() << ": " << status;
    }
}

TEST(manager, statuses) {
    const tempfolder folder;
    managerclient client;
    const std::string there = folder.file("there"), absent = folder.file("absent");
    std::string record;
    struct {
        std::string path;
        bool output;
        int status;
    } const paths[] = {{folder.file("no/such"), true, 0x30},
                       {folder.path(), false, 0x37},
                       {folder.path(), true, 0x37},
                       {"a\0b"s, false, 0x31},
                       {absent, false, 0x35}};
    for (const auto &p : paths)
        EXPECT_EQ(client.open(p.path, seqfixed, p.output), p.status) << p.path;
    EXPECT_EQ(client.code, static_cast<uint32_t>(ENOENT));
    EXPECT_EQ(client.close(), 0x42);
    EXPECT_EQ(client.read(&record, 5), 0x47);
    EXPECT_EQ(client.write("abcde"), 0x48);
    for (const filekind &kind : {seqfixed, relfixed, idxfixed}) {
        SCOPED_TRACE(kind.organisation);
        ASSERT_EQ(client.writeall(there, kind, {"abcde"}), 0);
        ASSERT_EQ(client.open(there, kind, false), 0);
        EXPECT_EQ(client.write("abcde"), 0x48);
        EXPECT_EQ(client.read(&record, 4), 0x04);
        EXPECT_EQ(client.close(), 0);
        ASSERT_EQ(client.open(there, kind, false), 0);
        EXPECT_EQ(client.read(&record, 6), 0);
        EXPECT_EQ(record, "abcde");
        const int after = kind.organisation == 2 ? 0x10 : 0x96;
        for (const int status : {0x10, after, after})
            EXPECT_EQ(client.read(&record, 5), status);
        EXPECT_EQ(client.close(), 0);
        EXPECT_EQ(client.close(), 0x42);
        for (const char *wrong : {"abcd", "abcdef"}) {
            ASSERT_EQ(client.open(there, kind, true), 0);
            EXPECT_EQ(client.read(&record, 5), 0x47);
            EXPECT_EQ(client.write(wrong), 0x44);
            EXPECT_EQ(client.write("abcde"), 0x30);
            EXPECT_EQ(client.close(), 0x30);
        }
    }
    const std::string key = keypart(0, 2, 0);
    const filekind nofiles[] = {{6, false, 5},
                                {6, false, 5, "\2\0\0"},
                                {6, false, 5, keypart(4, 2, 0)},
                                {6, false, 5, keypart(0, 2, 0x20)},
                                {6, false, 5, keypart(0, 0, 0)},
                                {6, false, 5, key, 291},
                                {6, false, 65536, key},
                                {2, true, 65536},
                                {4, false, 0}};
    for (const filekind &kind : nofiles)
        EXPECT_EQ(client.open(absent, kind, true), 0x39) << &kind - nofiles;
    EXPECT_EQ(folder.entries(), 1U);
}

TEST(manager, an_output_replaces_the_file_when_it_is_closed_and_only_then) {
    const tempfolder folder;
    const std::string path = folder.file("f");
    writefile(path, "older");
    {
        managerclient client;
        ASSERT_EQ(client.open(path, seqfixed, true) + client.write("newer"), 0);
        EXPECT_EQ(readfile(path), "older");
    } // a session that ends gives up what it has open
    EXPECT_EQ(readfile(path), "older");
    EXPECT_EQ(folder.entries(), 1U);
    managerclient client;
    ASSERT_EQ(client.open(path, seqfixed, false), 0); // an input that is still open
    const std::string input = client.handle;
#ifdef _WIN32 // elsewhere the tests of what takes the file's place see to this
    const std::string dead = path + ".fmgr-999999996-0", kept = path + ".fmgr-kept-999999996-0";
    writefile(dead, "");
    writefile(kept, "");
    ASSERT_EQ(client.writeall(path, seqfixed, {"newer"}), 0);
    EXPECT_FALSE(std::filesystem::exists(dead));
    EXPECT_TRUE(std::filesystem::remove(kept));
#endif
    ASSERT_EQ(client.writeall(path, seqfixed, {"newer"}), 0);
    client.handle = input;
    EXPECT_EQ(client.close(), 0);
    EXPECT_EQ(readfile(path), "newer");
    EXPECT_EQ(folder.entries(), 1U);
}

#ifndef _WIN32
// Only one who is not root can be kept from writing.
TEST(manager, a_result_that_cannot_take_its_place_is_kept_and_named) {
    if (geteuid() != 0)
        GTEST_SKIP() << "root alone can be another user";
    const tempfolder folder;
    const std::string path = folder.file("f");
    writefile(path, "older");
    std::filesystem::create_hard_link(path, folder.file("g"));
    ASSERT_EQ(chmod(folder.path().c_str(), 0777) + chown(path.c_str(), 4321, 4321), 0);
    managerclient client;
    const pid_t child = fork();
    if (child == 0) {
        const bool ready = setuid(4321) == 0 && client.open(path, seqfixed, true) == 0 &&
                           client.write("newer") == 0 && chmod(path.c_str(), 0) == 0;
        const bool refused = client.close() == 0x37 && client.code == EACCES;
        uint32_t length = 0;
        const void *value = "";
        (void)MANAGER(ScanParmType)(6, &length, &value, nullptr);
        const std::string kept(static_cast<const char *>(value), length);
        _exit(ready && refused && readfile(kept) == "newer" ? 0 : 1);
    }
    int status = -1;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(readfile(path), "older");
    EXPECT_EQ(folder.entries(), 3U);
}
#endif

TEST(manager, too_many_open_files_are_told_with_the_error_number) {
#ifndef _WIN32
    rlimit limit = {};
    getrlimit(RLIMIT_NOFILE, &limit);
    const rlimit few = {64, limit.rlim_max};
    setrlimit(RLIMIT_NOFILE, &few);
#endif
    const tempfolder folder;
    writefile(folder.file("f"), "");
    for (int round = 0; round < 2; ++round) { // the session's end closed them all
        managerclient client;
        ASSERT_EQ(client.open(folder.file("f"), seqfixed, false), 0);
        int status = 0;
        for (int i = 0; i < 10000 && status == 0; ++i)
            status = client.open(folder.file("f"), seqfixed, false);
        EXPECT_EQ(status, 0x30);
        EXPECT_EQ(client.code, 24U);
    }
#ifndef _WIN32
    setrlimit(RLIMIT_NOFILE, &limit);
#endif
}

TEST(manager, malformed_requests_do_no_harm) {
    const tempfolder folder;
    managerclient client;
    char data[8] = "";
    ASSERT_EQ(client.open(folder.file("f"), seqfixed, true), 0);
    const std::string handle = client.handle;
    struct {
        std::vector<managerclient::parameter> sent;
        bool record;
        int status; // -1: no request
    } const cases[] = {
        {{}, false, -1},
        {{{0, 2}}, false, -1},
        {{{0, 1}, {3, 2}, {6, 0, "f"}}, false, -1},
        {{{0, 1}, {3, 5}, {6, 0, "f"}, {22, 0}, {10, 5}}, false, -1},
        {{{0, 10}, {3, 2}, {5, 0, "handle"}}, true, -1},
        {{{0, 14}, {3, 2}, {5, 0, handle}, {30, 5}}, true, -1},
        {{{0, 15}, {3, 2}, {5, 0, handle}, {30, 5}}, false, -1},
        {{{0, 15}, {3, 4}, {5, 0, handle}, {30, 5}}, true, 0x48},
        {{{0, 15}, {3, 2}, {5, 0, handle + "x"}, {30, 5}}, true, 0x48},
    };
    for (const auto &c : cases)
        EXPECT_EQ(client.ask(c.sent, c.record ? data : nullptr), c.status) << &c - cases;
    // Builders and scanners without a message, or with one that is full.
    EXPECT_EQ(MANAGER(BldNumParm)(1, 1), 0U);
    EXPECT_EQ(MANAGER(InitMsgScan)(client.message.data(), 1, client.size()), 0U);
    EXPECT_EQ(MANAGER(InitReqMsgBuild)(client.message.data(), 7), 0U);
    MANAGER(InitReqMsgBuild)(client.message.data(), 100);
    const std::string much(100, 'x');
    EXPECT_EQ(MANAGER(BldStrParm)(6, 85, much.data()), 0U);
    EXPECT_NE(MANAGER(BldStrParm)(6, 84, much.data()), 0U);
    EXPECT_EQ(MANAGER(BldFlagParm)(22, 0, nullptr), 0U);
    EXPECT_EQ(MANAGER(ScanParmType)(1, nullptr, nullptr, nullptr), 0U);
    EXPECT_NE(MANAGER(FileManager)(client.session + 1, nullptr, client.message.data(), 2051, 0),
              0U);
    EXPECT_NE(MANAGER(TermFileManager)(client.session + 1), 0U);
    // A request or a reply with one byte changed.  The handle is no file's any more.
    ASSERT_EQ(client.close(), 0x00);
    std::minstd_rand random(52);
    for (int i = 0; i < 4000; ++i) {
        std::array<char, 64> record{};
        client.build({{0, i % 2 != 0 ? 10U : 15U}, {3, 2}, {5, 0, handle}, {22, 0}, {30, 5}});
        client.message[random() % 80] = static_cast<uint8_t>(random());
        (void)client.perform(record.data());
        client.message[random() % 80] = static_cast<uint8_t>(random());
        if (MANAGER(InitMsgScan)(client.message.data(), 2, client.size()) != 0)
            for (const uint32_t number : {1U, 3U, 5U, 30U})
                (void)MANAGER(ScanParmType)(number, nullptr, nullptr, nullptr);
    }
}

} // namespace kvern::test

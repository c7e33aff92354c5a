// The file manager through its functions: what lies in its files, what comes back
// from them, and what it refuses.
#include "manager/managerclient.h"
#include "support/tempfolder.h"

#include <algorithm>
#include <cerrno>
#include <random>
#ifndef _WIN32
#include <csignal>
#include <sys/resource.h>
#endif

namespace kvern::test {

namespace {

using namespace std::string_literals;

const filekind seqfixed = {2, false, 5}, seqvariable = {2, true, 5};
const filekind relfixed = {4, false, 5}, relvariable = {4, true, 5};
const filekind idxfixed = {6, false, 5, keypart(1, 2, 0)};
const filekind idxvariable = {6, true, 600, keypart(1, 2, 0x10), 292};

filekind keyed(const std::string &keyparts) {
    return {6, false, 3, keyparts};
}

const std::string onekey = keypart(0, 2, 0), onekeyagain = keypart(0, 2, 0x10);
const std::string uneven = keypart(0, 1, 0x30) + keypart(1, 1, 0); // the last part counts
const std::string large = "3bb" + std::string(500, '3');

const struct {
    const char *title;
    filekind kind;
    strings written;
    std::string bytes;     // that the file consists of, or, indexed, holds
    strings expected = {}; // empty: as written
    int status = 0;        // otherwise nothing is read
} filecases[] = {
    {"sequential", seqfixed, {"abcde", "fg\0\n "s}, "abcdefg\0\n "s},
    {"sequential, variable", seqvariable, {"abcde", "", "f"}, "\0\5\0\0abcde\0\0\0\0\0\1\0\0f"s},
    {"relative", relfixed, {"abcde", "fghij"}, "\5\0\0\0\0\0\0\0abcde\5\0\0\0\0\0\0\0fghij"s},
    {"relative, variable", relvariable, {"ab"}, "\2\0\0\0\0\0\0\0ab   "s},
    {"indexed", idxfixed, {"2bcxx", "1bbyy", "3aazz"}, "\0\1\0\2\0"s, {"3aazz", "1bbyy", "2bcxx"}},
    {"duplicates", idxvariable, {"1bb", "2aa", large}, "\0\1\0\2\1"s, {"2aa", "1bb", large}},
    {"empty, indexed", idxfixed, {}, "RMKF"},
    {"equal keys", keyed(onekey), {"ab1", "aa2", "ab3"}, "", {}, 0x22},
    {"equal keys of parts", keyed(uneven), {"ab1", "ab2"}, "", {}, 0x22},
    {"second keys", keyed(onekeyagain + keypart(2, 1, 0)), {"ab1", "ac1"}, "", {}, 0x22},
    {"again", keyed(onekey + keypart(2, 1, 0x10)), {"ac1", "ab1"}, "", {"ab1", "ac1"}},
};

struct manager : testing::Test {
    const tempfolder folder;
    const std::string path = folder.file("f");
    managerclient client;
    strings found;
};

} // namespace

TEST_F(manager, files_hold_the_bytes_and_give_the_records_back) {
    for (const auto &c : filecases) {
        SCOPED_TRACE(c.title);
        std::filesystem::remove(path);
        ASSERT_EQ(client.writeall(path, c.kind, c.written), c.status);
        if (c.status != 0) {
            EXPECT_EQ(client.close(), 0x30); // never put in its place
            EXPECT_EQ(folder.entries(), 0U);
            continue;
        }
        const std::string bytes = readfile(path);
        const bool indexed = c.kind.organisation == 6;
        EXPECT_TRUE(indexed ? bytes.find(c.bytes) != bytes.npos : bytes == c.bytes) << bytes;
        EXPECT_EQ(client.readall(path, c.kind, &found), 0x10);
        EXPECT_EQ(found, c.expected.empty() ? c.written : c.expected);
        EXPECT_EQ(folder.entries(), 1U);
    }
}

#ifdef KVERN_COBOL_COPIES
TEST_F(manager, cobol_programs_read_and_write_such_files) {
    const std::string variable = folder.file("variable"), relative = folder.file("relative");
    strings all;
    for (uint32_t i = 1; i < 200; ++i)
        all.emplace_back(i * 77 % 60 + 1, static_cast<char>(i));
    ASSERT_EQ(client.writeall(variable, {2, true, 60}, all), 0);
    for (std::string &record : all)
        record.resize(20, ' ');
    ASSERT_EQ(client.writeall(relative, {4, false, 20}, all), 0);
    const std::string slots = readfile(relative), deleted(28, '\0');
    writefile(relative, deleted + slots.substr(0, 280) + deleted + slots.substr(280));
    ASSERT_EQ(std::system(("cd '" + folder.path() + "' && " KVERN_COBOL_COPIES).c_str()), 0);
    EXPECT_EQ(readfile(variable + ".out"), readfile(variable));
    EXPECT_EQ(readfile(relative + ".out"), slots);
}
#endif

// Keys of several parts, of which the last one weighs most, over several blocks of the
// head; records in any order.
TEST_F(manager, indexed_files_come_back_in_the_order_of_their_primary_key) {
    std::minstd_rand random(51);
    const uint32_t layouts[][3] = {{1, 254, 65535}, {4, 1, 292}, {23, 1, 300}, {255, 1, 1024}};
    for (const auto &[parts, length, blocksize] : layouts) {
        const auto keyof = [&parts = parts, &length = length](const std::string &record) {
            std::string key;
            for (uint32_t i = parts; i-- != 0;)
                key += record.substr(size_t{i} * length, length);
            return key;
        };
        std::string keyparts;
        for (uint32_t i = parts; i-- != 0;)
            keyparts += keypart(i * length, length, i != 0 ? 0x20 : 0);
        strings all;
        for (uint32_t i = 0; i < 1000; ++i) {
            all.push_back(std::to_string(1000 + i) + std::string(251 + random() % 40, 'v'));
            std::swap(all[random() % all.size()], all.back());
        }
        const filekind kind = {6, true, 300, keyparts, blocksize};
        ASSERT_EQ(client.writeall(path, kind, all), 0) << parts;
        EXPECT_EQ(client.readall(path, kind, &found), 0x10);
        std::ranges::sort(all, {}, keyof);
        EXPECT_EQ(found, all) << parts;
    }
}

TEST_F(manager, what_others_leave_is_read_and_what_is_damaged_refused) {
    // A record deleted, its bytes still there; slots never written.
    const std::string empty(8, '\0'),
        slots = empty + "gone!" + "\2\0\0\0\0\0\0\0hixyz"s + empty + "\0\0\0\0\0"s;
    const struct {
        const char *title;
        filekind kind;
        std::string bytes;
        int status;
        strings before = {}; // what is read up to the fault
    } cases[] = {
        {"slots", relvariable, slots, 0x10, {"hi"}},
        {"slots, no such length", relfixed, slots, 0x04},
        {"fixed, cut", seqfixed, "abcdeabc", 0x39},
        {"length cut", seqvariable, "\0\1\0\0a\0\1"s, 0x30, {"a"}},
        {"record cut", seqvariable, "\0\1\0\0a\0\2\0\0b"s, 0x30, {"a"}},
        {"no such length word", seqvariable, "\0\1\0\1a"s, 0x30},
        {"record too long", seqvariable, "\0\6\0\0abcdef"s, 0x04},
        {"slot cut", relfixed, "\5\0\0\0\0\0\0\0abc"s, 0x39},
        {"slot too short for its record", relvariable, "\6\0\0\0\0\0\0\0abcde"s, 0x30},
        {"huge length", relvariable, "\1\0\0\0\0\0\0\1abcde"s, 0x30},
        {"no index", idxfixed, "", 0x39},
        {"nothing but zeros", idxfixed, std::string(1024, '\0'), 0x39},
    };
    for (const auto &c : cases) {
        writefile(path, c.bytes);
        EXPECT_EQ(client.readall(path, c.kind, &found), c.status) << c.title;
        EXPECT_EQ(found, c.before) << c.title;
    }
    // Of an indexed file no byte may differ, be missing or be too many: samples.
    const filekind kind = {6, true, 300, keypart(0, 2, 0) + keypart(2, 1, 0x10), 292};
    ASSERT_EQ(client.writeall(path, kind, {"ca1", "ab2" + std::string(250, '.'), "ac3"}), 0);
    const std::string whole = readfile(path);
    strings damaged = {"", whole.substr(292), whole.substr(0, whole.size() - 1), whole + "x"};
    for (size_t i = 0; i < whole.size(); i += i < 32 ? 1 : 5)
        damaged.emplace_back(whole)[i] ^= static_cast<char>(1 << i % 8);
    for (const std::string &bytes : damaged) {
        std::filesystem::remove(path); // file systems flush what is overwritten
        writefile(path, bytes);
        const int status = client.readall(path, kind, &found);
        EXPECT_TRUE(status == 0x30 || status == 0x39) << &bytes - damaged.data() << ": " << status;
    }
}

TEST_F(manager, statuses) {
    const std::pair<std::string, int> inputs[] = {
        {folder.path(), 0x37}, {"a\0b"s, 0x31}, {folder.file("absent"), 0x35}};
    for (const auto &[name, status] : inputs)
        EXPECT_EQ(client.open(name, seqfixed, false), status) << name;
    EXPECT_EQ(client.code, uint32_t{ENOENT});
    EXPECT_EQ(client.open(folder.file("no/such"), seqfixed, true), 0x30);
    EXPECT_EQ(client.open(folder.path(), seqfixed, true), 0x37);
    EXPECT_EQ(client.close(), 0x42);
    std::string record;
    EXPECT_EQ(client.read(&record, 5), 0x47);
    EXPECT_EQ(client.write("abcde"), 0x48);
    for (const filekind &kind : {seqfixed, relfixed, idxfixed}) {
        SCOPED_TRACE(kind.organisation);
        ASSERT_EQ(client.writeall(path, kind, {"abcde"}), 0);
        ASSERT_EQ(client.open(path, kind, false), 0);
        EXPECT_EQ(client.write("abcde"), 0x48);
        EXPECT_EQ(client.read(&record, 4), 0x04);
        EXPECT_EQ(client.close(), 0);
        ASSERT_EQ(client.open(path, kind, false), 0);
        EXPECT_EQ(client.read(&record, 6), 0);
        EXPECT_EQ(record, "abcde");
        const int after = kind.organisation == 2 ? 0x10 : 0x96;
        for (const int status : {0x10, after, after})
            EXPECT_EQ(client.read(&record, 5), status);
        EXPECT_EQ(client.close(), 0);
        EXPECT_EQ(client.close(), 0x42);
        for (const char *wrong : {"abcd", "abcdef"}) {
            ASSERT_EQ(client.open(path, kind, true), 0);
            EXPECT_EQ(client.read(&record, 5), 0x47);
            EXPECT_EQ(client.write(wrong), 0x44);
            EXPECT_EQ(client.write("abcde"), 0x30);
            EXPECT_EQ(client.close(), 0x30);
        }
    }
    std::vector<filekind> nofiles = {
        {6, false, 5, onekey, 291}, {6, false, 65536, onekey}, {2, true, 65536}, {4, false, 0}};
    for (const std::string &parts :
         {""s, "\2\0\0"s, keypart(4, 2, 0), keypart(0, 2, 0x20), keypart(0, 0, 0)})
        nofiles.push_back({6, false, 5, parts});
    for (const filekind &kind : nofiles)
        EXPECT_EQ(client.open(folder.file("absent"), kind, true), 0x39) << &kind - nofiles.data();
    EXPECT_EQ(folder.entries(), 1U);
}

// Nor does it where the session ends before, or has failed: of two sessions the one.
TEST_F(manager, an_output_replaces_the_file_when_it_is_closed_and_only_then) {
    writefile(path, "older");
    {
        managerclient ended;
        ASSERT_EQ(ended.open(path, seqfixed, true) + ended.write("newer"), 0);
    }
    managerclient failed;
    ASSERT_EQ(failed.open(path, seqfixed, true) + failed.write("newer"), 0);
    EXPECT_EQ(FailFileManager(failed.session), 0U);
    EXPECT_EQ(FailFileManager(failed.session + 77), 1U);
    EXPECT_EQ(failed.close(), 0);
    EXPECT_EQ(readfile(path), "older");
    ASSERT_EQ(client.open(path, seqfixed, false), 0); // an input that is still open
    const std::string input = client.handle;
#ifdef _WIN32 // elsewhere the tests of what takes the file's place see to this
    const std::string dead = path + ".fmgr-999999996-0", kept = path + ".fmgr-kept-999999996-0";
    writefile(dead, "");
    writefile(kept, "");
    ASSERT_EQ(client.writeall(path, seqfixed, {"first"}), 0);
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
// Met while records are written and, by those that are kept back, at the close.
TEST_F(manager, an_output_without_room_leaves_the_old_one) {
    writefile(path, "old");
    rlimit usual = {};
    getrlimit(RLIMIT_FSIZE, &usual);
    const auto before = std::signal(SIGXFSZ, SIG_IGN);
    for (const rlim_t room : {rlim_t{70000}, rlim_t{159000}})
        for (const uint32_t organisation : {2U, 4U, 6U}) {
            const rlimit little = {room, usual.rlim_max};
            setrlimit(RLIMIT_FSIZE, &little);
            const filekind kind = {organisation, true, 20000, keypart(0, 1, 0x10)};
            EXPECT_EQ(client.writeall(path, kind, strings(8, std::string(20000, 'x'))), 0x34);
            EXPECT_NE(client.close(), 0);
            setrlimit(RLIMIT_FSIZE, &usual);
            EXPECT_EQ(readfile(path), "old") << organisation;
            EXPECT_EQ(folder.entries(), 1U);
        }
    std::signal(SIGXFSZ, before);
}
#endif

TEST_F(manager, malformed_requests_do_no_harm) {
    char data[8] = "";
    ASSERT_EQ(client.open(path, seqfixed, true), 0);
    const std::string handle = client.handle;
    const struct {
        std::vector<managerclient::parameter> sent;
        bool record;
        int status; // -1: no request
    } cases[] = {
        {{{0, 1}, {3, 2}, {6, 0, "f"}}, false, -1},
        {{{0, 1}, {3, 5}, {6, 0, "f"}, {22, 0}, {10, 5}}, false, -1},
        {{{0, 10}, {3, 2}, {5, 0, "handle"}}, true, -1},
        {{{0, 14}, {3, 2}, {5, 0, handle}, {30, 5}}, true, -1},
        {{{0, 15}, {3, 2}, {5, 0, handle}, {30, 5}}, false, -1},
        {{{0, 15}, {3, 4}, {5, 0, handle}, {30, 5}}, true, 0x48},
    };
    for (const auto &c : cases)
        EXPECT_EQ(client.ask(c.sent, c.record ? data : nullptr), c.status) << &c - cases;
    // Builders and scanners without a message, or with one that is full.
    EXPECT_EQ(BldNumParm(1, 1), 0U);
    EXPECT_EQ(InitMsgScan(client.message.data(), 1, client.size()), 0U);
    EXPECT_EQ(InitReqMsgBuild(client.message.data(), 7), 0U);
    EXPECT_NE(InitReqMsgBuild(client.message.data(), 8), 0U);
    InitReqMsgBuild(client.message.data(), 100);
    const std::string much(100, 'x');
    EXPECT_EQ(BldStrParm(6, 85, much.data()), 0U);
    EXPECT_NE(BldStrParm(6, 84, much.data()), 0U);
    EXPECT_EQ(BldFlagParm(22, 0, nullptr), 0U);
    EXPECT_EQ(ScanParmType(1, nullptr, nullptr, nullptr), 0U);
    EXPECT_NE(FileManager(client.session + 1, nullptr, client.message.data(), 2051, 0), 0U);
    EXPECT_NE(TermFileManager(client.session + 1), 0U);
    // A request or a reply with one byte changed.  The handle is no file's any more.
    ASSERT_EQ(client.close(), 0x00);
    std::minstd_rand random(52);
    for (int i = 0; i < 4000; ++i) {
        std::array<char, 64> record{};
        client.build({{0, i % 2 != 0 ? 10U : 15U}, {3, 2}, {5, 0, handle}, {22, 0}, {30, 5}});
        client.message[random() % 80] = static_cast<uint8_t>(random());
        (void)client.perform(record.data());
        client.message[random() % 80] = static_cast<uint8_t>(random());
        if (InitMsgScan(client.message.data(), 2, client.size()) != 0)
            for (const uint32_t number : {1U, 3U, 5U, 30U})
                (void)client.text(number);
    }
}

} // namespace kvern::test

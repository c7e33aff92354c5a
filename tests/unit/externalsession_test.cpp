// External sorts through the public calls with a look at the context: when a sort
// leaves the storage, what its counters say, and files that fill up on the way.
#include "kvern.h"
#include "session/context.h"
#include "sort/tempfile.h"
#include "support/randomness.h"
#include "support/tempfolder.h"

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace kvern::test {

namespace {

constexpr uint32_t record_length = 40;
constexpr uint32_t key_length = 8;

// A sort by record of fixed records, input and output through the calls.
class session {
  public:
    explicit session(const std::vector<std::string> &directories) : names(directories) {
        list.resize(offsetof(KVRNFLST, path) + names.size() * sizeof(char *));
        auto *paths = reinterpret_cast<KVRNFLST *>(list.data());
        paths->count = static_cast<uint32_t>(names.size());
        for (size_t at = 0; at < names.size(); ++at) {
            const char *name = names[at].c_str();
            std::memcpy(&paths->path[0] + at, &name, sizeof name);
        }
        prim.function = KVRN_SORT;
        prim.recform = 'f';
        prim.options = 32;
        prim.recoprat = KVRN_PUT_RECORD | KVRN_GET_RECORD;
        prim.reclen = record_length;
        prim.memsize = KVRN_MEM_MIN;
        keys.count = 1;
        keys.entry[0].length = key_length;
        keys.entry[0].type = KVRN_CHAR;
        keys.entry[0].order = KVRN_ASCENDING;
        files.workfiles = paths;
        result = kvrnopen(KVRN_VERSION_L4, &link, &prim, &sess, &keys, &files, nullptr);
    }
    ~session() { (void)close(); }

    const qha5ctx *context() const { return static_cast<const qha5ctx *>(sess.ctx); }
    qha5ctx *context() { return static_cast<qha5ctx *>(sess.ctx); }

    bool put(const std::vector<std::string> &records) {
        for (const std::string &record : records) {
            std::string copy = record;
            sess.code = KVRN_RECORD;
            sess.recaddr = copy.data();
            sess.reclen = record_length;
            if (kvrnput(&sess) != 0)
                return false;
        }
        return true;
    }
    bool endput() {
        sess.code = KVRN_END;
        return kvrnput(&sess) == 1;
    }
    bool getall(std::vector<std::string> *out) {
        for (;;) {
            const int got = kvrnget(&sess);
            if (got != 0)
                return got == 1;
            out->emplace_back(static_cast<const char *>(sess.recaddr), sess.reclen);
        }
    }
    int close() {
        const int closed = open ? kvrnclse(KVRN_VERSION_L4, &link, &prim, &sess) : 0;
        open = false;
        return closed;
    }

    KVRNSESS sess = {};
    int result = -1;

  private:
    bool open = true;
    std::vector<std::string> names;
    std::vector<char> list;
    KVRNLINK link = {};
    KVRNPRIM prim = {};
    KVRNKEY keys = {};
    KVRNFILE files = {};
};

std::vector<std::string> randomrecords(size_t count) {
    randomness r(count);
    std::vector<std::string> records;
    for (size_t at = 0; at < count; ++at) {
        std::string record(record_length, '.');
        for (size_t byte = 0; byte < key_length; ++byte)
            record[byte] = static_cast<char>('a' + r.below(26));
        records.push_back(record);
    }
    return records;
}

} // namespace

TEST(externalsession, exactly_the_slots_stay_in_core) {
    const tempfolder folder;
    uint32_t slots = 0;
    {
        session sort({folder.path()});
        ASSERT_EQ(sort.result, 0);
        slots = sort.context()->slotcount;
    }
    for (const uint32_t more : {0U, 1U}) {
        session sort({folder.path()});
        std::vector<std::string> records = randomrecords(slots + more), got;
        ASSERT_TRUE(sort.put(records) && sort.endput());
        EXPECT_EQ(sort.context()->external, more);
        EXPECT_EQ(sort.context()->tempcount, more);
        EXPECT_EQ(sort.context()->stringcount, 1 + more);
        ASSERT_TRUE(sort.getall(&got));
        std::sort(records.begin(), records.end());
        EXPECT_EQ(got, records);
        EXPECT_EQ(sort.close(), 0);
    }
    EXPECT_EQ(folder.entries(), 0u);
}

// Files that hold a part of the data each, in several directories; then too few.
TEST(externalsession, moves_on_from_directory_to_directory) {
    const tempfolder folder;
    for (const size_t directories : {4U, 2U}) {
        std::vector<std::string> names;
        for (size_t at = 0; at < directories; ++at) {
            names.push_back(folder.file("dir" + std::to_string(at)));
            std::filesystem::create_directory(names.back());
        }
        session sort(names);
        ASSERT_EQ(sort.result, 0);
        sort.context()->tempfilelimit = 120000;
        std::vector<std::string> records = randomrecords(8000), got;
        if (directories == 2) {
            EXPECT_FALSE(sort.put(records) && sort.endput());
            EXPECT_EQ(sort.sess.detail, KVRN_D_TEMPCREATE);
        } else {
            ASSERT_TRUE(sort.put(records) && sort.endput());
            EXPECT_GT(sort.context()->tempcount, 2u);
            EXPECT_EQ(sort.context()->errdetail, 0u);
            ASSERT_TRUE(sort.getall(&got));
            std::sort(records.begin(), records.end());
            EXPECT_EQ(got, records);
        }
        (void)sort.close();
        for (const std::string &name : names)
            EXPECT_TRUE(std::filesystem::is_empty(name));
    }
}

} // namespace kvern::test

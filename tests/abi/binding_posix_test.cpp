// The setting that puts another engine behind the public calls.
#include "kvern.h"
#include "support/tempfolder.h"

#include <dlfcn.h>
#include <gtest/gtest.h>

namespace kvern::test {

namespace {

class enginename {
  public:
    explicit enginename(const std::string &name) { setenv("KVERN_DLL_NAME", name.c_str(), 1); }
    ~enginename() { unsetenv("KVERN_DLL_NAME"); }
    enginename(const enginename &) = delete;
    enginename &operator=(const enginename &) = delete;
};

std::string fileof(void *routine) {
    Dl_info info = {};
    dladdr(routine, &info);
    return std::filesystem::canonical(info.dli_fname).string();
}

template <class F>
void *address(F *routine) {
    return reinterpret_cast<void *>(routine);
}

struct session {
    KVRNLINK link = {};
    KVRNPRIM prim = {};
    KVRNSESS sess = {};

    int open() {
        prim.function = KVRN_SORT;
        prim.recform = KVRN_FIXED;
        prim.reclen = 4;
        return kvrnopen(KVRN_VERSION_L4, &link, &prim, &sess, nullptr, nullptr, nullptr);
    }
    int close() { return kvrnclse(KVRN_VERSION_L4, &link, &prim, &sess); }
};

} // namespace

TEST(binding, is_the_library_itself_by_default) {
    session s;
    ASSERT_EQ(s.open(), KVRN_DONE) << s.sess.detail;
    EXPECT_EQ(address(s.link.init), address(&qha5init));
    EXPECT_EQ(address(s.link.chkg), address(&qha5chkg));
    EXPECT_EQ(s.close(), KVRN_ENDED) << "closed before its time";
    EXPECT_EQ(s.link.init, nullptr);
    const enginename empty("");
    EXPECT_EQ(s.open(), KVRN_DONE);
    EXPECT_EQ(s.close(), KVRN_ENDED);
}

TEST(binding, missing_or_foreign_library) {
    tempfolder folder;
    writefile(folder.file("nolibrary.so"), "text");
    for (const std::string &name :
         {folder.file("missing.so"), folder.file("nolibrary.so"), std::string("libc.so.6")}) {
        const enginename setting(name);
        session s;
        EXPECT_EQ(s.open(), KVRN_NOSESSION) << name;
        EXPECT_EQ(s.sess.detail, KVRN_D_BIND) << name;
        EXPECT_EQ(s.sess.ctx, nullptr);
    }
}

TEST(binding, a_copy_under_another_name) {
    tempfolder folder;
    const std::string copy = folder.file("libother.so");
    std::filesystem::copy_file(fileof(address(&kvrnopen)), copy);
    const enginename setting(copy);
    session s;
    ASSERT_EQ(s.open(), KVRN_DONE) << s.sess.detail;
    EXPECT_EQ(fileof(address(s.link.init)), copy);
    EXPECT_EQ(fileof(address(s.link.term)), copy);
    char record[] = "abcd";
    s.sess.recaddr = record;
    s.sess.reclen = 4;
    s.sess.code = KVRN_RECORD;
    EXPECT_EQ(s.link.chkp(&s.sess), KVRN_DONE);
    s.sess.code = KVRN_END;
    EXPECT_EQ(s.link.chkp(&s.sess), KVRN_ENDED);
    EXPECT_EQ(s.link.chkg(&s.sess), KVRN_DONE);
    EXPECT_EQ(s.link.chkg(&s.sess), KVRN_ENDED);
    EXPECT_EQ(s.close(), KVRN_DONE);
}

} // namespace kvern::test

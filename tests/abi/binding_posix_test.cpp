// The setting that puts another engine behind the public calls.
#include "session/handmade.h"

#include <dlfcn.h>

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

TEST(binding, is_the_library_itself_by_default) {
    handmade s;
    ASSERT_EQ(s.open(), KVRN_DONE) << s.sess.detail;
    EXPECT_EQ(address(s.link.init), address(&qha5init));
    EXPECT_EQ(address(s.link.chkg), address(&qha5chkg));
    EXPECT_EQ(s.close(), KVRN_ENDED) << "closed before its time";
    EXPECT_EQ(s.link.init, nullptr);
    const enginename empty("");
    EXPECT_EQ(s.open(), KVRN_DONE);
}

TEST(binding, missing_or_foreign_library) {
    const tempfolder folder;
    const std::string text = folder.file("nolibrary.so");
    writefile(text, "text");
    for (const std::string &name : {folder.file("missing.so"), text, std::string("libc.so.6")}) {
        const enginename setting(name);
        handmade s;
        EXPECT_EQ(s.open(), KVRN_NOSESSION) << name;
        EXPECT_EQ(s.sess.detail, KVRN_D_BIND) << name;
        EXPECT_EQ(s.sess.ctx, nullptr);
    }
}

TEST(binding, a_copy_under_another_name) {
    const tempfolder folder;
    const std::string copy = folder.file("libother.so");
    std::filesystem::copy_file(fileof(address(&kvrnopen)), copy);
    const enginename setting(copy);
    handmade s;
    ASSERT_EQ(s.open(), KVRN_DONE) << s.sess.detail;
    EXPECT_EQ(fileof(address(s.link.init)), copy);
    EXPECT_EQ(fileof(address(s.link.term)), copy);
    EXPECT_EQ(s.put("abcdefgh", s.link.chkp), KVRN_DONE);
    EXPECT_EQ(s.end(s.link.chkp), KVRN_ENDED);
    EXPECT_EQ(s.link.chkg(&s.sess), KVRN_DONE);
    EXPECT_EQ(s.link.chkg(&s.sess), KVRN_ENDED);
    EXPECT_EQ(s.close(), KVRN_DONE);
}

} // namespace
} // namespace kvern::test

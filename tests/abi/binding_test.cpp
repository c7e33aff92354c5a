// The setting that puts another engine behind the public calls.
#include "session/handmade.h"

#if defined(_WIN32)
#include <windows.h>
#else
#include <dlfcn.h>
#endif

namespace kvern::test {
namespace {

#if defined(_WIN32)
constexpr const char *own = KVERN_BINARY_DIR "/m7hqkvrn.dll", *foreign = "kernel32.dll";

bool isloaded(const std::string &library) {
    return GetModuleHandleA(library.c_str()) != nullptr;
}
void setengine(const std::string &name) {
    HKEY key = nullptr;
    RegCreateKeyA(HKEY_LOCAL_MACHINE, "SOFTWARE\\Norvala\\KvernPlus", &key);
    RegSetValueExA(key, "DLL_Name", 0, REG_SZ, reinterpret_cast<const BYTE *>(name.c_str()),
                   static_cast<DWORD>(name.size() + 1));
    RegCloseKey(key);
}
void setnone() {
    RegDeleteKeyA(HKEY_LOCAL_MACHINE, "SOFTWARE\\Norvala\\KvernPlus");
    RegDeleteKeyA(HKEY_LOCAL_MACHINE, "SOFTWARE\\Norvala");
}
#else
constexpr const char *own = KVERN_BINARY_DIR "/libkvern.so", *foreign = "libc.so.6";

bool isloaded(const std::string &library) {
    void *const found = dlopen(library.c_str(), RTLD_LAZY | RTLD_NOLOAD);
    return found != nullptr && dlclose(found) == 0;
}
void setengine(const std::string &name) {
    setenv("KVERN_DLL_NAME", name.c_str(), 1);
}
void setnone() {
    unsetenv("KVERN_DLL_NAME");
}
#endif

TEST(binding, follows_the_setting) {
    const tempfolder folder;
    const std::string copy = folder.file("copy.dll"), text = folder.file("text.dll");
    std::filesystem::copy_file(own, copy);
    writefile(text, "text");
    for (const std::string &name : {std::string(), copy}) { // an empty one is like none
        setengine(name);
        handmade s;
        EXPECT_EQ(s.play("open chkp chke chkg chkg"), "0 0 1 0 1");
        EXPECT_EQ(isloaded(copy), !name.empty());
        EXPECT_EQ(s.close(), KVRN_DONE);
        EXPECT_FALSE(isloaded(copy));
    }
    for (const std::string &name : {folder.file("missing.dll"), text, std::string(foreign)}) {
        setengine(name);
        handmade s;
        EXPECT_EQ(s.open(), KVRN_NOSESSION) << name;
        EXPECT_EQ(s.sess.detail, KVRN_D_BIND) << name;
        EXPECT_EQ(s.sess.ctx, nullptr);
    }
    setnone();
}

} // namespace
} // namespace kvern::test

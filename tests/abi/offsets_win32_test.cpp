// A caller of the old kind: it knows byte offsets and names alone, binds the
// library by hand, and keeps its stack on 4 bytes.  No header of ours.
#include <cstdint>
#include <cstring>
#include <gtest/gtest.h>
#include <string>
#include <vector>
#include <windows.h>

namespace {

constexpr uint32_t version = 0x11100001;

// Calls a cdecl routine; at the call the stack is `off` bytes below a 16-byte
// boundary.
int32_t callat(uint32_t off, uint32_t routine, const std::vector<uint32_t> &arguments) {
    uint32_t result = routine;
    const uint32_t *first = arguments.data();
    const uint32_t *behind = first + arguments.size();
    uint32_t down = off + 64 - 4 * static_cast<uint32_t>(arguments.size());
    __asm__ volatile("movl %%esp, %%edi\n\t"
                     "andl $-16, %%esp\n\t"
                     "subl %%ecx, %%esp\n\t"
                     "1: cmpl %%ebx, %%esi\n\t"
                     "je 2f\n\t"
                     "subl $4, %%esi\n\t"
                     "pushl (%%esi)\n\t"
                     "jmp 1b\n\t"
                     "2: call *%%eax\n\t"
                     "movl %%edi, %%esp\n\t"
                     : "+a"(result), "+c"(down), "+S"(behind)
                     : "b"(first)
                     : "edi", "edx", "memory", "cc");
    return static_cast<int32_t>(result);
}

struct block {
    std::vector<uint8_t> data;
    explicit block(size_t size) : data(size, 0) {}
    uint32_t address() const {
        return static_cast<uint32_t>(reinterpret_cast<uintptr_t>(data.data()));
    }
    void byte(size_t at, unsigned v) { data[at] = static_cast<uint8_t>(v); }
    void word(size_t at, uint32_t v) { std::memcpy(&data[at], &v, 4); }
    uint32_t word(size_t at) const {
        uint32_t v = 0;
        std::memcpy(&v, &data[at], 4);
        return v;
    }
};

class offsets : public ::testing::Test {
  protected:
    HMODULE library = LoadLibraryA("m7hqkvrn.dll");
    block link{32}, prim{44}, sess{40}, keys{4 + 16};

    ~offsets() override { FreeLibrary(library); }

    uint32_t routine(const char *name) const {
        return static_cast<uint32_t>(
            reinterpret_cast<uintptr_t>(reinterpret_cast<void *>(GetProcAddress(library, name))));
    }

    // Fixed records of 4 bytes, descending by a signed word at offset 0.
    int32_t open(uint32_t off) {
        prim.byte(4, 's');
        prim.byte(5, 'f');
        prim.word(12, 4);
        keys.word(0, 1);
        keys.word(8, 4);
        keys.byte(12, 199);
        keys.byte(13, 32);
        return callat(
            off, routine("kvrnopen"),
            {version, link.address(), prim.address(), sess.address(), keys.address(), 0, 0});
    }

    int32_t close(uint32_t off) {
        return callat(off, routine("kvrnclse"),
                      {version, link.address(), prim.address(), sess.address()});
    }

    // Sorts by the given routines for put and get.
    std::vector<int32_t> sort(uint32_t off, uint32_t put, uint32_t get,
                              const std::vector<int32_t> &values) {
        std::vector<int32_t> out;
        block record{4};
        for (const int32_t v : values) {
            record.word(0, static_cast<uint32_t>(v));
            sess.word(16, record.address());
            sess.word(20, 4);
            sess.byte(24, 16);
            EXPECT_EQ(callat(off, put, {sess.address()}), 0) << sess.word(4);
        }
        sess.byte(24, 17);
        EXPECT_EQ(callat(off, put, {sess.address()}), 1) << sess.word(4);
        while (out.size() <= values.size() && callat(off, get, {sess.address()}) == 0) {
            int32_t v = 0;
            EXPECT_EQ(sess.word(20), 4U);
            std::memcpy(&v, reinterpret_cast<const void *>(sess.word(16)), 4);
            out.push_back(v);
        }
        EXPECT_EQ(sess.data[24], 17);
        return out;
    }
};

const std::vector<int32_t> given = {3, -7, 0, 2000000000, -2000000000, 3, 12};
const std::vector<int32_t> wanted = {2000000000, 12, 3, 3, 0, -7, -2000000000};

// The registry value that names the engine library, gone at the end.
class enginename {
  public:
    explicit enginename(const char *name) {
        RegCreateKeyExA(HKEY_LOCAL_MACHINE, path, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key,
                        nullptr);
        RegSetValueExA(key, "DLL_Name", 0, REG_SZ, reinterpret_cast<const BYTE *>(name),
                       static_cast<DWORD>(std::strlen(name) + 1));
    }
    ~enginename() {
        RegDeleteValueA(key, "DLL_Name");
        RegCloseKey(key);
        RegDeleteKeyA(HKEY_LOCAL_MACHINE, path);
        RegDeleteKeyA(HKEY_LOCAL_MACHINE, "SOFTWARE\\Norvala");
    }
    enginename(const enginename &) = delete;
    enginename &operator=(const enginename &) = delete;

  private:
    static constexpr const char *path = "SOFTWARE\\Norvala\\KvernPlus";
    HKEY key = nullptr;
};

} // namespace

TEST_F(offsets, sort_by_link_table_and_by_exports_on_any_stack) {
    ASSERT_NE(library, nullptr);
    for (uint32_t off = 0; off < 16; off += 4) {
        ASSERT_EQ(open(off), 0) << sess.word(4);
        EXPECT_NE(sess.word(0), 0U);
        EXPECT_NE(prim.word(24), 0U);
        EXPECT_EQ(prim.word(20), 0x100000U);
        EXPECT_EQ(sort(off, link.word(0), link.word(4), given), wanted);
        EXPECT_EQ(close(off), 0);
        EXPECT_EQ(link.data, std::vector<uint8_t>(32, 0));
        prim.word(20, 0);

        ASSERT_EQ(open(off), 0) << sess.word(4);
        EXPECT_EQ(sort(off, routine("kvrnput"), routine("kvrnget"), given), wanted);
        EXPECT_EQ(sess.word(8), given.size());
        EXPECT_EQ(sess.word(12), given.size());
        EXPECT_EQ(close(off), 0);
        prim.word(20, 0);
    }
}

TEST_F(offsets, registry_value_names_the_engine) {
    ASSERT_NE(library, nullptr);
    char path[MAX_PATH] = "";
    GetModuleFileNameA(library, path, sizeof path);
    const std::string own = path;
    const std::string copy = own.substr(0, own.find_last_of('\\') + 1) + "kvrncopy.dll";
    ASSERT_TRUE(CopyFileA(path, copy.c_str(), FALSE));
    {
        const enginename value("kvrncopy.dll");
        ASSERT_EQ(open(0), 0) << sess.word(4);
        HMODULE bound = GetModuleHandleA("kvrncopy.dll");
        EXPECT_NE(bound, nullptr);
        EXPECT_EQ(link.word(28), static_cast<uint32_t>(reinterpret_cast<uintptr_t>(bound)));
        EXPECT_EQ(sort(0, link.word(0), link.word(4), given), wanted);
        EXPECT_EQ(close(0), 0);
        EXPECT_EQ(GetModuleHandleA("kvrncopy.dll"), nullptr);
    }
    {
        const enginename value("missing.dll");
        EXPECT_EQ(open(0), -2);
        EXPECT_EQ(sess.word(4), 2U);
    }
    {
        const enginename value("");
        EXPECT_EQ(open(0), 0) << "an empty value is like none";
        EXPECT_EQ(link.word(28), static_cast<uint32_t>(reinterpret_cast<uintptr_t>(library)));
        close(0);
    }
    DeleteFileA(copy.c_str());
}

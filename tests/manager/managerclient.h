// A client of the file manager: loads its library as the engine does, if the program does
// not hold it itself, and makes one request at a time.
#pragma once

#include "fmgr/ninecalls.h"

#include <array>
#include <cstring>
#include <gtest/gtest.h>
#include <stdexcept>
#include <string>
#include <vector>
#ifdef _WIN32
#include <windows.h>
#else
#include <dlfcn.h>
#endif

namespace kvern::test {

// Loaded once: under Windows a library that is loaded later may answer to its name.
inline auto managerlibrary() {
#ifdef _WIN32
    static const HMODULE program = GetModuleHandleA(nullptr);
    static const bool within = GetProcAddress(program, "FileManager") != nullptr;
    static const HMODULE library = within ? program : LoadLibraryA("m7hxfmg.dll");
#else
    static void *const library =
        dlopen(dlsym(RTLD_DEFAULT, "FileManager") ? nullptr : KVERN_BINARY_DIR "/libm7hxfmg.so",
               RTLD_NOW | RTLD_LOCAL);
#endif
    return library;
}
template <class F>
F managerfn(const char *name) {
#ifdef _WIN32
    const auto address = reinterpret_cast<void *>(GetProcAddress(managerlibrary(), name));
#else
    void *const address = dlsym(managerlibrary(), name);
#endif
    if (!address)
        throw std::runtime_error(std::string("file manager without ") + name);
    return reinterpret_cast<F>(address);
}
#define MANAGER(name)                                                                              \
    ([] {                                                                                          \
        static const auto loaded = managerfn<decltype(&::name)>(#name);                            \
        return loaded;                                                                             \
    }())

using records = std::vector<std::string>;

struct filekind {
    uint32_t organisation;
    bool variable;
    uint32_t longest;
    std::string keyparts = {}; // indexed: 4 bytes each
    uint32_t blocksize = 512;
};

inline std::string keypart(uint32_t position, uint32_t length, uint32_t flags) {
    return {static_cast<char>(length), static_cast<char>(flags), static_cast<char>(position & 0xFF),
            static_cast<char>(position >> 8)};
}

class managerclient {
  public:
    managerclient() : session(MANAGER(InitFileManager)()) {
        EXPECT_NE(session, 0U);
        EXPECT_EQ(ask({{0, 16}, {19, 2}, {34, 5}, {35, 1}}), 0);
    }
    ~managerclient() { EXPECT_EQ(MANAGER(TermFileManager)(session), 0U); }
    managerclient(const managerclient &) = delete;
    managerclient &operator=(const managerclient &) = delete;

    struct parameter {
        uint32_t number, value;
        std::string text = {}; // if not empty: sent instead of the value
    };

    void build(const std::vector<parameter> &parameters) {
        MANAGER(InitReqMsgBuild)(message.data(), size());
        for (const parameter &p : parameters) {
            const auto length = static_cast<uint32_t>(p.text.size());
            EXPECT_NE(length == 0 ? MANAGER(BldNumParm)(p.number, p.value)
                                  : MANAGER(BldStrParm)(p.number, length, p.text.data()),
                      0U);
        }
    }
    // The status, or -1: no reply.  `code` is set to the further number.
    int ask(const std::vector<parameter> &parameters, void *data = nullptr) {
        build(parameters);
        return perform(data);
    }
    int perform(void *data) {
        uint32_t length = 0;
        const void *value = nullptr;
        if (MANAGER(FileManager)(session, data, message.data(), size(), 0) != 0 ||
            MANAGER(InitMsgScan)(message.data(), 2, size()) == 0 ||
            MANAGER(ScanParmType)(1, &length, &value, &code) == 0 || length == 0)
            return -1;
        return *static_cast<const uint8_t *>(value);
    }

    int open(const std::string &path, const filekind &kind, bool output) {
        const uint32_t flags = (output ? 0x96080U : 0x8C900U) | (kind.variable ? 0x400000U : 0U);
        const uint32_t shortest = kind.variable ? 0 : kind.longest; // from here on: indexed files
        const int status = ask({{0, 1},
                                {3, kind.organisation},
                                {6, 0, path},
                                {22, flags},
                                {10, kind.longest},
                                {9, shortest},
                                {18, 0, kind.keyparts},
                                {42, kind.blocksize},
                                {46, 1},
                                {47, 2}});
        organisation = kind.organisation;
        uint32_t length = 0;
        const void *value = nullptr;
        if (MANAGER(ScanParmType)(5, &length, &value, nullptr) != 0)
            handle.assign(static_cast<const char *>(value), length);
        EXPECT_LE(handle.size(), 12U);
        return status;
    }
    int read(std::string *record, uint32_t room) {
        record->assign(room, '\0');
        const int status =
            ask({{0, 10}, {3, organisation}, {5, 0, handle}, {25, 0, "\x80"}, {30, room}},
                record->data());
        uint32_t length = 0;
        EXPECT_EQ(MANAGER(ScanParmType)(30, nullptr, nullptr, &length) != 0, status == 0);
        record->resize(length);
        return status;
    }
    int write(const std::string &record) {
        std::string own = record; // at its own end: the sanitizer sees what is read beyond
        const uint32_t request = organisation == 6 ? 14 : 15,
                       length = static_cast<uint32_t>(own.size());
        return ask({{0, request}, {3, organisation}, {5, 0, handle}, {30, length}, {37, 2}},
                   own.data());
    }
    int close() { return ask({{0, 3}, {3, organisation}, {5, 0, handle}}); }

    // The first status that is not 0, of all the requests together.
    int writeall(const std::string &path, const filekind &kind, const records &all) {
        int status = open(path, kind, true);
        for (size_t i = 0; i < all.size() && status == 0; ++i)
            status = write(all[i]);
        return status != 0 ? status : close();
    }
    // The status that reading ended with: 0x10 is the regular one.
    int readall(const std::string &path, const filekind &kind, records *out) {
        out->clear();
        int status = open(path, kind, false);
        const bool opened = status == 0;
        for (std::string record; status == 0;)
            if ((status = read(&record, kind.longest)) == 0)
                out->push_back(record);
        EXPECT_TRUE(!opened || close() == 0);
        return status;
    }

    uint32_t size() const { return static_cast<uint32_t>(message.size()); }

    uintptr_t session;
    std::array<uint8_t, 2051> message{};
    std::string handle;
    uint32_t organisation = 0, code = 0;
};

} // namespace kvern::test

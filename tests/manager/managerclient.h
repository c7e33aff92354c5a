// A client of the file manager: loads its library as the engine does, if the program does
// not hold it itself, and makes one request at a time.
#pragma once

#include "fmgr/ninecalls.h"

#include <array>
#include <gtest/gtest.h>
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
    return reinterpret_cast<F>(reinterpret_cast<void *>(GetProcAddress(managerlibrary(), name)));
#else
    return reinterpret_cast<F>(dlsym(managerlibrary(), name));
#endif
}
#define MANAGER(name) managerfn<decltype(&::name)>(#name)

using strings = std::vector<std::string>;

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

    struct parameter {
        uint32_t number, value;
        std::string text = {}; // if not empty: sent instead of the value
    };

    void build(const std::vector<parameter> &parameters) {
        MANAGER(InitReqMsgBuild)(message.data(), size());
        add(parameters);
    }
    void add(const std::vector<parameter> &parameters) {
        for (const auto &[number, value, text] : parameters)
            EXPECT_TRUE(text.empty()
                            ? MANAGER(BldNumParm)(number, value)
                            : MANAGER(BldStrParm)(number, uint32_t(text.size()), text.data()));
    }
    // The status, or -1: no reply.  `code` is set to the further number.
    int perform(void *data) {
        const void *value = nullptr;
        const bool replied = MANAGER(FileManager)(session, data, message.data(), size(), 0) == 0 &&
                             MANAGER(InitMsgScan)(message.data(), 2, size()) != 0 &&
                             MANAGER(ScanParmType)(1, nullptr, &value, &code) != 0;
        return replied ? *static_cast<const uint8_t *>(value) : -1;
    }
    int ask(const std::vector<parameter> &parameters, void *data = nullptr) {
        build(parameters);
        return perform(data);
    }
    // Of the reply; empty: it is not there.
    std::string text(uint32_t number) {
        uint32_t length = 0;
        const void *value = "";
        (void)MANAGER(ScanParmType)(number, &length, &value, nullptr);
        return {static_cast<const char *>(value), length};
    }

    int open(const std::string &path, const filekind &kind, bool output) {
        const uint32_t flags = (output ? 0x96080U : 0x8C900U) | (kind.variable ? 0x400000U : 0U),
                       shortest = kind.variable ? 0 : kind.longest;
        organisation = kind.organisation;
        build({{0, 1}, {3, organisation}, {6, 0, path}, {22, flags}, {10, kind.longest}});
        if (organisation == 6)
            add({{9, shortest}, {18, 0, kind.keyparts}, {42, kind.blocksize}, {46, 1}, {47, 2}});
        const int status = perform(nullptr);
        if (status == 0)
            handle = text(5);
        EXPECT_LE(handle.size(), 12U);
        return status;
    }
    int read(std::string *record, uint32_t room) {
        record->assign(room, '\0');
        const int status =
            ask({{0, 10}, {3, organisation}, {5, 0, handle}, {30, room}}, record->data());
        uint32_t length = 0;
        EXPECT_EQ(MANAGER(ScanParmType)(30, nullptr, nullptr, &length) != 0, status == 0);
        record->resize(length);
        return status;
    }
    int write(const std::string &record) {
        std::string own = record; // at its own end: the sanitizer sees what is read beyond
        const uint32_t request = organisation == 6 ? 14 : 15, length = uint32_t(own.size());
        return ask({{0, request}, {3, organisation}, {5, 0, handle}, {30, length}}, own.data());
    }
    int close() { return ask({{0, 3}, {3, organisation}, {5, 0, handle}}); }

    // The first status that is not 0, of all the requests together.
    int writeall(const std::string &path, const filekind &kind, const strings &all) {
        int status = open(path, kind, true);
        for (size_t i = 0; i < all.size() && status == 0; ++i)
            status = write(all[i]);
        return status != 0 ? status : close();
    }
    // The status that reading ended with: 0x10 is the regular one.
    int readall(const std::string &path, const filekind &kind, strings *out) {
        out->clear();
        int status = open(path, kind, false);
        const bool opened = status == 0;
        for (std::string record; status == 0;)
            if ((status = read(&record, kind.longest)) == 0)
                out->push_back(record);
        EXPECT_TRUE(!opened || close() == 0);
        return status;
    }

    uint32_t size() const { return uint32_t(message.size()); }

    uintptr_t session;
    std::array<uint8_t, 2051> message{};
    std::string handle;
    uint32_t organisation = 0, code = 0;
};

} // namespace kvern::test

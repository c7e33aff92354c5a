#include "manager/recordingmanager.h"

#include "fmgr/ninecalls.h"

#include <cerrno>
#include <gtest/gtest.h>
#ifdef _WIN32
#include <windows.h>
#endif

namespace kvern::test {

const std::string fmgrtold = KVERN_BINARY_DIR "/fmgr_told",
                  fmgruntold = KVERN_BINARY_DIR "/fmgr_untold",
                  fmgrlacking = KVERN_BINARY_DIR "/fmgr_lacking";

namespace {

constexpr uint32_t pm_handle = 5, pm_name = 6, pm_length = 30, pm_keyparts = 18;
constexpr uint32_t handlelength = 8;

// Only the low byte of a result counts.
constexpr uint32_t yes = 0xABCDEF01, no = 0xABCDEF00;

void setvariable(const char *name, const std::string &text) {
#ifdef _WIN32
    _putenv_s(name, text.c_str());
#else
    setenv(name, text.c_str(), 1);
#endif
}

// Empty: none.
void setdirectory(const std::string &folder) {
#ifdef _WIN32
    constexpr const char *registrykey = "SOFTWARE\\Norvala\\TESLOV7";
    RegDeleteKeyA(HKEY_LOCAL_MACHINE, registrykey);
    if (!folder.empty())
        RegSetKeyValueA(HKEY_LOCAL_MACHINE, registrykey, "Product_Directory", REG_SZ,
                        folder.c_str(), DWORD(folder.size() + 1));
#else
    setvariable("KVERN_PRODUCT_DIRECTORY", folder);
#endif
}

std::string hexadecimal(const void *from, uint32_t count) {
    std::string text = ":";
    for (uint32_t i = 0; i < count; ++i)
        for (const int shift : {4, 0})
            text += "0123456789ABCDEF"[static_cast<const uint8_t *>(from)[i] >> shift & 15];
    return text;
}

} // namespace

recordingmanager::recordingmanager(const std::string &folder) {
    setdirectory(folder);
    setvariable(stagevariable,
                std::to_string(reinterpret_cast<uintptr_t>(static_cast<fmgrstage *>(this))));
}

recordingmanager::~recordingmanager() {
    setdirectory("");
}

bool recordingmanager::fails(const char *function) {
    places.push_back({function, lines.size()});
    return places.size() - 1 == failat;
}

uintptr_t recordingmanager::InitFileManager() {
    const bool failed = fails("InitFileManager");
    lines.emplace_back("InitFileManager");
    return failed ? 0 : ::InitFileManager();
}

uint32_t recordingmanager::TermFileManager(uintptr_t session) {
    const bool failed = fails("TermFileManager");
    lines.emplace_back("TermFileManager");
    return ::TermFileManager(session) + (failed ? 1 : 0);
}

uint32_t recordingmanager::FailFileManager(uintptr_t session) {
    lines.emplace_back("FailFileManager");
    return ::FailFileManager(session);
}

uint32_t recordingmanager::InitReqMsgBuild(void *buffer, uint32_t room) {
    EXPECT_EQ(room, 2051U);
    EXPECT_NE(::InitReqMsgBuild(buffer, room), 0U);
    line.clear();
    return no; // nobody looks
}

uint32_t recordingmanager::built(const char *function, uint32_t result, uint32_t parm,
                                 const std::string &text) {
    EXPECT_NE(result, 0U);
    line += (line.empty() ? "" : " ") + std::to_string(parm) + text;
    return fails(function) ? no : yes;
}

uint32_t recordingmanager::BldNumParm(uint32_t parm, uint32_t value) {
    if (parm == 0 || parm == pm_length)
        (parm == 0 ? code : length) = value;
    return built("BldNumParm", ::BldNumParm(parm, value), parm, "=" + std::to_string(value));
}

uint32_t recordingmanager::BldStrParm(uint32_t parm, uint32_t count, const void *from) {
    const std::string text(static_cast<const char *>(from), count);
    if (parm == pm_handle) { // may have been made longer
        count = handlelength;
        file = names.at(text.substr(0, handlelength));
    } else if (parm == pm_name) {
        file = text.substr(text.find_last_of("/\\") + 1);
    }
    return built("BldStrParm", ::BldStrParm(parm, count, from), parm,
                 parm == pm_keyparts ? hexadecimal(from, count) : "\"" + file + "\"");
}

uint32_t recordingmanager::BldFlagParm(uint32_t parm, uint32_t count, const void *from) {
    return built("BldFlagParm", ::BldFlagParm(parm, count, from), parm, hexadecimal(from, count));
}

uint32_t recordingmanager::FileManager(uintptr_t session, void *data, void *buffer, uint32_t room,
                                       uint32_t zero) {
    const bool failed = fails("FileManager");
    if (code == 14 || code == 15)
        line += " <" + std::string(static_cast<const char *>(data), length).substr(0, 8);
    lines.push_back(line);
    EXPECT_EQ(::FileManager(session, data, buffer, room, zero), 0U) << line;
    const void *state = nullptr;
    done = ::InitMsgScan(buffer, 2, room) != 0 && ::ScanParmType(1, nullptr, &state, nullptr) &&
           *static_cast<const char *>(state) == 0;
    return failed ? 1 : 0;
}

uint32_t recordingmanager::InitMsgScan(void *buffer, uint32_t two, uint32_t room) {
    const bool failed = fails("InitMsgScan");
    EXPECT_NE(::InitMsgScan(buffer, two, room), 0U);
    return failed ? no : yes;
}

uint32_t recordingmanager::ScanParmType(uint32_t parm, uint32_t *count, const void **value,
                                        uint32_t *number) {
    const bool failed = fails("ScanParmType");
    if (failed || ::ScanParmType(parm, count, value, number) == 0)
        return no;
    std::string handle;
    if (parm == pm_handle)
        names[handle.assign(static_cast<const char *>(*value), *count)] = file;
    if (!done || parm != changed.parm || (changed.request != 0 && changed.request != code) ||
        (*changed.file != 0 && file != changed.file))
        return yes;
    errno = changed.error;
    if (changed.bytes == changedreply::gone)
        return no;
    if (changed.bytes != changedreply::asis)
        *value = (bytes = handle + changed.bytes).c_str();
    *count = changed.bytes == changedreply::asis ? 0 : uint32_t(bytes.size());
    *number = changed.number;
    return yes;
}

} // namespace kvern::test

#include "manager/recordingmanager.h"

#include "manager/managerclient.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>

#if defined(_WIN32)
#include <windows.h>
#endif

namespace kvern::test {

// ---- surroundings -----------------------------------------------------------

namespace {

#if defined(_WIN32)
constexpr const char *home = ""; // found beside the program

void setvariable(const char *name, const char *text) {
    SetEnvironmentVariableA(name, text);
}

void setdirectory(const std::string &folder) {
    constexpr const char *registrykey = "SOFTWARE\\Norvala\\TESLOV7";
    HKEY key = nullptr;
    RegDeleteKeyA(HKEY_LOCAL_MACHINE, registrykey);
    if (folder.empty() || RegCreateKeyA(HKEY_LOCAL_MACHINE, registrykey, &key) != ERROR_SUCCESS)
        return;
    RegSetValueExA(key, "Product_Directory", 0, REG_SZ,
                   reinterpret_cast<const BYTE *>(folder.c_str()),
                   static_cast<DWORD>(folder.size() + 1));
    RegCloseKey(key);
}
#else
constexpr const char *home = KVERN_BINARY_DIR;

void setvariable(const char *name, const char *text) {
    (void)(text != nullptr ? setenv(name, text, 1) : unsetenv(name));
}

void setdirectory(const std::string &folder) {
    setvariable("KVERN_PRODUCT_DIRECTORY", folder.empty() ? nullptr : folder.c_str());
}

const productdirectory named(home); // for all tests that name no other
#endif

} // namespace

productdirectory::productdirectory(const std::string &folder) {
    setdirectory(folder);
}

productdirectory::~productdirectory() {
    setdirectory(home);
}

// ---- lines ------------------------------------------------------------------

namespace {

constexpr uint32_t messagelength = 2051;
constexpr uint32_t pm_handle = 5, pm_name = 6, pm_length = 30, pm_keyparts = 18;
constexpr size_t handlelength = 8;

// Only the low byte of a result counts.
constexpr uint32_t yes = 0xABCDEF01, no = 0xABCDEF00;

std::string hexadecimal(const std::string &bytes) {
    std::string text = ":";
    char digits[3];
    for (const char c : bytes) {
        std::snprintf(digits, sizeof digits, "%02X", static_cast<unsigned char>(c));
        text += digits;
    }
    return text;
}

} // namespace

recordingmanager::recordingmanager() {
    (void)managerlibrary(); // before the shim
    char digits[32];
    const auto address = reinterpret_cast<uintptr_t>(static_cast<fmgrstage *>(this));
    std::snprintf(digits, sizeof digits, "%llx", static_cast<unsigned long long>(address));
    setvariable(stagevariable, digits);
}

recordingmanager::~recordingmanager() {
    setvariable(stagevariable, nullptr);
}

bool recordingmanager::fails(const char *function) {
    places.push_back({function, lines.size()});
    return places.size() - 1 == failat;
}

void recordingmanager::present(bool loaded) {
    lines.emplace_back(loaded ? "load" : "unload");
}

uintptr_t recordingmanager::InitFileManager() {
    const bool failed = fails("InitFileManager");
    lines.emplace_back("InitFileManager");
    return failed ? 0 : MANAGER(InitFileManager)();
}

uint32_t recordingmanager::TermFileManager(uintptr_t session) {
    const bool failed = fails("TermFileManager");
    lines.emplace_back("TermFileManager");
    return MANAGER(TermFileManager)(session) + (failed ? 1 : 0);
}

uint32_t recordingmanager::FailFileManager(uintptr_t session) {
    lines.emplace_back("FailFileManager");
    return MANAGER(FailFileManager)(session);
}

// ---- requests ---------------------------------------------------------------

uint32_t recordingmanager::InitReqMsgBuild(void *buffer, uint32_t room) {
    EXPECT_EQ(room, messagelength);
    EXPECT_NE(MANAGER(InitReqMsgBuild)(buffer, room), 0U);
    line.clear();
    return no; // nobody looks
}

uint32_t recordingmanager::build(uint32_t parm, const std::string &text, bool failed,
                                 uint32_t built) {
    EXPECT_NE(built, 0U);
    line += (line.empty() ? "" : " ") + std::to_string(parm) + text;
    return failed ? no : yes;
}

uint32_t recordingmanager::BldNumParm(uint32_t parm, uint32_t value) {
    if (parm == 0 || parm == pm_length)
        (parm == 0 ? code : length) = value;
    return build(parm, "=" + std::to_string(value), fails("BldNumParm"),
                 MANAGER(BldNumParm)(parm, value));
}

uint32_t recordingmanager::BldStrParm(uint32_t parm, uint32_t count, const void *from) {
    std::string text(static_cast<const char *>(from), count);
    uint32_t sent = count;
    if (parm == pm_handle) { // may have been made longer
        text = file = names.at(text.substr(0, sent = handlelength));
    } else if (parm == pm_name) {
        text = text.substr(text.find_last_of("/\\") + 1);
        file = "<" + text + ">";
    }
    return build(parm, parm == pm_keyparts ? hexadecimal(text) : "\"" + text + "\"",
                 fails("BldStrParm"), MANAGER(BldStrParm)(parm, sent, from));
}

uint32_t recordingmanager::BldFlagParm(uint32_t parm, uint32_t count, const void *from) {
    return build(parm, hexadecimal({static_cast<const char *>(from), count}), fails("BldFlagParm"),
                 MANAGER(BldFlagParm)(parm, count, from));
}

uint32_t recordingmanager::FileManager(uintptr_t session, void *data, void *buffer, uint32_t room,
                                       uint32_t zero) {
    const bool failed = fails("FileManager"), writes = code == 14 || code == 15;
    if (writes)
        line += " <" + std::string(static_cast<const char *>(data), length).substr(0, 8);
    lines.push_back(line);
    EXPECT_EQ(MANAGER(FileManager)(session, data, buffer, room, zero), 0U) << line;
    const void *state = nullptr;
    done = MANAGER(InitMsgScan)(buffer, 2, room) != 0 &&
           MANAGER(ScanParmType)(1, nullptr, &state, nullptr) != 0 &&
           *static_cast<const char *>(state) == 0;
    return failed ? 1 : 0;
}

// ---- replies ----------------------------------------------------------------

bool recordingmanager::changes(uint32_t parm) const {
    return done && parm == changed.parm && (changed.request == 0 || changed.request == code) &&
           (*changed.file == 0 || file == changed.file);
}

uint32_t recordingmanager::InitMsgScan(void *buffer, uint32_t two, uint32_t room) {
    const bool failed = fails("InitMsgScan");
    EXPECT_NE(MANAGER(InitMsgScan)(buffer, two, room), 0U);
    return failed ? no : yes;
}

uint32_t recordingmanager::ScanParmType(uint32_t parm, uint32_t *count, const void **value,
                                        uint32_t *number) {
    const bool failed = fails("ScanParmType");
    if (failed || MANAGER(ScanParmType)(parm, count, value, number) == 0)
        return no;
    std::string handle;
    if (parm == pm_handle)
        names[handle.assign(static_cast<const char *>(*value), *count)] = file;
    if (!changes(parm))
        return yes;
    errno = changed.error;
    if (changed.bytes == changedreply::gone)
        return no;
    if (changed.bytes != changedreply::asis)
        *value = (bytes = handle + changed.bytes).c_str();
    *count = changed.bytes == changedreply::asis ? 0 : static_cast<uint32_t>(bytes.size());
    *number = changed.number;
    return yes;
}

} // namespace kvern::test

#include "support/recordingmanager.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#if defined(_WIN32)
#include <windows.h>
#endif

namespace kvern::test {

// ---- surroundings -----------------------------------------------------------

#if defined(_WIN32)

namespace {

constexpr const char *registrykey = "SOFTWARE\\Norvala\\TESLOV7";
constexpr const char *registryvalue = "Product_Directory";

// Empty: takes the value away.
void setdirectory(const std::string &folder) {
    HKEY key;
    if (RegCreateKeyExA(HKEY_LOCAL_MACHINE, registrykey, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr,
                        &key, nullptr) != ERROR_SUCCESS)
        std::abort();
    if (folder.empty())
        RegDeleteValueA(key, registryvalue);
    else
        RegSetValueExA(key, registryvalue, 0, REG_SZ,
                       reinterpret_cast<const BYTE *>(folder.c_str()),
                       static_cast<DWORD>(folder.size() + 1));
    RegCloseKey(key);
}

void setvariable(const char *name, const char *text) {
    SetEnvironmentVariableA(name, text);
}

} // namespace

productdirectory::productdirectory(const std::string &folder) {
    char text[MAX_PATH] = "";
    DWORD length = sizeof text - 1;
    HKEY key;
    wasset = RegOpenKeyExA(HKEY_LOCAL_MACHINE, registrykey, 0, KEY_READ, &key) == ERROR_SUCCESS;
    if (wasset) {
        RegQueryValueExA(key, registryvalue, nullptr, nullptr, reinterpret_cast<BYTE *>(text),
                         &length);
        RegCloseKey(key);
    }
    before = text;
    setdirectory(folder);
}

productdirectory::~productdirectory() {
    setdirectory(before);
    if (!wasset)
        RegDeleteKeyA(HKEY_LOCAL_MACHINE, registrykey);
}

#else

namespace {

constexpr const char *variable = "KVERN_PRODUCT_DIRECTORY";

void setvariable(const char *name, const char *text) {
    if (text != nullptr)
        setenv(name, text, 1);
    else
        unsetenv(name);
}

} // namespace

productdirectory::productdirectory(const std::string &folder) {
    const char *text = std::getenv(variable);
    wasset = text != nullptr;
    before = wasset ? text : "";
    setvariable(variable, folder.empty() ? nullptr : folder.c_str());
}

productdirectory::~productdirectory() {
    setvariable(variable, wasset ? before.c_str() : nullptr);
}

#endif

// ---- lines ------------------------------------------------------------------

namespace {

constexpr uintptr_t sessionvalue = 0x7E57;
constexpr uint32_t messagelength = 2051;

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

std::string lastname(const std::string &path) {
    return path.substr(path.find_last_of("/\\") + 1);
}

} // namespace

recordingmanager::recordingmanager() {
    char digits[32];
    const auto address = reinterpret_cast<uintptr_t>(static_cast<fmgrstage *>(this));
    std::snprintf(digits, sizeof digits, "%llx", static_cast<unsigned long long>(address));
    setvariable(stagevariable, digits);
}

recordingmanager::~recordingmanager() {
    setvariable(stagevariable, nullptr);
}

bool recordingmanager::fails(fmgrfunction function) {
    size_t before = 0;
    for (const place &p : places)
        before += p.function == function ? 1 : 0;
    places.push_back({function, lines.size()});
    return function == failing && before == failat;
}

void recordingmanager::expect(bool right, const char *what) {
    if (!right && broken.empty())
        broken = what;
}

void recordingmanager::loaded() {
    lines.emplace_back("load");
}
void recordingmanager::unloaded() {
    lines.emplace_back("unload");
}

uintptr_t recordingmanager::InitFileManager() {
    const bool failed = fails(fmgrfunction::InitFileManager);
    lines.emplace_back("InitFileManager");
    return failed ? 0 : sessionvalue;
}

uint32_t recordingmanager::TermFileManager(uintptr_t session) {
    const bool failed = fails(fmgrfunction::TermFileManager);
    expect(session == sessionvalue, "session of TermFileManager");
    lines.emplace_back("TermFileManager");
    return failed ? 1 : 0;
}

uint32_t recordingmanager::FailFileManager(uintptr_t session) {
    expect(session == sessionvalue, "session of FailFileManager");
    lines.emplace_back("FailFileManager");
    return 0;
}

// ---- building ---------------------------------------------------------------

uint32_t recordingmanager::InitReqMsgBuild(void *buffer, uint32_t length) {
    expect(length == messagelength, "length of the message");
    expect(message == nullptr || message == buffer, "one message buffer");
    message = buffer;
    scanning = false;
    line.clear();
    now = {};
    return no; // nobody looks
}

void recordingmanager::build(uint32_t parm, const std::string &text, const value &given) {
    line += (line.empty() ? "" : " ") + std::to_string(parm) + text;
    now.asked[parm] = given;
}

uint32_t recordingmanager::BldNumParm(uint32_t parm, uint32_t number) {
    const bool failed = fails(fmgrfunction::BldNumParm);
    build(parm, "=" + std::to_string(number), {{}, number});
    return failed ? no : yes;
}

uint32_t recordingmanager::BldStrParm(uint32_t parm, uint32_t length, const void *bytes) {
    const bool failed = fails(fmgrfunction::BldStrParm);
    std::string text(static_cast<const char *>(bytes), length);
    if (parm == 6)
        text = lastname(text);
    const bool binary = parm == 18;
    build(parm, binary ? hexadecimal(text) : "\"" + text + "\"", {text, 0});
    return failed ? no : yes;
}

uint32_t recordingmanager::BldFlagParm(uint32_t parm, uint32_t length, const void *bytes) {
    const bool failed = fails(fmgrfunction::BldFlagParm);
    const std::string text(static_cast<const char *>(bytes), length);
    build(parm, hexadecimal(text), {text, 0});
    return failed ? no : yes;
}

// ---- performing -------------------------------------------------------------

uint32_t recordingmanager::FileManager(uintptr_t session, void *data, void *buffer, uint32_t length,
                                       uint32_t zero) {
    const bool failed = fails(fmgrfunction::FileManager);
    expect(session == sessionvalue, "session of a request");
    expect(buffer == message && length == messagelength && zero == 0, "arguments of FileManager");
    perform(data);
    return failed ? 1 : 0;
}

void recordingmanager::open() {
    const std::string name = now.asked.at(6).bytes;
    const std::string handle = "<" + name + ">";
    handles[handle] = {&files[name]};
    now.reply[5] = {handle, 0};
    now.reply[3] = {{static_cast<char>(now.asked.at(3).number)}, now.asked.at(3).number};
}

// A reply may have made the handle longer.
recordingmanager::opened &recordingmanager::given() {
    const std::string &handle = now.asked.at(5).bytes;
    return handles.at(handle.substr(0, handle.find('>') + 1));
}

void recordingmanager::read(void *data) {
    opened &file = given();
    if (file.next == file.records->size()) {
        now.status(file.atend && now.asked.at(3).number != 2 ? 0x96 : 0x10);
        file.atend = true;
        return;
    }
    const std::string &record = (*file.records)[file.next++];
    // A read always brings its buffer.  NOLINTNEXTLINE(clang-analyzer-core.NonNullParamChecker)
    std::memcpy(data, record.data(), record.size());
    now.reply[30] = {{}, static_cast<uint32_t>(record.size())};
}

void recordingmanager::perform(void *data) {
    constexpr uint32_t rq_open = 1, rq_read = 10, rq_writeindexed = 14, rq_write = 15;
    now.status(0);
    const uint32_t code = now.code();
    const bool writes = code == rq_write || code == rq_writeindexed;
    expect((data != nullptr) == (writes || code == rq_read), "data address");
    if (writes) {
        const std::string record(static_cast<const char *>(data), now.asked.at(30).number);
        given().records->push_back(record);
        line += " <" + record.substr(0, 8);
    }
    lines.push_back(line);
    if (code == rq_open)
        open();
    if (code == rq_read)
        read(data);
    if (twist)
        twist(now);
}

// ---- scanning ---------------------------------------------------------------

uint32_t recordingmanager::InitMsgScan(void *buffer, uint32_t two, uint32_t length) {
    const bool failed = fails(fmgrfunction::InitMsgScan);
    expect(buffer == message && two == 2 && length == messagelength, "arguments of InitMsgScan");
    scanning = true;
    return failed ? no : yes;
}

uint32_t recordingmanager::ScanParmType(uint32_t parm, uint32_t *length, const void **bytes,
                                        uint32_t *number) {
    const bool failed = fails(fmgrfunction::ScanParmType);
    expect(scanning, "a scan before InitMsgScan");
    const auto found = now.reply.find(parm);
    if (failed || found == now.reply.end())
        return no;
    *length = found->second.measured ? static_cast<uint32_t>(found->second.bytes.size()) : 0;
    *bytes = found->second.bytes.data();
    *number = found->second.number;
    return yes;
}

} // namespace kvern::test

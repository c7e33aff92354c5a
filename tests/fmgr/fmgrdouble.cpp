// A library under the file manager's name that does nothing itself.  Built a second
// time with KVERN_WITHOUT_FLAGS it lacks one of the nine functions, with KVERN_WITH_FAIL
// it has the tenth.
#include "fmgr/fmgrstage.h"

#include <cstdlib>

#if defined(_WIN32)
#include <windows.h>
#define EXPORTED extern "C" __declspec(dllexport)
#else
#define EXPORTED extern "C" __attribute__((visibility("default")))
#endif

namespace {

kvern::test::fmgrstage *stage() {
    char digits[32] = "";
#if defined(_WIN32)
    GetEnvironmentVariableA(kvern::test::stagevariable, digits, sizeof digits);
    const char *text = digits;
#else
    const char *text = std::getenv(kvern::test::stagevariable);
    text = text != nullptr ? text : digits;
#endif
    const auto address = static_cast<uintptr_t>(std::strtoull(text, nullptr, 16));
    return reinterpret_cast<kvern::test::fmgrstage *>(address);
}

struct presence {
    presence() {
        if (stage() != nullptr)
            stage()->loaded();
    }
    ~presence() {
        if (stage() != nullptr)
            stage()->unloaded();
    }
} const here;

} // namespace

EXPORTED uintptr_t InitFileManager() {
    return stage()->InitFileManager();
}
EXPORTED uint32_t InitReqMsgBuild(void *buffer, uint32_t length) {
    return stage()->InitReqMsgBuild(buffer, length);
}
EXPORTED uint32_t BldNumParm(uint32_t parm, uint32_t value) {
    return stage()->BldNumParm(parm, value);
}
EXPORTED uint32_t BldStrParm(uint32_t parm, uint32_t length, const void *bytes) {
    return stage()->BldStrParm(parm, length, bytes);
}
#if !defined(KVERN_WITHOUT_FLAGS)
EXPORTED uint32_t BldFlagParm(uint32_t parm, uint32_t length, const void *bytes) {
    return stage()->BldFlagParm(parm, length, bytes);
}
#endif
EXPORTED uint32_t FileManager(uintptr_t session, void *data, void *buffer, uint32_t length,
                              uint32_t zero) {
    return stage()->FileManager(session, data, buffer, length, zero);
}
EXPORTED uint32_t InitMsgScan(void *buffer, uint32_t two, uint32_t length) {
    return stage()->InitMsgScan(buffer, two, length);
}
EXPORTED uint32_t ScanParmType(uint32_t parm, uint32_t *length, const void **value,
                               uint32_t *number) {
    return stage()->ScanParmType(parm, length, value, number);
}
EXPORTED uint32_t TermFileManager(uintptr_t session) {
    return stage()->TermFileManager(session);
}
#if defined(KVERN_WITH_FAIL)
EXPORTED uint32_t FailFileManager(uintptr_t session) {
    return stage()->FailFileManager(session);
}
#endif

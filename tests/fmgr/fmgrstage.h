// What stands behind the shim of the file manager: a test puts an object of its own
// there, and the shim hands it every call.
#pragma once

#include <cstdint>

// Result, name, parameters and arguments of the manager's functions.
#define FMGR_CALLS(row)                                                                            \
    row(uintptr_t, InitFileManager, (), ());                                                       \
    row(uint32_t, InitReqMsgBuild, (void *buffer, uint32_t room), (buffer, room));                 \
    row(uint32_t, BldNumParm, (uint32_t parm, uint32_t value), (parm, value));                     \
    row(uint32_t, BldStrParm, (uint32_t parm, uint32_t n, const void *from), (parm, n, from));     \
    row(uint32_t, BldFlagParm, (uint32_t parm, uint32_t n, const void *from), (parm, n, from));    \
    row(uint32_t, FileManager, (uintptr_t in, void *data, void *buffer, uint32_t n, uint32_t z),   \
        (in, data, buffer, n, z));                                                                 \
    row(uint32_t, InitMsgScan, (void *buffer, uint32_t two, uint32_t n), (buffer, two, n));        \
    row(uint32_t, ScanParmType, (uint32_t parm, uint32_t * n, const void **at, uint32_t *number),  \
        (parm, n, at, number));                                                                    \
    row(uint32_t, TermFileManager, (uintptr_t session), (session));                                \
    row(uint32_t, FailFileManager, (uintptr_t session), (session))

namespace kvern::test {

// Environment variable that holds the object's address.
constexpr const char *stagevariable = "KVERN_TEST_FMGRSTAGE";

class fmgrstage {
  public:
    virtual void present(bool loaded) = 0;
#define FMGR_STAGED(type, name, parameters, arguments) virtual type name parameters = 0
    FMGR_CALLS(FMGR_STAGED);
#undef FMGR_STAGED

  protected:
    ~fmgrstage() = default;
};

} // namespace kvern::test

// What stands behind the file manager's double: a test puts an object of its own
// there, and the double hands it every call.
#pragma once

#include <cstdint>

namespace kvern::test {

// Environment variable that holds the object's address in hexadecimal digits.
constexpr const char *stagevariable = "KVERN_TEST_FMGRSTAGE";

class fmgrstage {
  public:
    virtual void loaded() = 0;
    virtual void unloaded() = 0;
    virtual uintptr_t InitFileManager() = 0;
    virtual uint32_t InitReqMsgBuild(void *buffer, uint32_t length) = 0;
    virtual uint32_t BldNumParm(uint32_t parm, uint32_t value) = 0;
    virtual uint32_t BldStrParm(uint32_t parm, uint32_t length, const void *bytes) = 0;
    virtual uint32_t BldFlagParm(uint32_t parm, uint32_t length, const void *bytes) = 0;
    virtual uint32_t FileManager(uintptr_t session, void *data, void *buffer, uint32_t length,
                                 uint32_t zero) = 0;
    virtual uint32_t InitMsgScan(void *buffer, uint32_t two, uint32_t length) = 0;
    virtual uint32_t ScanParmType(uint32_t parm, uint32_t *length, const void **value,
                                  uint32_t *number) = 0;
    virtual uint32_t TermFileManager(uintptr_t session) = 0;
    virtual uint32_t FailFileManager(uintptr_t session) = 0;

  protected:
    ~fmgrstage() = default;
};

} // namespace kvern::test

// The nine functions of the file manager, as its library exports them, and a tenth for
// callers that know of it.  Builders and scanners work on the message that the calling
// thread began last; their result is 0 on failure.  docs/file-manager.md tells the requests.
#pragma once

#include <stdint.h>

#ifdef _WIN32
#define FMGR_CALL __cdecl
#define FMGR_EXPORT /* by name, in fmgr.def */
#else
#define FMGR_CALL
#define FMGR_EXPORT __attribute__((visibility("default")))
#endif

#ifdef __cplusplus
extern "C" {
#endif

FMGR_EXPORT uintptr_t FMGR_CALL InitFileManager(void); /* 0: no session */
FMGR_EXPORT uint32_t FMGR_CALL InitReqMsgBuild(void *buffer, uint32_t length);
FMGR_EXPORT uint32_t FMGR_CALL BldNumParm(uint32_t number, uint32_t value);
FMGR_EXPORT uint32_t FMGR_CALL BldStrParm(uint32_t number, uint32_t length, const void *bytes);
FMGR_EXPORT uint32_t FMGR_CALL BldFlagParm(uint32_t number, uint32_t length, const void *bytes);
/* 0: performed, and the reply is in the buffer. */
FMGR_EXPORT uint32_t FMGR_CALL FileManager(uintptr_t session, void *data, void *buffer,
                                           uint32_t length, uint32_t zero);
FMGR_EXPORT uint32_t FMGR_CALL InitMsgScan(void *buffer, uint32_t two, uint32_t length);
FMGR_EXPORT uint32_t FMGR_CALL ScanParmType(uint32_t number, uint32_t *length, const void **value,
                                            uint32_t *numeric);
FMGR_EXPORT uint32_t FMGR_CALL TermFileManager(uintptr_t session); /* 0: ended */
/* The session has failed: whatever output of it is closed from now on is dropped, and the
 * file that it would replace stays.  0: noted. */
FMGR_EXPORT uint32_t FMGR_CALL FailFileManager(uintptr_t session);

#ifdef __cplusplus
}
#endif

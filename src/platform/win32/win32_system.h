// The one includer of windows.h, kept to what is in use.
#pragma once

#include "platform/platform.h"

#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>

namespace kvern::platform {

inline HANDLE systemhandle(filehandle file) {
    return reinterpret_cast<HANDLE>(file);
}
inline filehandle enginehandle(HANDLE handle) {
    return reinterpret_cast<filehandle>(handle);
}

// Writes all or fails; a device that takes no more without an error is full.
[[nodiscard]] syserror transferout(HANDLE to, const void *from, uint32_t length, uint32_t *count);

} // namespace kvern::platform

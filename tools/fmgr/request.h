// Performs requests.
#pragma once

#include "message.h"
#include "sessions.h"

namespace fmgr {

// Numbers of parameters, of requests and in replies.
enum parm : uint32_t {
    pm_request = 0,
    pm_status = 1, // reply: the file status; its number is the C library's error
    pm_organisation = 3,
    pm_handle = 5,
    pm_path = 6, // reply to a close that failed: where the output is kept
    pm_shortest = 9,
    pm_longest = 10,
    pm_keyparts = 18,
    pm_openflags = 22,
    pm_length = 30,
    pm_blocksize = 42,
    pm_attribute0 = 46,
    pm_attribute1 = 47,
};

// Replaces the request in the buffer by its reply.  False: it is no request that this
// manager knows, or not one of a live session; the buffer then holds no reply.
bool perform(sessionvalue value, void *data, void *buffer, uint32_t length);

} // namespace fmgr

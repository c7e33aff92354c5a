// A platform layer in memory, for fuzzed sessions: no file of the machine is
// touched, a session leaves nothing behind, and an input always takes the same
// road.  There are the directories "da", "db" and "dc"; every other path without
// one of them before its '/' is missing.  What the engine took and did not give
// back is counted, and a handle closed twice ends the program.
#pragma once

#include "platform/platform.h"

#include <cstdint>
#include <vector>

namespace kvern::test {

struct memoryplan {
    uint32_t grant = 0;             // greatest piece of memory that can be had
    uint32_t capacity = 0;          // bytes of files that each directory holds
    uint32_t failat = 0;            // number of the operation that fails, from 1
    bool diskfull = false;          // it fails as a full disk would
    bool deletesbyname = false;     // temporary files as on Windows, else as on POSIX
    const char *variable = nullptr; // value of all environment variables
};
constexpr uint32_t maxgrant = 2U << 20; // of memoryplan::grant

// An empty disk, nothing held.
void startplatform(const memoryplan &plan);
// Makes a file; "stdin" is what the standard input holds.
std::vector<uint8_t> &makefile(const char *name);

struct platformstate {
    uint32_t memory;  // pieces not given back
    uint32_t handles; // files not closed
    uint32_t files;   // names on the disk
};
[[nodiscard]] platformstate held();

// Says what is wrong and ends the program.
[[noreturn]] void finding(const char *what);

} // namespace kvern::test

// A platform layer in memory, for fuzzed sessions and failing operations: no file of
// the machine is touched, a session leaves nothing behind, and an input always takes
// the same road.  There are the directories "da", "db" and "dc"; every other path
// without one of them before its '/' is missing.  What the engine took and did not give
// back is counted, and a handle closed twice ends the program.
#pragma once

#include "platform/platform.h"
#include "support/sessionrunner.h"

#include <array>
#include <cstdint>
#include <vector>

namespace kvern::test {

// What becomes of an operation that fails, and which ones are counted for it.
enum class fault : uint8_t {
    device,     // every one: it does nothing, and the device is at fault
    full,       // writes: nothing goes out, there is no room
    torn,       // moves: half of it is done, then the device fails
    tornfull,   // writes: half of it goes out, then there is no room
    cut,        // moves that need not be whole: half of it is done, and that is what is told
    interrupted // opens, reads and writes of files: half of it is done, then comes a signal
};
constexpr uint32_t faultkinds = 6;

struct memoryplan {
    uint32_t grant = 0;                 // greatest piece of memory that can be had
    std::array<uint32_t, 3> capacity{}; // bytes of files that the directories hold
    fault how = fault::device;
    uint32_t failat = 0;        // number of the operation that fails, from 1
    uint32_t failto = 0;        // last one that fails; below failat: that one alone
    bool deletesbyname = false; // temporary files as on Windows, else as on POSIX
    platform::symbol (*manager)(const char *name) = nullptr; // the file manager's routines
};
constexpr uint32_t maxgrant = 2U << 20; // of memoryplan::grant

// An empty disk, nothing held.
void startplatform(const memoryplan &plan);
// Makes a file; "stdin" is what the standard input holds.
std::vector<uint8_t> &makefile(const char *name);

// Null: there is none.
[[nodiscard]] const std::vector<uint8_t> *filenamed(const char *name);

struct platformstate {
    uint32_t memory;     // pieces not given back
    uint32_t handles;    // files not closed
    uint32_t files;      // names on the disk
    uint32_t operations; // counted for the plan's fault
    bool lostblock;      // the device failed as a block was written: no session gets over that
};
[[nodiscard]] platformstate held();

// For memoryplan::manager: the manager that is linked with memory_manager.cpp.
[[nodiscard]] platform::symbol managerroutine(const char *name);

// The place of a session's files.
class memorydisk : public sessiondisk {
  public:
    memorydisk(const memoryplan &plan, std::vector<std::string> workfolders)
        : places(std::move(workfolders)) {
        startplatform(plan);
    }
    std::string file(const std::string &name) const override { return "dc/" + name; }
    std::vector<std::string> workplaces() const override { return places; }
    void write(const std::string &path, const bytes &data) const override {
        makefile(path.c_str()).assign(data.begin(), data.end());
    }
    bytes read(const std::string &path) const override {
        const std::vector<uint8_t> *data = filenamed(path.c_str());
        return data == nullptr ? bytes() : bytes(data->begin(), data->end());
    }
    bool sound() const override { return !held().lostblock; }

  private:
    std::vector<std::string> places;
};

// Says what is wrong and ends the program.
[[noreturn]] void finding(const char *what);

} // namespace kvern::test

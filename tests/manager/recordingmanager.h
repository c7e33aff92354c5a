// The file manager with a listener before it: every request that comes through a library
// of tests/fmgr is written down as a line of text and handed on, and any call can fail.
#pragma once

#include "fmgr/fmgrstage.h"

#include <map>
#include <string>
#include <vector>

namespace kvern::test {

// The folders of those libraries: all ten functions, without the one that is fmgrtold of
// failures, without one that it needs.
extern const std::string fmgrtold, fmgruntold, fmgrlacking;

// What replies say instead of what they did, of requests that were done.
struct changedreply {
    static constexpr char asis[] = "", gone[] = "";

    uint32_t request = 0;   // 0: any
    const char *file = "";  // whose requests, empty: any one's
    uint32_t parm = 1;      // the status
    const char *bytes = ""; // gone: no such parameter; asis: as they are, but of length 0
    uint32_t number = 0;
    int error = 0; // left in errno
};

class recordingmanager final : public fmgrstage {
  public:
    // Names the folder to the engine while it lives; empty: none.
    explicit recordingmanager(const std::string &folder);
    ~recordingmanager();

    changedreply changed{0xFFFF};
    size_t failat = SIZE_MAX; // place of the call that fails

    // What came.  A line: "load", "unload", a function's name, or a request, its
    // parameters in order as 0=1 (number), 6"in" (text) or 22:8060 (other bytes),
    // with the first bytes of the record that is written behind <.
    std::vector<std::string> lines{};
    // Every call that can fail, with the number of lines before its request's.
    struct place {
        std::string function;
        size_t line;
    };
    std::vector<place> places{};

    void present(bool loaded) override { lines.emplace_back(loaded ? "load" : "unload"); }
#define FMGR_RECORDED(type, name, parameters, arguments) type name parameters override
    FMGR_CALLS(FMGR_RECORDED);
#undef FMGR_RECORDED

  private:
    bool fails(const char *function);
    uint32_t built(const char *function, uint32_t result, uint32_t parm, const std::string &text);

    std::map<std::string, std::string> names{}; // of open files, by their handles
    std::string line{}, file{}, bytes{};
    uint32_t code = 0, length = 0; // of the request; of its record
    bool done = false;
};

} // namespace kvern::test

// Runs a described session through the public calls alone and gives back what
// came out of it.
#pragma once

#include "support/sessionspec.h"
#include "support/tempfolder.h"

namespace kvern::test {

struct runresult {
    std::string failed{}; // call that gave an unexpected result or detail; empty: none
    // First detail code that a call gave; one that stops summation alone gives
    // way to a later one.
    uint32_t detail = 0;
    KVRNSTAT counters{}; // before the close
    // Call that claimed a good end, or forgot the detail, after one that failed.
    std::string pretends{};
    std::string broken{}; // what no caller's doings excuse
    std::vector<bytes> records{};
};

// Where the files of a session lie.
struct sessiondisk {
    virtual ~sessiondisk() = default;
    [[nodiscard]] virtual std::string file(const std::string &name) const = 0;
    [[nodiscard]] virtual std::vector<std::string> workplaces() const = 0;
    virtual void write(const std::string &path, const bytes &data) const = 0;
    [[nodiscard]] virtual bytes read(const std::string &path) const = 0;
    // False: data are gone, and a call that succeeds now lies.
    [[nodiscard]] virtual bool sound() const { return true; }
};

// The caller's blocks on their way to kvrnopen.
struct callerblocks {
    KVRNPRIM *prim = nullptr;
    size_t primbytes = 0;
    KVRNSESS *sess = nullptr;
    KVRNKEY *keys = nullptr;
    KVRNFILE *files = nullptr;
    KVRNOPT opts = {};
};

// A caller who does what he should not.
struct mischief {
    virtual ~mischief() = default;
    virtual void bend(callerblocks &blocks) = 0;
    // Called before each record call; false: the session is left.
    virtual bool before(KVRNSESS &sess, const KVRNLINK &link) = 0;
};

// The session goes on and ends clean: it only folds no more records.
[[nodiscard]] constexpr bool foldingstopped(uint32_t detail) {
    return detail == KVRN_D_SUMOVERFLOW || detail == KVRN_D_SUMMISSING;
}

// Makes the input files in `folder`; temporary files go there too.  A session
// that fails on the way is closed like any other.
[[nodiscard]] runresult run(const sessionspec &spec, const tempfolder &folder,
                            mischief *by = nullptr);
[[nodiscard]] runresult run(const sessionspec &spec, const sessiondisk &disk,
                            mischief *by = nullptr);

} // namespace kvern::test

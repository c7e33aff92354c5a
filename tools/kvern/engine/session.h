// One session of the engine: opens it, passes data through, closes it whatever
// happens.  `detail` is looked at after every call, also where the result is 0.
//
// In this folder: all calls of the engine, who looks on (watch), details in words.  Left
// to others: whose fault a detail is in the user's terms (run/failures).  In order: a
// session of a description; put and endinput, get or step, key and keeps; close.
#pragma once

#include "kvern.h"
#include "kvern/engine/watch.h"
#include "kvern/syntax/condition.h"
#include "kvern/system/cleanup.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace command {

// A block with a count and trailing entries, in memory of its own.  `Entries`
// is the number of bytes before the first entry.
template <typename Block, typename Entry, size_t Front>
class tableblock {
  public:
    explicit tableblock(size_t count)
        : words((Front + count * sizeof(Entry) + sizeof(Block) + sizeof(uint64_t) - 1) /
                sizeof(uint64_t)) {
        get()->count = static_cast<uint32_t>(count);
    }
    Block *get() { return reinterpret_cast<Block *>(words.data()); }
    Block *operator->() { return get(); }

  private:
    std::vector<uint64_t> words;
};
using keyblock = tableblock<KVRNKEY, KVRNKEYE, offsetof(KVRNKEY, entry)>;
using sumblock = tableblock<KVRNSUM, KVRNSUME, offsetof(KVRNSUM, entry)>;
using selblock = tableblock<KVRNSEL, KVRNSELE, offsetof(KVRNSEL, entry)>;
using rcnblock = tableblock<KVRNRCN, KVRNRCNE, offsetof(KVRNRCN, entry)>;
using pathblock = tableblock<KVRNFLST, const char *, offsetof(KVRNFLST, path)>;

// What a session is opened with.
struct description {
    KVRNPRIM prim{};
    std::string separator; // empty: white space
    std::vector<KVRNKEYE> keys;
    std::vector<std::string> workdirs;
    std::vector<KVRNSUME> sums;
    std::vector<KVRNRCNE> pieces;
    conditiontable conditions;
    watch *watcher = nullptr; // may be null
};

// A call of the engine that failed, or ended with a detail.
struct enginefailure {
    const char *call;
    uint32_t detail;
    uint64_t syscode; // of the system, 0: none behind it
};

// Throws enginefailure, or `stopped` where the session was stopped.  That summing
// stopped is no failure of the session: the detail goes to `sumstop`, and the rest
// comes as it is.
class session {
  public:
    session(const description &what, uint32_t &sumstop);
    explicit session(const description &what) : session(what, unasked) {} // that takes none
    ~session();
    session(const session &) = delete;
    session &operator=(const session &) = delete;

    void put(const void *data, uint32_t length);
    void endinput();
    // False at the end of the data.
    bool get(const void **data, uint32_t *length);
    // One step of a merge with the command at both ends: what was wanted goes in, null
    // for the end of an input, and `data` is null where no record comes out.  False at
    // the end of the data.
    bool wantsinput() const { return sess.mergestat != KVRN_WANTS_NONE; }
    size_t wanted() const { return sess.inputno; }
    bool step(const char *input, size_t inputlength, const void **data, uint32_t *length);
    // The key of a record as it would be put, of which the session takes no notice; false:
    // the filter drops it.  It stands until the next call.
    bool key(std::string_view record);
    std::string_view lastkey() const { return probed; }
    size_t keybytes(); // of each
    // The filter keeps the record.
    bool keeps(std::string_view record);
    // Ends the session.  Without this call the destructor does so, silently.
    void close();

  private:
    KVRNLINK link{};
    KVRNPRIM prim;
    KVRNSESS sess{};
    bool open = false;
    uint32_t unasked = 0;
    uint32_t &sumstopped;
    watch *watcher;
    uint32_t unseen = 0;
    uint64_t untold = 0; // bytes that a merge took
    std::string probed;
    cleanup closing{closeopen, this};

    static void closeopen(void *self);
    void look(uint32_t work);
    void tellfed();
    void tellend();
    void check(const char *call, int result);
    [[noreturn]] void failprobe(const char *call);
};

} // namespace command

// Who looks on while sessions run: how far the run is, for a display on standard error, and
// how long each phase took.  Any thread may tell; looks come from the engine's hook and
// between calls, on the thread of their session.
#pragma once

#include "kvern.h"

#include <array>
#include <chrono>
#include <cstdint>
#include <map>
#include <mutex>
#include <string>

namespace command {

enum class showing : uint8_t { never, late, always }; // late: on a terminal, after a while

class watch {
  public:
    using clock = std::chrono::steady_clock;
    static constexpr size_t phases = KVRN_PHASE_DONE;

    // `passes`: of a sort 2, what comes in goes out once more; of all else 1.
    watch(showing mode, unsigned passes) : show(mode), turns(passes) {}
    ~watch();
    watch(const watch &) = delete;
    watch &operator=(const watch &) = delete;

    // Bytes of all inputs, 0: not known, from here on; what was looked at before the
    // sessions, and what was read for them.
    void expect(uint64_t bytes);
    void looked(uint64_t bytes);
    void fed(uint64_t bytes);

    void look(KVRNSESS *sess);
    // The session ends, as it was to or not; its counters stay.
    void finish(KVRNSESS *sess);
    // What was displayed goes.
    void clear();

    // Of all sessions, once they have ended.
    const KVRNSTAT &counters() const { return ended; }
    uint64_t bytesfed() const { return fedbytes; }
    double seconds(size_t phase) const;
    double elapsed() const;
    static const char *nameof(size_t phase);

  private:
    showing show;
    unsigned turns;
    std::mutex lock;
    clock::time_point begin = clock::now(), since = begin, shownat = begin;
    size_t current = KVRN_PHASE_OPENING;
    std::array<clock::duration, phases> times{};
    uint64_t inputbytes = 0, fedbytes = 0, lookedbytes = 0;
    size_t shownlength = 0;
    std::map<const KVRNSESS *, KVRNSTAT> open; // as they were last seen
    KVRNSTAT ended{};

    void enter(size_t phase, clock::time_point now);
    void reach(size_t phase, clock::time_point now);
    void display(clock::time_point now);
    void write(const std::string &text);
    std::string progress(clock::time_point now) const;
    double outshare() const;
};

} // namespace command

// Who looks on while a session runs: how far it is, for a display on standard error, and
// how long each phase took.  Looks come from the engine's hook and between calls.
#pragma once

#include "kvern.h"

#include <array>
#include <chrono>
#include <cstdint>
#include <string>

namespace command {

enum class showing : uint8_t { never, late, always }; // late: on a terminal, after a while

class watch {
  public:
    using clock = std::chrono::steady_clock;
    static constexpr size_t phases = 6; // KVRN_PHASE_

    explicit watch(showing mode) : show(mode) {}
    ~watch();
    watch(const watch &) = delete;
    watch &operator=(const watch &) = delete;

    // Bytes of all inputs, 0: not known; and what the command fed of them.
    void expect(uint64_t bytes) { inputbytes = bytes; }
    void fed(uint64_t bytes) { fedbytes += bytes; }

    // Of the sessions from here on, what they take is the run's input, what they deliver
    // its output.
    void count(bool input, bool output) {
        countsinput = input;
        countsoutput = output;
    }

    void look(KVRNSESS *sess);
    // The session ends; its counters are added to those of the ones before it.
    void finish(KVRNSESS *sess);
    // What was displayed goes.
    void clear();

    const KVRNSTAT &counters() const { return total; }
    double seconds(size_t phase) const;
    double elapsed() const;
    static const char *nameof(size_t phase);

  private:
    showing show;
    clock::time_point begin = clock::now(), since = begin, shownat = begin;
    size_t current = KVRN_PHASE_OPENING;
    std::array<clock::duration, phases> times{};
    uint64_t inputbytes = 0, fedbytes = 0;
    size_t shownlength = 0;
    bool countsinput = true, countsoutput = true;
    KVRNSTAT total{};

    void enter(size_t phase, clock::time_point now);
    void display(const KVRNSTAT &stat, clock::time_point now);
    int percent(const KVRNSTAT &stat) const;
};

} // namespace command

// Parts that several threads work at, each of which ends in its turn.
#pragma once

#include "kvern/records/part.h"
#include "kvern/system/failure.h"
#include "kvern/system/signals.h"
#include "kvern/system/team.h"

namespace command {

class turns {
  public:
    turns(team &all, partreader &reader) : crew(all), parts(reader) {}

    // On one thread of the team: with each part `work` is done, `end` when those ahead of
    // it were ended, and what is left by `after`.
    template <typename Work, typename End, typename After>
    void take(Work work, End end, After after) {
        part one;
        try {
            while (goeson() && parts.next(one)) {
                work(one);
                await(one.number);
                end(one);
                pass();
                after(one);
            }
        } catch (const abandoned &) {
            throw;
        } catch (...) {
            crew.fail(one.number);
            throw abandoned{};
        }
    }

  private:
    team &crew;
    partreader &parts;
    uint64_t next = 0;

    bool goeson() const {
        if (stopwanted())
            throw stopped{};
        const std::lock_guard<std::mutex> held(crew.lock);
        return !crew.failed();
    }
    void await(uint64_t number) {
        std::unique_lock<std::mutex> held(crew.lock);
        crew.await(held, [&] { return next == number; });
    }
    void pass() {
        const std::lock_guard<std::mutex> held(crew.lock);
        ++next;
        crew.changed();
    }
};

// More than any that matters where there are streams.
inline uint64_t bytesabout(const std::vector<inputsource> &sources) {
    uint64_t bytes = 0;
    for (const inputsource &source : sources)
        bytes += source.placed() ? source.size() : UINT32_MAX;
    return bytes;
}

// One thread is enough for small inputs.
inline unsigned threadsfor(const std::vector<inputsource> &sources, unsigned jobs) {
    constexpr uint64_t smallparts = 8;
    return bytesabout(sources) <= smallparts * partbytes ? 1 : jobs;
}

} // namespace command

// The output in order, from threads that are not: each writes to a lane of its own, and
// the lanes follow each other.  What comes waits in memory and is written by a thread that
// has to wait, where that memory is used up or it has nothing else to do; so the thread of
// the first lane can go on meanwhile.  A thread works at its lanes in their order.
#pragma once

#include "kvern/system/team.h"

#include <deque>
#include <functional>
#include <map>
#include <string>
#include <utility>

namespace command {

class lanes {
  public:
    // `to`: is called by one thread at a time, in order.
    using writer = std::function<void(const void *, size_t)>;
    lanes(team &all, writer to, size_t memory) : crew(all), out(std::move(to)), room(memory) {}

    void write(size_t lane, const void *data, size_t length);
    // Nothing more comes in it.
    void finish(size_t lane);
    // Of a thread that has finished its lanes: until so many are written.
    void rest(size_t all);
    // So much more may wait in memory.
    void grow(size_t bytes);

  private:
    struct waiting {
        std::deque<std::string> bytes;
        bool ended = false;
    };
    team &crew;
    writer out;
    size_t room, used = 0;
    size_t first = 0; // the lane that is written
    bool writing = false;
    size_t idle = 0; // threads that would write
    std::map<size_t, waiting> open;
    std::deque<std::string> spare; // memory that waited and is kept for what will wait

    bool canwrite();
    void keep(size_t lane, const void *data, size_t length);
    void pass(std::unique_lock<std::mutex> &held);
    template <typename Ready>
    void help(std::unique_lock<std::mutex> &held, Ready ready);
};

} // namespace command

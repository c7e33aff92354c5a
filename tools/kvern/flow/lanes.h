// The output in order, from threads that are not: each writes to a lane of its own, and
// the lanes follow each other.  What goes to the first open lane is written at once; what
// goes to one behind it waits in memory, and its thread waits where that is used up.  A
// thread works at its lanes in their order.
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
    // So much more may wait in memory.
    void grow(size_t bytes);

  private:
    using chunks = std::deque<std::string>;
    struct waiting {
        chunks bytes;
        bool ended = false;
    };
    team &crew;
    writer out;
    size_t room;      // that is left
    size_t first = 0; // the lane that is written
    std::map<size_t, waiting> behind;
    chunks spare; // memory that waited and is kept for what will wait

    chunks take(size_t lane);
    void pass(chunks &bytes);
};

} // namespace command

#include "kvern/flow/lanes.h"

#include <utility>

namespace command {

void lanes::write(size_t lane, const void *data, size_t length) {
    std::unique_lock<std::mutex> held(crew.lock);
    crew.await(held, [&] { return lane == first || length <= room; });
    if (lane != first) {
        room -= length;
        chunks &mine = behind[lane].bytes;
        if (spare.empty())
            spare.emplace_back();
        mine.push_back(std::move(spare.back()));
        spare.pop_back();
        mine.back().assign(static_cast<const char *>(data), length);
        return;
    }
    chunks ahead = take(lane);
    held.unlock();
    pass(ahead);
    out(data, length);
}

// What waits in the first lane, which no other thread looks at.
lanes::chunks lanes::take(size_t lane) {
    const auto found = behind.find(lane);
    return found == behind.end() ? chunks() : std::exchange(found->second.bytes, {});
}

void lanes::pass(chunks &bytes) {
    for (std::string &one : bytes) {
        out(one.data(), one.size());
        const std::lock_guard<std::mutex> held(crew.lock);
        room += one.size();
        spare.push_back(std::move(one));
        crew.changed();
    }
}

// The thread of the first lane writes what waits in those behind it that are ended too.
void lanes::finish(size_t lane) {
    std::unique_lock<std::mutex> held(crew.lock);
    behind[lane].ended = true;
    while (lane == first && behind[lane].ended) {
        chunks ahead = take(lane);
        held.unlock();
        pass(ahead);
        held.lock();
        behind.erase(lane);
        first = ++lane;
    }
    crew.changed();
}

void lanes::grow(size_t bytes) {
    const std::lock_guard<std::mutex> held(crew.lock);
    room += bytes;
    crew.changed();
}

} // namespace command

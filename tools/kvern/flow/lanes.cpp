#include "kvern/flow/lanes.h"

#include <utility>

namespace command {

namespace {

constexpr size_t firstwaits = 2; // pieces of the first lane, whatever the others hold

} // namespace

// Something waits in the first lane that is not empty and ended.
bool lanes::canwrite() {
    for (auto at = open.find(first); at != open.end(); at = open.find(first)) {
        if (writing || !at->second.bytes.empty())
            return !writing;
        if (!at->second.ended)
            return false;
        open.erase(at);
        ++first;
        crew.changed();
    }
    return false;
}

void lanes::pass(std::unique_lock<std::mutex> &held) {
    std::deque<std::string> &bytes = open[first].bytes;
    std::string one = std::move(bytes.front());
    bytes.pop_front();
    writing = true;
    held.unlock();
    out(one.data(), one.size());
    held.lock();
    writing = false;
    used -= one.size();
    spare.push_back(std::move(one));
    crew.changed();
}

// Writes what there is until that is so.
template <typename Ready>
void lanes::help(std::unique_lock<std::mutex> &held, Ready ready) {
    while (!ready()) {
        ++idle;
        crew.await(held, [&] { return canwrite() || ready(); });
        --idle;
        if (!ready())
            pass(held);
    }
}

void lanes::keep(size_t lane, const void *data, size_t length) {
    if (spare.empty())
        spare.emplace_back();
    spare.back().assign(static_cast<const char *>(data), length);
    open[lane].bytes.push_back(std::move(spare.back()));
    spare.pop_back();
    used += length;
}

void lanes::write(size_t lane, const void *data, size_t length) {
    if (crew.threads() == 1) {
        out(data, length);
        return;
    }
    std::unique_lock<std::mutex> held(crew.lock);
    help(held, [&] {
        return used + length <= room || (lane == first && open[lane].bytes.size() < firstwaits);
    });
    keep(lane, data, length);
    if (!canwrite())
        return;
    if (idle == 0)
        pass(held);
    else
        crew.changed();
}

void lanes::finish(size_t lane) {
    const std::lock_guard<std::mutex> held(crew.lock);
    open[lane].ended = true;
    crew.changed();
}

void lanes::rest(size_t all) {
    std::unique_lock<std::mutex> held(crew.lock);
    if (crew.threads() > 1)
        help(held, [&] { return first == all; });
}

void lanes::grow(size_t bytes) {
    const std::lock_guard<std::mutex> held(crew.lock);
    room += bytes;
    crew.changed();
}

} // namespace command

#include "kvern/flow/schedule.h"

namespace command {

// Sessions are dealt out to the threads in turn.
size_t schedule::firstwaiting(unsigned worker) const {
    for (size_t range = worker; range < queues.size(); range += crew.threads())
        if (!queues[range].empty())
            return range;
    return queues.size();
}

bool schedule::next(unsigned worker, task &out) {
    out = {};
    std::unique_lock<std::mutex> held(crew.lock);
    size_t range = 0;
    crew.await(held, [&] {
        range = firstwaiting(worker);
        return range < queues.size() || maytake() || (ended && routing == 0);
    });
    if (range < queues.size()) {
        out.put = queues[range].front();
        queues[range].pop_front();
        return true;
    }
    if (!maytake())
        return false;
    out.route = take();
    return true;
}

routedpart *schedule::take() {
    if (spare.empty()) {
        all.push_back(std::make_unique<routedpart>());
        spare.push_back(all.back().get());
    }
    routedpart *one = spare.back();
    spare.pop_back();
    ++routing;
    reading = true;
    return one;
}

void schedule::leave(routedpart &one) {
    spare.push_back(&one);
}

void schedule::putdone(const batch &one) {
    const std::lock_guard<std::mutex> held(crew.lock);
    if (--one.from->waiting != 0)
        return;
    leave(*one.from);
    crew.changed();
}

void schedule::readdone() {
    const std::lock_guard<std::mutex> held(crew.lock);
    reading = false;
    if (oneatatime)
        crew.changed();
}

void schedule::nomore(routedpart &one) {
    const std::lock_guard<std::mutex> held(crew.lock);
    ended = true;
    --routing;
    leave(one);
    crew.changed();
}

void schedule::routedone(routedpart &one) {
    const std::lock_guard<std::mutex> held(crew.lock);
    early.emplace(one.read.number, &one);
    for (auto next = early.begin(); next != early.end() && next->first == turn; ++turn) {
        handout(*next->second);
        next = early.erase(next);
    }
    --routing;
    crew.changed();
}

void schedule::handout(routedpart &one) {
    one.waiting = 0;
    for (size_t range = 0; range < queues.size(); ++range) {
        records[range] += one.records[range];
        bytes[range] += one.slices[range].size();
        if (one.slices[range].empty())
            continue;
        queues[range].push_back({&one, range});
        ++one.waiting;
    }
    if (one.waiting == 0)
        leave(one);
}

} // namespace command

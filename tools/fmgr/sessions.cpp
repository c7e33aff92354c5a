#include "sessions.h"

#include <atomic>

namespace fmgr {

namespace {

struct sessiontable {
    std::mutex busy;
    std::map<sessionvalue, std::shared_ptr<session>> sessions;
    sessionvalue last = 0;
};

sessiontable &table() {
    static sessiontable all;
    return all;
}

} // namespace

sessionvalue beginsession() {
    sessiontable &all = table();
    const std::lock_guard<std::mutex> lock(all.busy);
    do
        ++all.last;
    while (all.last == 0 || all.sessions.count(all.last) != 0);
    all.sessions.emplace(all.last, std::make_shared<session>());
    return all.last;
}

std::shared_ptr<session> findsession(sessionvalue value) {
    sessiontable &all = table();
    const std::lock_guard<std::mutex> lock(all.busy);
    const auto found = all.sessions.find(value);
    return found != all.sessions.end() ? found->second : nullptr;
}

bool failsession(sessionvalue value) {
    const std::shared_ptr<session> found = findsession(value);
    if (!found)
        return false;
    const std::lock_guard<std::mutex> lock(found->busy);
    found->failed = true;
    return true;
}

bool endsession(sessionvalue value) {
    sessiontable &all = table();
    std::shared_ptr<session> ended; // let go of outside the lock
    const std::lock_guard<std::mutex> lock(all.busy);
    const auto found = all.sessions.find(value);
    if (found == all.sessions.end())
        return false;
    ended = std::move(found->second);
    all.sessions.erase(found);
    return true;
}

uint64_t newhandle() {
    static std::atomic<uint64_t> last{0};
    return ++last;
}

} // namespace fmgr

#include "kvern/engine/watch.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace command {

namespace {

using namespace std::chrono_literals;

constexpr auto patience = 2s;    // a shorter run needs no display
constexpr auto interval = 200ms; // between two displays
constexpr double soon = 1;       // seconds that tell a rate

bool statof(KVRNSESS *sess, KVRNSTAT &stat) {
    stat = {};
    stat.size = sizeof stat;
    return kvrnstat(sess, &stat) == 0;
}

void add(KVRNSTAT &to, const KVRNSTAT &stat) {
    using counter = uint64_t KVRNSTAT::*;
    constexpr counter all[] = {&KVRNSTAT::taken,      &KVRNSTAT::rejected,  &KVRNSTAT::delivered,
                               &KVRNSTAT::suppressed, &KVRNSTAT::summed,    &KVRNSTAT::strings,
                               &KVRNSTAT::datablocks, &KVRNSTAT::spills,    &KVRNSTAT::tempfiles,
                               &KVRNSTAT::tempbytes,  &KVRNSTAT::tempreads, &KVRNSTAT::tempwrites};
    for (const counter member : all)
        to.*member += stat.*member;
}

// " 1:05:09 left"
std::string timeleft(double seconds) {
    const long whole = std::lround(seconds);
    char text[48];
    if (whole < 3600)
        std::snprintf(text, sizeof text, ", %ld:%02ld left", whole / 60, whole % 60);
    else
        std::snprintf(text, sizeof text, ", %ld:%02ld:%02ld left", whole / 3600, whole / 60 % 60,
                      whole % 60);
    return text;
}

// The phases of a run follow each other; where sessions are in different ones it is in the
// last of them.
constexpr bool follows(size_t phase, size_t current) {
    return phase > current && phase < KVRN_PHASE_DONE;
}

} // namespace

watch::~watch() {
    clear();
}

const char *watch::nameof(size_t phase) {
    constexpr const char *names[phases] = {"looking", "input", "ordering", "output", "passing"};
    return names[phase];
}

double watch::seconds(size_t phase) const {
    const clock::duration rest = phase == current ? clock::now() - since : 0s;
    return std::chrono::duration<double>(times[phase] + rest).count();
}

double watch::elapsed() const {
    return std::chrono::duration<double>(clock::now() - begin).count();
}

void watch::enter(size_t phase, clock::time_point now) {
    times[current] += now - since;
    since = now;
    current = phase;
}

void watch::reach(size_t phase, clock::time_point now) {
    if (follows(phase, current))
        enter(phase, now);
}

// A stream that was kept is looked at from its start.
void watch::expect(uint64_t bytes) {
    inputbytes = bytes;
    lookedbytes = 0;
    enter(current, clock::now());
}

void watch::looked(uint64_t bytes) {
    const clock::time_point now = clock::now();
    const std::lock_guard<std::mutex> held(lock);
    lookedbytes += bytes;
    display(now);
}

void watch::fed(uint64_t bytes) {
    const clock::time_point now = clock::now();
    const std::lock_guard<std::mutex> held(lock);
    fedbytes += bytes;
    reach(turns == 1 ? KVRN_PHASE_PASS : KVRN_PHASE_INPUT, now);
    display(now);
}

void watch::look(KVRNSESS *sess) {
    KVRNSTAT stat;
    if (!statof(sess, stat))
        return;
    const clock::time_point now = clock::now();
    const std::lock_guard<std::mutex> held(lock);
    open[sess] = stat;
    reach(stat.phase, now);
    display(now);
}

void watch::finish(KVRNSESS *sess) {
    KVRNSTAT stat;
    const bool known = statof(sess, stat);
    const std::lock_guard<std::mutex> held(lock);
    if (const auto found = open.find(sess); found != open.end()) {
        if (!known)
            stat = found->second;
        open.erase(found);
    }
    add(ended, stat);
}

// Of the records that came in, those that went out, or never will.
double watch::outshare() const {
    KVRNSTAT all = ended;
    for (const auto &one : open)
        add(all, one.second);
    const uint64_t gone = all.delivered + all.suppressed + all.summed;
    const uint64_t whole = std::max<uint64_t>(all.taken - std::min(all.taken, all.rejected), 1);
    return static_cast<double>(std::min(gone, whole)) / static_cast<double>(whole);
}

std::string watch::progress(clock::time_point now) const {
    std::string text = std::string("kvern: ") + nameof(current);
    const bool out = current == KVRN_PHASE_OUTPUT, known = out || inputbytes != 0;
    const bool ahead = current == KVRN_PHASE_OPENING;
    const double fed = static_cast<double>(ahead ? lookedbytes : fedbytes);
    if (fed == 0 || current == KVRN_PHASE_ORDER)
        return text;
    const double share = out     ? outshare()
                         : known ? std::min(fed / static_cast<double>(inputbytes), 1.0)
                                 : 0;
    const double passed = std::chrono::duration<double>(now - since).count();
    const double million = 1e6, bytes = out ? share * fed : fed;
    if (known)
        text += " " + std::to_string(static_cast<int>(share * 100)) + " %";
    else
        text += " " + std::to_string(static_cast<uint64_t>(fed / million)) + " MB";
    if (passed < soon)
        return text;
    text += ", " + std::to_string(static_cast<uint64_t>(bytes / million / passed)) + " MB/s";
    if (share <= 0 || ahead)
        return text;
    // What goes out takes about half the time that it takes to come in.
    const double more = !out && turns > 1 ? passed / share / 2 : 0;
    return text + timeleft(passed / share - passed + more);
}

void watch::display(clock::time_point now) {
    const bool due = show == showing::always || now - begin >= patience;
    if (show == showing::never || !due || (shownlength != 0 && now - shownat < interval))
        return;
    write(progress(now));
    shownat = now;
}

void watch::write(const std::string &text) {
    const std::string line =
        text + std::string(std::max(text.size(), shownlength) - text.size(), ' ');
    std::fputs(("\r" + line).c_str(), stderr);
    std::fflush(stderr);
    shownlength = text.size();
}

void watch::clear() {
    const std::lock_guard<std::mutex> held(lock);
    if (shownlength == 0)
        return;
    write("");
    std::fputs("\r", stderr);
}

} // namespace command

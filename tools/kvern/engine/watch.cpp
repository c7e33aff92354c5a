#include "kvern/engine/watch.h"

#include <algorithm>
#include <cstdio>
#include <initializer_list>

namespace command {

namespace {

using namespace std::chrono_literals;

constexpr auto patience = 2s;    // a shorter run needs no display
constexpr auto interval = 200ms; // between two displays
constexpr uint64_t notknown = 0;

bool statof(KVRNSESS *sess, KVRNSTAT &stat) {
    stat = {};
    stat.size = sizeof stat;
    return kvrnstat(sess, &stat) == 0;
}

int shareof(uint64_t part, uint64_t whole) {
    return whole == notknown ? -1 : static_cast<int>(std::min<uint64_t>(part, whole) * 100 / whole);
}

} // namespace

watch::~watch() {
    clear();
}

const char *watch::nameof(size_t phase) {
    constexpr const char *names[phases] = {"opening", "input",   "ordering",
                                           "output",  "passing", "closing"};
    return names[phase];
}

double watch::seconds(size_t phase) const {
    return std::chrono::duration<double>(times[phase]).count();
}

double watch::elapsed() const {
    return std::chrono::duration<double>(clock::now() - begin).count();
}

void watch::enter(size_t phase, clock::time_point now) {
    times[current] += now - since;
    since = now;
    current = std::min(phase, phases - 1);
}

void watch::look(KVRNSESS *sess) {
    KVRNSTAT stat;
    if (!statof(sess, stat))
        return;
    const clock::time_point now = clock::now();
    if (stat.phase != current)
        enter(stat.phase, now);
    const bool due = show == showing::always || now - begin >= patience;
    if (show != showing::never && due && (shownlength == 0 || now - shownat >= interval))
        display(stat, now);
}

void watch::finish(KVRNSESS *sess) {
    KVRNSTAT stat;
    if (!statof(sess, stat))
        return;
    enter(KVRN_PHASE_DONE, clock::now());
    using counter = uint64_t KVRNSTAT::*;
    const auto add = [&](std::initializer_list<counter> members) {
        for (const counter member : members)
            total.*member += stat.*member;
    };
    add({&KVRNSTAT::strings, &KVRNSTAT::datablocks, &KVRNSTAT::spills, &KVRNSTAT::tempfiles,
         &KVRNSTAT::tempbytes, &KVRNSTAT::tempreads, &KVRNSTAT::tempwrites});
    if (countsinput)
        add({&KVRNSTAT::taken, &KVRNSTAT::rejected, &KVRNSTAT::inbytes});
    if (countsoutput)
        add({&KVRNSTAT::delivered, &KVRNSTAT::suppressed, &KVRNSTAT::summed, &KVRNSTAT::outbytes});
}

int watch::percent(const KVRNSTAT &stat) const {
    switch (stat.phase) {
    case KVRN_PHASE_INPUT:
    case KVRN_PHASE_PASS:
        return shareof(std::max(fedbytes, total.inbytes + stat.inbytes), inputbytes);
    case KVRN_PHASE_OUTPUT:
        return shareof(stat.delivered + stat.suppressed + stat.summed, stat.taken - stat.rejected);
    default:
        return -1;
    }
}

void watch::display(const KVRNSTAT &stat, clock::time_point now) {
    std::string text = std::string("kvern: ") + nameof(current);
    if (const int share = percent(stat); share >= 0)
        text += " " + std::to_string(share) + " %";
    const size_t length = text.size();
    text.resize(std::max(length, shownlength), ' ');
    std::fputs(("\r" + text).c_str(), stderr);
    std::fflush(stderr);
    shownlength = length;
    shownat = now;
}

void watch::clear() {
    if (shownlength != 0)
        std::fputs(("\r" + std::string(shownlength, ' ') + "\r").c_str(), stderr);
    shownlength = 0;
}

} // namespace command

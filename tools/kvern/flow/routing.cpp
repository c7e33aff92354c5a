#include "kvern/flow/routing.h"

#include "kvern/flow/probing.h"

#include <cstring>

namespace command {

namespace {

constexpr uint16_t noone = UINT16_MAX; // takes a record that is left out

} // namespace

router::router(const flowjob &given, const partreader &reader, const keyranges &all, bool framed)
    : partworker(given, reader), ranges(all),
      prefix(plan.shape.kind == formkind::variable && !framed ? plan.shape.frame->prefix : 0),
      asitis(all.count() == 1 && prefix == 0 && !framed && !plan.form.dropshort) {
    if (ranges.count() > 1)
        probe.emplace(probing(plan));
}

void router::route(routedpart &one) {
    examine(one.read, [&] { choose(one); });
    settle(one);
    if (!asitis)
        scatter(one);
}

// Which range each record goes to.
void router::choose(routedpart &one) {
    targets.clear();
    one.slices.assign(ranges.count(), {});
    one.records.assign(ranges.count(), 0);
    const bool astheyare = !tested;
    if (asitis && astheyare) {
        if (plan.shape.kind == formkind::fixed)
            one.records[0] = one.read.filled / plan.shape.length;
        return;
    }
    walkrecords(plan.shape, one.read.bytes(), [&](std::string_view raw, std::string_view data) {
        uint16_t range = astheyare || pass(data) ? 0 : noone;
        if (probe && range != noone) {
            if (probe->key(givenof(plan, raw, data))) {
                range = static_cast<uint16_t>(ranges.find(probe->lastkey()));
            } else {
                ++dropped;
                range = noone;
            }
        }
        if (range != noone)
            ++one.records[range];
        if (!asitis)
            targets.push_back({range, static_cast<uint16_t>(raw.size())});
    });
}

// Where the records of each range begin.
void router::settle(routedpart &one) {
    if (asitis) {
        one.slices[0] = one.read.bytes();
        return;
    }
    const size_t more = prefix != 0 ? lengthword - prefix : 0;
    places.assign(ranges.count() + 1, 0);
    for (const target &its : targets)
        if (its.range != noone)
            places[its.range + size_t{1}] += its.length + more;
    for (size_t range = 0; range < ranges.count(); ++range)
        places[range + 1] += places[range];
    if (one.room.size() < places.back())
        one.room.resize(places.back());
    for (size_t range = 0; range < ranges.count(); ++range)
        one.slices[range] = {one.room.data() + places[range], places[range + 1] - places[range]};
}

void router::scatter(routedpart &one) {
    const char *from = one.read.bytes().data();
    for (const target &its : targets) {
        if (its.range != noone) {
            char *to = one.room.data() + places[its.range];
            const uint32_t length = its.length - prefix;
            if (prefix != 0) {
                std::memcpy(to, &length, lengthword);
                to += lengthword;
            }
            std::memcpy(to, from + prefix, length);
            places[its.range] += (prefix != 0 ? lengthword : 0) + size_t{length};
        }
        from += its.length;
    }
}

} // namespace command

#include "kvern/flow/delivery.h"

#include "kvern/flow/gathering.h"
#include "kvern/flow/jobsink.h"
#include "kvern/plan/reach.h"
#include "kvern/system/failure.h"

#include <algorithm>
#include <cstring>

namespace command {

namespace {

constexpr size_t aheadathread = size_t{256} << 10; // bytes of output that may wait
constexpr uint32_t lengthword = 4;                 // in front of a variable record in a block

} // namespace

delivery::delivery(const flowjob &given, team &crew)
    : job(given), plan(given.plan), sink(sinkof(given)),
      ordered(
          crew, [this](const void *data, size_t length) { put(data, length); },
          aheadathread * crew.threads()),
      placed(sizesknown()) {}

bool delivery::sizesknown() const {
    const bool folded = job.options.unique || !plan.sums.empty();
    const bool rebuilt = !plan.pieces.empty() && plan.shape.kind != formkind::fixed;
    return job.target->placeable() && !isblocked(job) && !folded && !rebuilt;
}

uint64_t delivery::outbytes(uint64_t records, uint64_t bytes) const {
    if (plan.shape.kind == formkind::variable)
        return bytes - records * lengthword + records * plan.shape.frame->prefix;
    if (plan.shape.kind == formkind::fixed && !plan.pieces.empty())
        return records * rebuiltlength(plan);
    return bytes;
}

void delivery::begin(const std::vector<uint64_t> &records, const std::vector<uint64_t> &bytes) {
    // Several ranges hold what the filter takes; a session by itself has still to ask it.
    placed = placed && (records.size() > 1 || plan.engine.conditions.entries.empty());
    if (!placed) {
        sink.write(job.header.data(), job.header.size());
        return;
    }
    job.target->writeat(0, job.header.data(), job.header.size());
    places.assign(1, job.header.size());
    for (size_t range = 0; range < records.size(); ++range)
        places.push_back(places.back() + outbytes(records[range], bytes[range]));
}

// In order: framed already, but for blocks.
void delivery::put(const void *data, size_t length) {
    if (isblocked(job))
        sink.putframed({static_cast<const char *>(data), length});
    else
        job.target->append(data, length);
}

void delivery::drain(session &engine, size_t range, const std::function<void()> &look) {
    if (placed) {
        drainplaced(engine, range, look);
        return;
    }
    pump(
        engine, [&](const void *data, size_t length) { ordered.write(range, data, length); }, look);
    ordered.finish(range);
}

void delivery::drainplaced(session &engine, size_t range, const std::function<void()> &look) {
    uint64_t place = places[range];
    pump(
        engine,
        [&](const void *data, size_t length) {
            if (length > places[range + 1] - place)
                throw failure{ending::internal, "a session gives more than it took", ""};
            job.target->writeat(place, data, length);
            place += length;
        },
        look);
    if (place != places[range + 1])
        throw failure{ending::internal, "a session gives less than it took", ""};
}

// What goes to a writer are whole records.
void delivery::pump(session &engine, const std::function<void(const void *, size_t)> &to,
                    const std::function<void()> &look) const {
    gathering out(to);
    const void *data;
    uint32_t length;
    std::string framed;
    while (engine.get(&data, &length)) {
        look();
        if (plan.shape.kind != formkind::variable) {
            out.write(data, length);
            continue;
        }
        auto from = static_cast<const char *>(data);
        for (const char *end = from + length; from < end;) {
            uint32_t bytes;
            std::memcpy(&bytes, from, lengthword);
            framed.clear();
            addprefix(*plan.shape.frame, bytes, framed);
            framed.append(from + lengthword, bytes);
            out.write(framed.data(), framed.size());
            from += lengthword + bytes;
        }
    }
    look();
    out.flush();
}

void delivery::finish() {
    if (!placed)
        sink.finish();
}

} // namespace command

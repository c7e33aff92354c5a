#include "kvern/flow/delivery.h"

#include "kvern/flow/jobsink.h"
#include "kvern/system/failure.h"

namespace command {

namespace {

constexpr size_t aheadathread = size_t{256} << 10; // bytes of output that may wait

bool keepssizes(const flowjob &job) {
    const jobplan &plan = job.plan;
    const bool folded = job.options.unique || !plan.sums.empty();
    const bool rebuilt = !plan.pieces.empty() && plan.shape.kind != formkind::fixed;
    return !plan.shape.blocked() && !folded && !rebuilt;
}

} // namespace

delivery::delivery(const flowjob &given, team &crew)
    : job(given), sink(sinkof(given)),
      ordered(
          crew,
          [this](const void *data, size_t length) {
              if (job.plan.shape.blocked())
                  sink.putframed({static_cast<const char *>(data), length});
              else
                  job.target->append(data, length);
          },
          aheadathread * crew.threads()),
      placed(job.target->placeable() && keepssizes(job)) {}

void delivery::begin(const std::vector<uint64_t> &sizes) {
    placed = placed && !sizes.empty();
    if (!placed) {
        sink.write(job.header.data(), job.header.size());
        return;
    }
    job.target->writeat(0, job.header.data(), job.header.size());
    places.assign(1, job.header.size());
    for (const uint64_t bytes : sizes)
        places.push_back(places.back() + bytes);
}

void delivery::put(size_t range, const filler &fill) {
    if (placed) {
        putplaced(range, fill);
        return;
    }
    gathering out([&](const void *data, size_t length) { ordered.write(range, data, length); });
    fill(out);
    out.flush();
    ordered.finish(range);
}

void delivery::putplaced(size_t range, const filler &fill) {
    uint64_t place = places[range];
    const uint64_t end = places[range + 1];
    gathering out([&](const void *data, size_t length) {
        if (length > end - place)
            throw failure{ending::internal, "a session gives more than it took", ""};
        job.target->writeat(place, data, length);
        place += length;
    });
    fill(out);
    out.flush();
    if (place != end)
        throw failure{ending::internal, "a session gives less than it took", ""};
}

void delivery::finish() {
    if (!placed)
        sink.finish();
}

} // namespace command

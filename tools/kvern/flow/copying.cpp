// A copy, part by part: bytes that nobody looks at, records that the filter keeps, records
// that are rebuilt.  The parts follow each other in the output, into a regular file by
// several threads at once.
#include "kvern/flow/jobsink.h"
#include "kvern/flow/parttests.h"
#include "kvern/flow/probing.h"
#include "kvern/flow/rebuilding.h"
#include "kvern/flow/turns.h"

#include <memory>
#include <optional>

namespace command {

namespace {

// What becomes of the records of a part, by one thread.
class partcopy {
  public:
    partcopy(const flowjob &given, const partreader &reader)
        : job(given), plan(given.plan), parts(reader), tests(given.plan, given.sources) {
        if (!plan.pieces.empty())
            shape.emplace(plan);
        else if (job.options.wheregiven)
            filter.emplace(probing(plan), unused);
    }

    // The records that go out; they stand until the next part.
    std::string_view take(part &one) {
        withnumbers(one, parts, [&] { choose(one); });
        if (one.trouble)
            std::rethrow_exception(one.trouble);
        dropped += records - kept;
        taken += kept;
        return out;
    }
    void tell(tallies &counts) const {
        counts.shorts += tests.shorts();
        counts.dropped += dropped;
        counts.taken += taken;
    }

  private:
    const flowjob &job;
    const jobplan &plan;
    const partreader &parts;
    parttests tests;
    uint32_t unused = 0;
    std::optional<session> filter;
    std::optional<rebuilder> shape;
    std::vector<char> room;
    std::string_view out;
    uint64_t records = 0, kept = 0; // of the part, short ones aside
    uint64_t dropped = 0, taken = 0;

    void choose(const part &one) {
        const bool tested = !tests.begin(one);
        records = kept = 0;
        if (shape)
            rebuild(one, tested);
        else if (filter && plan.view.text)
            sift(one, tested,
                 [this](std::string_view raw, std::string_view) { return filter->keeps(raw); });
        else if (filter)
            sift(one, tested,
                 [this](std::string_view, std::string_view data) { return filter->keeps(data); });
        else if (tested && plan.shape.kind == formkind::fixed)
            pass(one);
        else
            sift(one, tested, [](std::string_view, std::string_view) { return true; });
    }
    void pass(const part &one) {
        out = one.bytes();
        records = kept = out.size() / plan.shape.length;
    }
    template <typename Keep>
    void sift(const part &one, bool tested, Keep keep) {
        if (tested)
            siftruns(one, keep);
        else
            siftruns(one, [&](std::string_view raw, std::string_view data) {
                if (tests.pass(data))
                    return keep(raw, data);
                --records;
                return false;
            });
    }
    // Records that are kept and follow each other are copied in one.
    template <typename Keep>
    void siftruns(const part &one, Keep keep) {
        const char *from = one.bytes().data(), *to = from; // the run so far
        size_t filled = 0;
        if (room.size() < one.filled)
            room.resize(one.filled);
        const auto endrun = [&](const char *next) {
            std::copy(from, to, room.data() + filled);
            filled += static_cast<size_t>(to - from);
            from = to = next;
        };
        walkrecords(plan.shape, one.bytes(), [&](std::string_view raw, std::string_view data) {
            ++records;
            if (!keep(raw, data))
                return;
            if (raw.data() != to)
                endrun(raw.data());
            to += raw.size();
            ++kept;
        });
        if (from == one.bytes().data()) { // all of the part, or its beginning
            out = {from, static_cast<size_t>(to - from)};
            return;
        }
        endrun(to);
        out = {room.data(), filled};
    }
    void rebuild(const part &one, bool tested) {
        shape->start();
        walkrecords(plan.shape, one.bytes(), [&](std::string_view raw, std::string_view data) {
            if (!tested && !tests.pass(data))
                return;
            ++records;
            shape->take(raw, data);
        });
        out = shape->finish();
        kept = shape->records();
    }
};

class copier {
  public:
    explicit copier(const flowjob &given)
        : job(given), parts(given.sources, {given.plan.shape, given.plan.form.dropshort}),
          crew(threadsfor(given.sources, given.storage.jobs)), order(crew, parts),
          sink(sinkof(given)), placed(job.target->placeable() && !isblocked(job)) {}

    void run() {
        if (placed)
            job.target->writeat(0, job.header.data(), job.header.size());
        else
            sink.write(job.header.data(), job.header.size());
        end = job.header.size();
        crew.run([this](unsigned) { work(); });
        job.counts.shorts += parts.torn();
        sink.finish();
    }

  private:
    const flowjob &job;
    partreader parts;
    team crew;
    turns order;
    recordsink sink;
    bool placed;
    uint64_t end = 0; // of what has its place

    void work() {
        partcopy records(job, parts);
        const atlast told(crew, [&] { records.tell(job.counts); });
        std::string_view out;
        uint64_t place = 0;
        order.take(
            [&](part &one) {
                out = records.take(one);
                job.seen.fed(one.filled);
            },
            [&](const part &) {
                place = end;
                end += out.size();
                if (!placed)
                    write(out);
            },
            [&](const part &) {
                if (placed)
                    job.target->writeat(place, out.data(), out.size());
            });
    }
    void write(std::string_view bytes) {
        if (isblocked(job))
            sink.putframed(bytes);
        else
            job.target->write(bytes.data(), bytes.size());
    }
};

} // namespace

void copyrecords(const flowjob &job) {
    copier(job).run();
}

} // namespace command

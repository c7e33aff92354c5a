// A copy, part by part: bytes that nobody looks at, records that the filter keeps, records
// that are rebuilt.  The parts follow each other in the output, into a regular file by
// several threads at once.
#include "kvern/flow/jobsink.h"
#include "kvern/flow/partflow.h"
#include "kvern/flow/partworker.h"
#include "kvern/flow/probing.h"
#include "kvern/flow/rebuilding.h"

#include <memory>
#include <optional>

namespace command {

namespace {

struct copyoutput {
    recordsink sink; // in order
    bool placed;     // into a regular output, by all threads
    uint64_t end;    // of what has its place
};

class partcopy : public partworker {
  public:
    partcopy(const flowjob &given, const partreader &reader, copyoutput &outputs)
        : partworker(given, reader), output(outputs) {
        if (!plan.pieces.empty())
            shape.emplace(plan);
        else if (job.options.wheregiven)
            filter.emplace(probing(plan));
    }

    void take(part &one) {
        examine(one, [&] { choose(one); });
        dropped += records - kept;
        taken += kept;
    }
    void end(const part &) {
        place = output.end;
        output.end += out.size();
        if (!output.placed)
            output.sink.putframed(out);
    }
    void after() {
        if (output.placed)
            job.target->writeat(place, out.data(), out.size());
    }

  private:
    copyoutput &output;
    std::optional<session> filter;
    std::optional<rebuilder> shape;
    std::vector<char> room;
    std::string_view out;           // the records that go out
    uint64_t place = 0;             // of them
    uint64_t records = 0, kept = 0; // of the part, short ones aside

    void choose(const part &one) {
        records = kept = 0;
        if (shape)
            rebuild(one);
        else if (filter && plan.view.text)
            sift(one,
                 [this](std::string_view raw, std::string_view) { return filter->keeps(raw); });
        else if (filter)
            sift(one,
                 [this](std::string_view, std::string_view data) { return filter->keeps(data); });
        else if (!tested && plan.shape.kind == formkind::fixed)
            passall(one);
        else
            sift(one, [](std::string_view, std::string_view) { return true; });
    }
    void passall(const part &one) {
        out = one.bytes();
        records = kept = out.size() / plan.shape.length;
    }
    template <typename Keep>
    void sift(const part &one, Keep keep) {
        if (!tested)
            siftruns(one, keep);
        else
            siftruns(one, [&](std::string_view raw, std::string_view data) {
                if (pass(data))
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
    void rebuild(const part &one) {
        shape->start();
        walkrecords(plan.shape, one.bytes(), [&](std::string_view raw, std::string_view data) {
            if (tested && !pass(data))
                return;
            ++records;
            shape->take(raw, data);
        });
        out = shape->finish();
        kept = shape->records();
    }
};

} // namespace

void copyrecords(const flowjob &job) {
    copyoutput out{sinkof(job), job.target->placeable() && !job.plan.shape.blocked(),
                   job.header.size()};
    if (out.placed)
        job.target->writeat(0, job.header.data(), job.header.size());
    else
        out.sink.write(job.header.data(), job.header.size());
    partflow<partcopy, copyoutput>(job, out).run();
    out.sink.finish();
}

} // namespace command

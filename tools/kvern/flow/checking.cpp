// Whether an input is in order, part by part: each record against the one ahead, and the
// first key of each part against the last one of the parts ahead of it.
#include "kvern/flow/flowjob.h"
#include "kvern/flow/parttests.h"
#include "kvern/flow/probing.h"
#include "kvern/flow/turns.h"

#include <string>
#include <utility>

namespace command {

namespace {

// Where a record stands that is told.
struct recordplace {
    uint64_t number = 0; // in its input, from 1
    uint64_t offset = 0;
};

class partcheck {
  public:
    partcheck(const flowjob &given, const partreader &reader)
        : job(given), plan(given.plan), parts(reader), tests(plan, given.sources),
          probe(probing(plan), unused) {}

    // What is wrong within the part is thrown by end().
    void take(part &one) {
        trouble = nullptr;
        try {
            withnumbers(one, parts, [&] { walk(one); });
            trouble = one.trouble;
        } catch (...) {
            trouble = std::current_exception();
        }
    }
    // `ahead`: the last key ahead of the part, and then of it.
    void end(part &one, std::string &ahead, bool &any) {
        if (found && any)
            compare(one, ahead, first, firstplace);
        if (trouble)
            std::rethrow_exception(trouble);
        if (found)
            ahead.swap(last);
        any = any || found;
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
    session probe;
    bool found = false; // a record that is kept
    std::string first, last;
    recordplace firstplace;
    std::exception_ptr trouble;
    uint64_t taken = 0, dropped = 0;

    void walk(part &one) {
        const bool tested = !tests.begin(one);
        found = false;
        recordplace at{one.first, job.sources[one.source].skipped() + one.offset};
        walkrecords(plan.shape, one.bytes(), [&](std::string_view raw, std::string_view data) {
            ++at.number;
            if (tested || tests.pass(data))
                look(one, givenof(plan, raw, data), at);
            at.offset += raw.size();
        });
    }
    void look(part &one, std::string_view record, const recordplace &at) {
        if (!probe.key(record)) {
            ++dropped;
            return;
        }
        ++taken;
        if (found) {
            compare(one, last, probe.lastkey(), at);
        } else {
            first.assign(probe.lastkey());
            firstplace = at;
            found = true;
        }
        last.assign(probe.lastkey());
    }

    void compare(part &one, std::string_view ahead, std::string_view key, const recordplace &at) {
        const int against = ahead.compare(key);
        if (against < 0 || (against == 0 && !job.options.unique))
            return;
        const uint64_t number = at.number - one.first + parts.count(one);
        const std::string which = plan.shape.word() + (" " + std::to_string(number)) + " of " +
                                  job.sources[one.source].name() + " (offset " +
                                  std::to_string(at.offset) + ")";
        if (against > 0)
            throw failure{ending::notinorder, which + " sorts before the one ahead of it", "", 40,
                          KVRN_D_ORDER};
        throw failure{ending::notinorder, which + " has the key of the one ahead of it", ""};
    }
};

class checker {
  public:
    explicit checker(const flowjob &given)
        : job(given), parts(given.sources, {given.plan.shape, given.plan.form.dropshort}),
          crew(threadsfor(given.sources, given.storage.jobs)), order(crew, parts) {}

    void run() {
        crew.run([this](unsigned) { work(); });
        job.counts.shorts += parts.torn();
    }

  private:
    const flowjob &job;
    partreader parts;
    team crew;
    turns order;
    std::string ahead; // the last key of what was ended
    bool any = false;  // there is one

    void work() {
        partcheck records(job, parts);
        const atlast told(crew, [&] { records.tell(job.counts); });
        order.take(
            [&](part &one) {
                records.take(one);
                job.seen.fed(one.filled);
            },
            [&](part &one) { records.end(one, ahead, any); }, [](const part &) {});
    }
};

} // namespace

void checkrecords(const flowjob &job) {
    checker(job).run();
}

} // namespace command

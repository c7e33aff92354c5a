// Whether an input is in order, part by part: each record against the one ahead, and the
// first key of each part against the last one of the parts ahead of it.
#include "kvern/flow/partflow.h"
#include "kvern/flow/partworker.h"
#include "kvern/flow/probing.h"

#include <string>
#include <utility>

namespace command {

namespace {

// Where a record stands that is told.
struct recordplace {
    uint64_t number = 0; // in its input, from 1
    uint64_t offset = 0;
};

struct lastkey { // ahead of all that is still to be ended
    std::string key;
    bool any = false;
};

class partcheck : public partworker {
  public:
    partcheck(const flowjob &given, const partreader &reader, lastkey &before)
        : partworker(given, reader), ahead(before), probe(probing(plan)) {}

    // What is wrong within the part is thrown by end().
    void take(part &one) {
        trouble = nullptr;
        try {
            examine(one, [&] { walk(one); });
        } catch (...) {
            trouble = std::current_exception();
        }
    }
    void end(part &one) {
        if (found && ahead.any)
            compare(one, ahead.key, first, firstplace);
        if (trouble)
            std::rethrow_exception(trouble);
        if (found)
            ahead.key.swap(last);
        ahead.any = ahead.any || found;
    }
    void after() {}

  private:
    lastkey &ahead;
    session probe;
    bool found = false; // a record that is kept
    std::string first, last;
    recordplace firstplace;
    std::exception_ptr trouble;

    void walk(part &one) {
        const bool astheyare = !tested;
        found = false;
        recordplace at{one.first, job.sources[one.source].skipped() + one.offset};
        walkrecords(plan.shape, one.bytes(), [&](std::string_view raw, std::string_view data) {
            ++at.number;
            if (astheyare || pass(data))
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

    void compare(part &one, std::string_view before, std::string_view key, const recordplace &at) {
        const int against = before.compare(key);
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

} // namespace

void checkrecords(const flowjob &job) {
    lastkey none;
    partflow<partcheck, lastkey>(job, none).run();
}

} // namespace command

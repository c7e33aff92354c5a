// What every record of a part is tested for ahead of a session, by one thread.
#pragma once

#include "kvern/plan/jobplan.h"
#include "kvern/records/part.h"
#include "kvern/system/failure.h"

#include <string_view>
#include <utility>
#include <vector>

namespace command {

class parttests {
  public:
    parttests(const jobplan &plan, const std::vector<inputsource> &inputs)
        : shape(plan.shape), needed(plan.teststaken()), sources(inputs), scanner(plan.form) {}

    // False: the part needs none.
    bool begin(const part &one) {
        source = &sources[one.source];
        scanner.startsource(*source);
        scanner.behind(one.first - source->skippedrecords());
        return needed;
    }
    // False: it is left out for being short.
    bool pass(std::string_view data) {
        checkfeeds(shape, data, scanner.linenumber() + 1, *source);
        return scanner.line(data);
    }
    uint64_t shorts() const { return scanner.shorts(); }

  private:
    const recordshape &shape;
    bool needed;
    const std::vector<inputsource> &sources;
    textscanner scanner;
    const inputsource *source = nullptr;
};

// Where the work finds a fault in a part whose records were not counted it is done once
// more, to tell the record by its number.
template <typename Work>
void withnumbers(part &one, const partreader &reader, Work work) {
    try {
        work();
    } catch (const failure &) {
        if (one.counted)
            throw;
        one.first = reader.count(one);
        one.counted = true;
        work();
        throw;
    }
}

} // namespace command

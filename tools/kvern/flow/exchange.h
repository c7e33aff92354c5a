// A merge with the command at both ends: it brings the record that is asked for, and has
// the records that come out.
#pragma once

#include "kvern/engine/session.h"
#include "kvern/plan/jobplan.h"
#include "kvern/records/recordintake.h"

#include <string>
#include <string_view>
#include <vector>

namespace command {

class exchange {
  public:
    // `looker`: is told of what was read; may be null.
    exchange(session &merge, const jobplan &planned, std::vector<recordintake> &inputs,
             watch *looker)
        : engine(merge), plan(planned), intakes(inputs), seen(looker),
          end(endbytes(planned.shape.end)), otherend(planned.view.text && planned.lineput != end) {}

    // The next record that comes out, a line with its end; false: that was all.  Throws
    // what is wrong with an input, out of order too, with the number of its record.
    bool next(std::string_view &record);

  private:
    session &engine;
    const jobplan &plan;
    std::vector<recordintake> &intakes;
    watch *seen;
    uint64_t untold = 0; // bytes
    std::string_view end;
    bool otherend; // lines end in another byte in the session
    std::string brought, given;

    void tell();
    std::string_view fetch(size_t input);
    std::string_view withend(const recordreader &record);
};

} // namespace command

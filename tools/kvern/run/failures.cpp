#include "kvern/run/failures.h"

#include "kvern/engine/details.h"

namespace command {

failure translate(const enginefailure &what, const joboptions &options,
                  const std::vector<inputsource> &sources) {
    const explanation known = explain(what.detail, what.syscode);
    std::string where;
    if (known.where == side::input)
        where = sources.size() == 1 ? sources.front().name() : "an input";
    if (known.where == side::output)
        where = options.tofile() ? options.output : "the output";
    return {known.code, where.empty() ? known.what : where + ": " + known.what, known.advice,
            known.message, what.detail};
}

failure sumfailure(uint32_t detail, const joboptions &options, bool lost) {
    const explanation known = explain(detail);
    failure out{ending::data, known.what, "widen the field, or give --on-overflow warn",
                known.message, detail};
    if (detail == KVRN_D_SUMMISSING)
        out.advice = options.variable != 0
                         ? "records are 4 bytes longer than the last sum needs, or --short drop"
                         : "leave such records out with --short drop";
    if (lost) {
        out.advice = "the record at which it stopped is lost; widen the field";
    } else if (options.warnoverflow) {
        out.code = ending::sumstopped;
        out.advice = "the records behind it are not summed";
    }
    return out;
}

} // namespace command

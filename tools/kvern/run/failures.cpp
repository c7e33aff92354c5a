#include "kvern/run/failures.h"

#include "kvern/engine/details.h"
#include "kvern/plan/firstlook.h"
#include "kvern/run/feeding.h"

#include <algorithm>

namespace command {

namespace {

bool isofline(uint32_t detail) {
    constexpr uint32_t details[] = {KVRN_D_RECLEN,    KVRN_D_NOKEYFIELD, KVRN_D_NODELIMITER,
                                    KVRN_D_READ,      KVRN_D_NOSELFIELD, KVRN_D_NORCNFIELD,
                                    KVRN_D_SUMMISSING};
    return std::find(std::begin(details), std::end(details), detail) != std::end(details);
}

// A merge of each input by itself finds the record that is out of order; throws it.
void findunordered(const jobplan &plan, std::vector<inputsource> &sources) {
    jobplan one = plan;
    one.kind = jobkind::check;
    one.engine.infiles.clear();
    one.engine.outfile.clear();
    one.engine.prim.options &= static_cast<uint8_t>(~(KVRN_SUM | KVRN_SUPPRESS));
    one.engine.sums.clear();
    one.engine.prim.mergecnt = 1;
    one.engine.prim.recoprat = KVRN_PUT_RECORD | KVRN_GET_RECORD;
    if (one.view.text && one.shape.end == lineend::crlf)
        one.engine.prim.linedlmt = KVRN_DLMT_LF;
    for (inputsource &source : sources) {
        std::vector<inputsource> single;
        single.push_back(std::move(source));
        single.front().rewind();
        uint32_t sumstop = 0;
        tally unused;
        session engine(one.engine, sumstop);
        exchange(
            engine, single, one, nullptr, [] {}, unused);
        engine.close();
    }
}

} // namespace

failure translate(const enginefailure &what, const joboptions &options, const jobplan &plan,
                  std::vector<inputsource> &sources) {
    // The lines are looked at only now where the options made that unnecessary; a fault
    // found there says more than the engine's code.
    if (isofline(what.detail) && plan.view.text && plan.byfile && !plan.scanned) {
        for (inputsource &source : sources)
            source.rewind();
        textscanner scanner(plan.form);
        scanfiles(plan.shape, sources, scanner);
    }
    const explanation known = explain(what.detail, what.syscode);
    std::string where;
    if (known.where == side::input)
        where = sources.size() == 1 ? sources.front().name() : "an input";
    if (known.where == side::output)
        where = options.tofile() ? options.output : "the output";
    if (what.detail == KVRN_D_ORDER && plan.byfile) {
        try {
            findunordered(plan, sources);
        } catch (failure &found) {
            if (plan.kind == jobkind::merge)
                found.advice = orderadvice;
            throw;
        } catch (const enginefailure &) {
            // then without its number
        }
    }
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

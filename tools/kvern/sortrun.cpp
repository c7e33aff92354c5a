#include "sortrun.h"

#include "details.h"
#include "plan.h"
#include "report.h"

#include <algorithm>

namespace command {

namespace {

// About this much passes in one call.
constexpr uint32_t blockbytes = 256u << 10;

void feedfixed(session &engine, inputsource &source, uint32_t reclen) {
    std::vector<char> block(size_t{std::max(blockbytes / reclen, 1u)} * reclen);
    uint64_t records = 0;
    for (bool atend = false; !atend;) {
        size_t filled = 0;
        while (filled < block.size() && !atend) {
            const size_t count = source.read(block.data() + filled, block.size() - filled);
            filled += count;
            atend = count == 0;
        }
        records += filled / reclen;
        if (filled % reclen != 0)
            throw failure{ending::data,
                          source.name() + " ends inside record " + std::to_string(records + 1) +
                              ", after " + std::to_string(filled % reclen) + " of " +
                              plural(reclen, "byte"),
                          "look at --fixed"};
        if (filled > 0)
            engine.put(block.data(), static_cast<uint32_t>(filled));
    }
}

// One line a call: the engine takes a line that ends in one byte as a record,
// and one that ends in CR LF as a block of its own.
void feedtext(session &engine, inputsource &source, const textform &form, textscanner &scanner) {
    const size_t endlength = endbytes(form.end).size();
    scanner.startsource(source.name());
    eachline(source, form.end, false, [&](std::string_view text) {
        scanner.line(text);
        // A block is measured up to its end or a zero byte.
        if (form.end == lineend::crlf && text.find('\0') != std::string_view::npos)
            throw failure{ending::data,
                          "line " + std::to_string(scanner.linenumber()) + " of " + source.name() +
                              " holds a zero byte",
                          "lines with CR LF and zero bytes can be sorted from files only"};
        engine.put(text.data(), static_cast<uint32_t>(text.size() + endlength));
    });
}

void feed(session &engine, std::vector<inputsource> &sources, const sortplan &plan) {
    textscanner scanner(plan.form);
    for (inputsource &source : sources)
        if (plan.text)
            feedtext(engine, source, plan.form, scanner);
        else
            feedfixed(engine, source, plan.engine.prim.reclen);
    engine.endinput();
}

void draw(session &engine) {
    const void *data;
    uint32_t length;
    while (engine.get(&data, &length))
        writeoutput(data, length);
}

// The lines are looked at only now where the options made that unnecessary; a
// fault found there says more than the engine's code.
failure translate(const enginefailure &what, const sortplan &plan,
                  std::vector<inputsource> &sources) {
    const bool ofline = what.detail == KVRN_D_RECLEN || what.detail == KVRN_D_NOKEYFIELD ||
                        what.detail == KVRN_D_NODELIMITER || what.detail == KVRN_D_READ;
    if (ofline && plan.text && plan.byfile && !plan.scanned) {
        textscanner scanner(plan.form);
        scanfiles(plan, sources, scanner);
    }
    const explanation known = explain(what.detail);
    std::string where;
    if (known.where == side::input)
        where = sources.size() == 1 ? sources.front().name() : "an input";
    if (known.where == side::output)
        where = plan.engine.outfile.empty() ? "the output" : plan.engine.outfile;
    return {known.code, where.empty() ? known.what : where + ": " + known.what, known.advice,
            known.message, what.detail};
}

} // namespace

void runsort(const sortoptions &options) {
    checkoptions(options);
    std::vector<inputsource> sources = opensources(options.inputs);
    const sortplan plan = plansort(options, sources);
    try {
        session engine(plan.engine);
        if (!plan.byfile)
            feed(engine, sources, plan);
        if (plan.engine.outfile.empty())
            draw(engine);
        engine.close();
    } catch (const enginefailure &what) {
        throw translate(what, plan, sources);
    }
}

} // namespace command

#include "kvern/plan/plan.h"

#include "kvern/plan/firstlook.h"
#include "kvern/plan/plantext.h"
#include "kvern/plan/reach.h"
#include "kvern/plan/storage.h"
#include "kvern/records/recordreader.h"
#include "kvern/system/report.h"
#include "kvern/system/workplaces.h"

#include <algorithm>

namespace command {

namespace {

recordview viewof(const joboptions &options) {
    recordview view;
    view.text = options.istext();
    view.byfield = view.text && !options.columns;
    view.whitespace = view.byfield && !options.separatorgiven;
    view.cdmode = options.data == "ebcdic"       ? KVRN_CD_EBCDIC
                  : options.zoned == "zone7"     ? KVRN_CD_ZONE7
                  : options.zoned == "overpunch" ? KVRN_CD_OVERPUNCH
                                                 : KVRN_CD_ZONE5;
    return view;
}

std::vector<keyspec> parsekeys(const joboptions &options, const recordview &view,
                               const layout &names) {
    const keydefaults defaults{view, options.reverse, options.textoption};
    std::vector<keyspec> keys;
    for (const std::string &text : options.keys) {
        const size_t number = keys.size() + 1;
        keys.push_back(
            parsekey(names.expand("key " + std::to_string(number), text), number, defaults));
    }
    return keys;
}

// What is the same for all record forms.
KVRNPRIM primary(const joboptions &options) {
    const bool rebuilding = options.kind == jobkind::copy && options.rebuildgiven;
    KVRNPRIM prim{};
    prim.function = KVRN_SORT;
    int bits = 0;
    if (rebuilding || (options.stable && options.kind == jobkind::sort))
        bits |= KVRN_KEEPORDER;
    if (options.unique)
        bits |= KVRN_SUPPRESS;
    if (!options.sums.empty())
        bits |= KVRN_SUM;
    if (options.wheregiven)
        bits |= KVRN_SELECT;
    if (options.rebuildgiven)
        bits |= KVRN_RECONSTRUCT;
    if (options.reverse && options.keys.empty())
        bits |= KVRN_DESCENDALL;
    prim.options = static_cast<uint8_t>(bits);
    prim.altmode = static_cast<uint8_t>(options.ebcdictable);
    prim.memsize = singlestorage(options);
    prim.tmpopt = options.keeptemp ? KVRN_TMP_KEEP : 0;
    return prim;
}

void parsefields(const joboptions &options, jobplan &plan) {
    const recordview &view = plan.view;
    const layout names = options.layoutfile.empty() ? layout() : layout(options.layoutfile);
    plan.keys = parsekeys(options, view, names);
    for (const std::string &text : options.sums) {
        const size_t number = plan.sums.size() + 1;
        plan.sums.push_back(
            parsesum(names.expand("sum " + std::to_string(number), text), number, view));
    }
    if (options.wheregiven)
        plan.engine.conditions =
            parsecondition(options.wherefile.empty() ? conditiontext{options.where, "--where"}
                                                     : readcondition(options.wherefile),
                           view, names);
    if (options.rebuildgiven)
        plan.pieces = parserebuild(options.rebuild, view, names);
}

// How records come and go.
void plancalls(const joboptions &options, jobplan &plan) {
    KVRNPRIM &prim = plan.engine.prim;
    plan.engine.workdirs = workplaces(options.tempdirs, prim.memsize);
    // Blocks, but for lines that end in one byte: those pass one by one.
    const bool byblock = !plan.view.text || plan.shape.end == lineend::crlf;
    prim.recoprat =
        static_cast<uint8_t>((byblock ? KVRN_PUT_BLOCK : KVRN_PUT_RECORD) | KVRN_GET_BLOCK);
}

void planbytes(const joboptions &options, jobplan &plan) {
    const bool fixed = options.fixed != 0;
    const uint32_t given = fixed ? options.fixed : options.variable;
    const std::string option = fixed ? "--fixed" : "--variable", raise = "raise " + option;
    const uint64_t length = plan.pieces.empty() ? given : rebuiltlength(plan);
    if (std::max<uint64_t>(length, given) > internalroom)
        throw failure{ending::usage,
                      plan.pieces.empty() ? option + " " + std::to_string(given) + " is too long"
                                          : "--rebuild: the records are too long",
                      "records have at most " + std::to_string(internalroom) + " bytes", 23, 240};
    checkreaches(plan, given, "record", raise);
    plan.engine.prim.recform = fixed ? KVRN_FIXED : KVRN_VARIABLE;
    plan.engine.prim.reclen = given;
    plan.form.word = plan.shape.word();
    plan.form.dropshort = options.dropshort;
    needleast(plan);
}

// Of files that are not read now.
void checkwhole(const joboptions &options, const std::vector<inputsource> &sources) {
    if (options.fixed == 0 || options.dropshort)
        return;
    for (const inputsource &source : sources)
        if (source.placed() && source.size() % options.fixed != 0)
            refusetorn(source, source.size(), options.fixed);
}

// A copy has no keys of its own.  The first piece of a rebuilt record, or what is never
// compared.
void addconstantkey(jobplan &plan) {
    plan.engine.keys.push_back({0, 1, KVRN_CHAR, KVRN_ASCENDING, 0, 0, nullptr});
    if (plan.pieces.empty())
        return;
    KVRNRCNE entry{};
    entry.literal = jobplan::leadpiece;
    entry.length = 1;
    entry.type = KVRN_FLD_LIT;
    plan.engine.pieces.insert(plan.engine.pieces.begin(), entry);
}

void filltables(jobplan &plan) {
    for (const keyspec &key : plan.keys)
        plan.engine.keys.push_back(keyentry(key));
    for (const sumspec &sum : plan.sums) {
        KVRNSUME entry{};
        entry.position = sum.position;
        entry.length = sum.length;
        entry.type = sum.type;
        plan.engine.sums.push_back(entry);
    }
    for (const rebuildpiece &piece : plan.pieces) {
        KVRNRCNE entry{};
        if (piece.literal)
            entry.literal = piece.bytes.data();
        else
            entry.position = piece.position;
        entry.length = piece.length;
        entry.type = piece.literal ? KVRN_FLD_LIT : KVRN_FLD_COPY;
        plan.engine.pieces.push_back(entry);
    }
}

} // namespace

description planmerge(const jobplan &plan, size_t inputs) {
    description merge = plan.engine;
    KVRNPRIM &prim = merge.prim;
    prim.function = KVRN_MERGE;
    prim.options &= static_cast<uint8_t>(~KVRN_KEEPORDER); // a merge has an order of its own
    prim.mergecnt = static_cast<uint32_t>(inputs);
    prim.recoprat = KVRN_PUT_RECORD | KVRN_GET_RECORD;
    if (!plan.view.text || plan.shape.end != lineend::crlf)
        return merge;
    if (plan.lineput.size() > 1)
        throw failure{ending::data,
                      "lines that end in CR LF hold bare line feeds and bare carriage returns",
                      "such lines can be sorted, checked and copied, but not merged"};
    prim.linedlmt = plan.lineput == "\n" ? KVRN_DLMT_LF : KVRN_DLMT_CR;
    return merge;
}

recordshape findshape(const joboptions &options, std::vector<inputsource> &sources) {
    recordshape shape;
    if (options.istext()) {
        for (inputsource &source : sources) {
            if (options.doseof)
                source.endatmark();
            source.readahead();
        }
        shape.end = findlineend(options.eol, sources);
        shape.guessed = options.eol == "auto";
        return shape;
    }
    shape.kind = options.fixed != 0 ? formkind::fixed : formkind::variable;
    shape.length = options.fixed != 0 ? options.fixed : options.variable;
    shape.frame = findframing(options.framing);
    return shape;
}

jobplan startplan(const joboptions &options, const recordshape &shape) {
    jobplan plan;
    plan.shape = shape;
    plan.kind = options.kind;
    plan.view = viewof(options);
    plan.engine.prim = primary(options);
    plan.engine.prim.cdmode = plan.view.cdmode;
    parsefields(options, plan);
    if (!plan.view.text)
        planbytes(options, plan);
    else if (plan.view.byfield)
        plan.joint = options.separator.empty() ? " " : options.separator;
    return plan;
}

void finishplan(const joboptions &options, std::vector<inputsource> &sources, unsigned jobs,
                watch &seen, jobplan &plan) {
    if (options.explain)
        checkwhole(options, sources);
    if (plan.view.text)
        plantext({options, sources, jobs, seen}, plan);
    plancalls(options, plan);
    filltables(plan);
    if (options.kind == jobkind::copy)
        addconstantkey(plan);
}

} // namespace command

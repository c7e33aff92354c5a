#include "kvern/plan/plan.h"

#include "kvern/options/arguments.h"
#include "kvern/plan/firstlook.h"
#include "kvern/plan/plantext.h"
#include "kvern/plan/reach.h"
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
    constexpr uint8_t functions[] = {KVRN_SORT, KVRN_MERGE, KVRN_COPY, KVRN_MERGE};
    const bool sorting = options.kind == jobkind::sort;
    KVRNPRIM prim{};
    prim.function = functions[static_cast<size_t>(options.kind)];
    int bits = 0;
    if (options.stable && sorting) // a merge keeps the order of its inputs by itself
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
    prim.memsize = memorysize(options.memory);
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

// Lines among which there is a byte 0x1A where the engine would end at it.
bool holdsmarks(const joboptions &options, const std::vector<inputsource> &sources,
                const jobplan &plan) {
    if (!plan.view.text || options.doseof ||
        (plan.shape.end == lineend::lf && plan.kind != jobkind::sort))
        return false;
    return std::any_of(sources.begin(), sources.end(),
                       [](const inputsource &one) { return one.holdsmark(); });
}

// Who reads and who writes, see jobrun.cpp.
void planfiles(const joboptions &options, std::vector<inputsource> &sources, jobplan &plan) {
    const bool variable = plan.shape.kind == formkind::variable;
    const bool sorting = options.kind == jobkind::sort, copying = options.kind == jobkind::copy;
    const bool named = std::all_of(sources.begin(), sources.end(),
                                   [](const inputsource &one) { return one.isnamedfile(); });
    plan.portions = copying && !variable && inportions(options, plan.replaced);
    plan.byfile = !variable && named && !plan.portions && options.kind != jobkind::check &&
                  !(sorting && options.dropshort);
    if (plan.byfile && plan.view.text) {
        lookthrough(plan.shape, sources);
        plan.byfile = !holdsmarks(options, sources, plan);
        plan.portions = copying && !plan.byfile;
    }
    const bool bymerge = variable || options.kind == jobkind::check ||
                         (plan.view.text && options.kind == jobkind::merge && !plan.byfile);
    plan.tofile =
        !bymerge && !plan.portions && !options.doseof && plan.replaced && options.header == 0;
    KVRNPRIM &prim = plan.engine.prim;
    if (copying && variable)
        prim.function = KVRN_MERGE; // files that the engine copies hold no such records
    if (plan.byfile)
        listinputs(plan, sources, options.doseof);
    if (plan.tofile)
        plan.engine.outfile = options.output;
    plan.engine.workdirs = options.kind == jobkind::sort
                               ? workplaces(options.tempdirs, prim.memsize)
                               : options.tempdirs;
    if (prim.function == KVRN_MERGE)
        planmerge(options, sources.size(), plan);
    if (options.kind != jobkind::sort)
        return;

    // All input is read before the output is opened.
    if (plan.byfile && plan.tofile)
        prim.fileoprat = KVRN_SAMEFILE;
    // Blocks, but for lines that end in one byte: those pass one by one.
    const bool byblock = !plan.view.text || plan.shape.end == lineend::crlf;
    const int put = plan.byfile ? 0 : byblock ? KVRN_PUT_BLOCK : KVRN_PUT_RECORD;
    const int get = plan.tofile ? 0 : KVRN_GET_BLOCK;
    prim.recoprat = static_cast<uint8_t>(put | get);
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

// Often the line end behind each record was not counted, or counted and is not there.
std::string lengthadvice(uint64_t bytes, uint32_t length) {
    constexpr int64_t least = 5; // shorter ones fit by chance
    for (const int64_t more : {1, 2, -1, -2})
        if (const auto other = static_cast<uint64_t>(std::max(length + more, least));
            bytes % other == 0 && other != length)
            return "look at the record length: --fixed " + std::to_string(other) +
                   " would fit, a line end behind a record counts";
    return "look at the record length";
}

void checkwhole(const joboptions &options, const std::vector<inputsource> &sources) {
    if (options.fixed == 0 || options.dropshort)
        return;
    for (const inputsource &source : sources)
        if (source.isfile() && source.size() % options.fixed != 0)
            throw failure{ending::data,
                          source.name() + " has " + plural(source.size(), "byte") +
                              ", no multiple of --fixed " + std::to_string(options.fixed),
                          lengthadvice(source.size(), options.fixed)};
}

// All records have this key: a merge then leaves them in their order.
void addconstantkey(jobplan &plan) {
    static constexpr uint8_t zeros[256] = {};
    plan.engine.keys.push_back({0, 1, KVRN_TABLED, KVRN_ASCENDING, 0, 0, zeros});
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

void planmerge(const joboptions &options, size_t inputs, jobplan &plan) {
    KVRNPRIM &prim = plan.engine.prim;
    prim.mergecnt = options.kind == jobkind::merge ? static_cast<uint32_t>(inputs) : 1;
    prim.recoprat = static_cast<uint8_t>((plan.byfile ? 0 : KVRN_PUT_RECORD) |
                                         (plan.tofile ? 0 : KVRN_GET_RECORD));
    if (!plan.view.text || plan.byfile || plan.shape.end != lineend::crlf)
        return;
    if (plan.lineput.size() > 1)
        throw failure{ending::data,
                      "lines that end in CR LF hold bare line feeds and bare carriage returns",
                      "such lines can be sorted and copied, but not checked, and not merged where "
                      "they hold a byte 0x1A"};
    prim.linedlmt = plan.lineput == "\n" ? KVRN_DLMT_LF : KVRN_DLMT_CR;
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

uint8_t textkind(bool marked) {
    return marked ? KVRN_FILE_DESCRIPTOR : KVRN_FILE_PLAIN;
}

void listinputs(jobplan &plan, const std::vector<inputsource> &sources, bool doseof) {
    plan.engine.infiles.clear();
    plan.engine.inkinds.clear();
    for (const inputsource &source : sources) {
        plan.engine.infiles.push_back(source.path());
        plan.engine.inkinds.push_back(textkind(plan.view.text && !doseof && source.holdsmark()));
    }
}

bool inportions(const joboptions &options, bool replaced) {
    return options.kind == jobkind::copy && (!replaced || options.header != 0 || options.doseof);
}

jobplan planjob(const joboptions &options, const recordshape &shape,
                std::vector<inputsource> &sources, bool replaced) {
    jobplan plan;
    plan.replaced = replaced;
    plan.shape = shape;
    plan.kind = options.kind;
    plan.view = viewof(options);
    plan.engine.prim = primary(options);
    plan.engine.prim.cdmode = plan.view.cdmode;
    parsefields(options, plan);
    checkwhole(options, sources);
    if (plan.view.text)
        plantext(options, sources, plan);
    else
        planbytes(options, plan);
    planfiles(options, sources, plan);
    filltables(plan);
    if (options.kind == jobkind::copy && plan.shape.kind == formkind::variable)
        addconstantkey(plan);
    return plan;
}

} // namespace command

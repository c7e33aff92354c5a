#include "plan.h"

#include "report.h"

#include <algorithm>

namespace command {

namespace {

recordview viewof(const joboptions &options, const KVRNPRIM &prim) {
    recordview view;
    view.text = options.fixed == 0;
    view.byfield = view.text && !options.columns;
    view.whitespace = view.byfield && !options.separatorgiven;
    view.cdmode = prim.cdmode;
    return view;
}

std::vector<keyspec> parsekeys(const joboptions &options) {
    keydefaults defaults;
    defaults.text = options.fixed == 0;
    defaults.ebcdic = options.data == "ebcdic";
    defaults.reverse = options.reverse;
    defaults.textoption = textoptions(options);
    const bool byfield = defaults.text && !options.columns;
    std::vector<keyspec> keys;
    for (const std::string &text : options.keys) {
        const size_t number = keys.size() + 1;
        keys.push_back(byfield ? parsefieldkey(text, number, defaults)
                               : parsecolumnkey(text, number, defaults));
    }
    return keys;
}

// What is the same for all record forms.
KVRNPRIM primary(const joboptions &options) {
    constexpr uint8_t functions[] = {KVRN_SORT, KVRN_MERGE, KVRN_COPY};
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
    prim.cdmode = options.data == "ebcdic"       ? KVRN_CD_EBCDIC
                  : options.zoned == "zone7"     ? KVRN_CD_ZONE7
                  : options.zoned == "overpunch" ? KVRN_CD_OVERPUNCH
                                                 : KVRN_CD_ZONE5;
    prim.altmode = static_cast<uint8_t>(options.ebcdictable);
    prim.memsize = memorysize(options.memory);
    return prim;
}

void parseshape(const joboptions &options, jobplan &plan) {
    const recordview view = viewof(options, plan.engine.prim);
    plan.keys = parsekeys(options);
    for (const std::string &text : options.sums)
        plan.sums.push_back(parsesum(text, plan.sums.size() + 1, view.text, view.byfield));
    if (options.wheregiven)
        plan.engine.conditions = parsecondition(options.where, view);
    if (options.rebuildgiven)
        plan.pieces = parserebuild(options.rebuild, view.byfield, view.ebcdic());
}

void planfiles(const joboptions &options, const std::vector<inputsource> &sources, jobplan &plan) {
    plan.byfile = std::all_of(sources.begin(), sources.end(),
                              [](const inputsource &one) { return one.isnamedfile(); });
    if (plan.byfile)
        for (const inputsource &source : sources)
            plan.engine.infiles.push_back(source.path());
    if (options.output != "-")
        plan.engine.outfile = options.output;
    plan.engine.workdirs = options.tempdirs;
    KVRNPRIM &prim = plan.engine.prim;
    if (options.kind == jobkind::merge) {
        prim.mergecnt = static_cast<uint32_t>(sources.size());
        prim.recoprat = plan.engine.outfile.empty() ? KVRN_GET_RECORD : 0;
    }
    if (options.kind != jobkind::sort)
        return;

    // All input is read before the output is opened.
    if (plan.byfile && !plan.engine.outfile.empty())
        prim.fileoprat = KVRN_SAMEFILE;
    // Blocks, but for lines that end in one byte: those pass one by one.
    const bool byblock = !plan.text || plan.form.end == lineend::crlf;
    const int put = plan.byfile ? 0 : byblock ? KVRN_PUT_BLOCK : KVRN_PUT_RECORD;
    const int get = plan.engine.outfile.empty() ? KVRN_GET_BLOCK : 0;
    prim.recoprat = static_cast<uint8_t>(put | get);
}

uint64_t rebuiltlength(const jobplan &plan) {
    uint64_t length = 0;
    for (const rebuildpiece &piece : plan.pieces)
        length += piece.length;
    return length;
}

void planfixed(const joboptions &options, const std::vector<inputsource> &sources, jobplan &plan) {
    const uint64_t length = plan.pieces.empty() ? options.fixed : rebuiltlength(plan);
    if (std::max<uint64_t>(length, options.fixed) > internalroom)
        throw failure{ending::usage,
                      plan.pieces.empty()
                          ? "--fixed " + std::to_string(options.fixed) + " is too long"
                          : "--rebuild: the records are too long",
                      "records have at most " + std::to_string(internalroom) + " bytes", 23, 240};
    const std::string conditions = "--where", pieces = "--rebuild";
    checkreach({conditions, plan.engine.conditions.reach, 10, 63}, options.fixed, "record",
               "raise --fixed");
    checkreach({pieces, piecereach(plan), 9, 64}, options.fixed, "record", "raise --fixed");
    if (plan.pieces.empty())
        checkfields(plan, length, "record", "raise --fixed");
    else
        checkfields(plan, length, "rebuilt record", "look at --rebuild");
    for (const inputsource &source : sources)
        if (source.isfile() && source.size() % options.fixed != 0)
            throw failure{ending::data,
                          source.name() + " has " + plural(source.size(), "byte") +
                              ", no multiple of --fixed " + std::to_string(options.fixed),
                          "look at the record length"};
    plan.engine.prim.recform = KVRN_FIXED;
    plan.engine.prim.reclen = options.fixed;
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

uint8_t textoptions(const joboptions &options) {
    return static_cast<uint8_t>(
        (options.skipblanks ? KVRN_TXT_SKIPBLANKS : 0) | (options.alnum ? KVRN_TXT_ALNUM : 0) |
        (options.printable ? KVRN_TXT_PRINTABLE : 0) | (options.fold ? KVRN_TXT_FOLD : 0) |
        (options.numeric ? KVRN_TXT_NUMERIC : 0));
}

void checkoptions(const joboptions &options) {
    const bool text = options.fixed == 0;
    if (options.unique && !options.sums.empty())
        refuse("-u and --sum exclude each other", "--sum leaves one record of each key by itself");
    if (options.kind == jobkind::sort && options.stable && !options.sums.empty())
        refuse("-s and --sum exclude each other", "leave -s out");
    if (options.kind == jobkind::sort && options.stable && options.unique)
        refuse("-s and -u exclude each other",
               "-u keeps one record of each key, whichever it is; leave -s out");
    if (!text && !options.textoption.empty())
        refuse(options.textoption + " is an option of text", "leave it out, or leave out --fixed");
    if (options.columns && options.separatorgiven)
        refuse("--columns and -t exclude each other", "columns have no separator");
    if (options.data == "ebcdic" && text)
        refuse("--data ebcdic: lines of text are ASCII", "give --fixed N for EBCDIC records");
    if (options.data == "ebcdic" && options.zonedgiven)
        refuse("--zoned tells the sign in ASCII data", "leave it out with --data ebcdic");
    if (options.separatorgiven && options.separator.empty())
        refuse("-t needs a text", "leave it out for fields between white space");
    for (const std::string &dir : options.tempdirs) {
        if (dir.find(';') != std::string::npos)
            refuse("-T " + dir + ": a semicolon parts directories",
                   "take a directory without one in its name");
        if (inspect(dir).sort != filesort::directory)
            throw failure{ending::file, "-T " + dir + " is no directory", ""};
    }
}

void checkreach(const reachcheck &field, uint64_t length, const std::string &record,
                const std::string &advice) {
    if (field.reach > length)
        throw failure{ending::usage,
                      field.name + " reaches byte " + std::to_string(field.reach) + " of a " +
                          std::to_string(length) + "-byte " + record,
                      advice, field.message, field.detail};
}

void checkfields(const jobplan &plan, uint64_t length, const std::string &record,
                 const std::string &advice) {
    for (const keyspec &key : plan.keys)
        checkreach({key.name, key.reach(), 7, 59}, length, record, "shorten the key or " + advice);
    for (const sumspec &sum : plan.sums)
        checkreach({sum.name, sum.reach(), 8, 60}, length, record, "shorten the sum or " + advice);
}

uint64_t piecereach(const jobplan &plan) {
    uint64_t reach = 0;
    for (const rebuildpiece &piece : plan.pieces)
        if (!piece.literal)
            reach = std::max(reach, uint64_t{piece.position} + piece.length);
    return reach;
}

jobplan planjob(const joboptions &options, std::vector<inputsource> &sources) {
    jobplan plan;
    plan.kind = options.kind;
    plan.text = options.fixed == 0;
    plan.engine.prim = primary(options);
    parseshape(options, plan);
    if (plan.text)
        plantext(options, sources, plan);
    else
        planfixed(options, sources, plan);
    planfiles(options, sources, plan);
    filltables(plan);
    return plan;
}

} // namespace command

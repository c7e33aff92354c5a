#include "kvern/plan/plan.h"

#include "kvern/options/arguments.h"

#include "kvern/system/report.h"
#include "kvern/system/workplaces.h"

#include <algorithm>

namespace command {

namespace {

recordview viewof(const joboptions &options, const KVRNPRIM &prim) {
    recordview view;
    view.text = options.istext();
    view.byfield = view.text && !options.columns;
    view.whitespace = view.byfield && !options.separatorgiven;
    view.cdmode = prim.cdmode;
    return view;
}

std::vector<keyspec> parsekeys(const joboptions &options, const layout &names) {
    keydefaults defaults;
    defaults.text = options.istext();
    defaults.ebcdic = options.data == "ebcdic";
    defaults.reverse = options.reverse;
    defaults.textoption = textoptions(options);
    const bool byfield = defaults.text && !options.columns;
    std::vector<keyspec> keys;
    for (const std::string &text : options.keys) {
        const size_t number = keys.size() + 1;
        const std::string key = names.expand("key " + std::to_string(number), text);
        keys.push_back(byfield ? parsefieldkey(key, number, defaults)
                               : parsecolumnkey(key, number, defaults));
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
    prim.cdmode = options.data == "ebcdic"       ? KVRN_CD_EBCDIC
                  : options.zoned == "zone7"     ? KVRN_CD_ZONE7
                  : options.zoned == "overpunch" ? KVRN_CD_OVERPUNCH
                                                 : KVRN_CD_ZONE5;
    prim.altmode = static_cast<uint8_t>(options.ebcdictable);
    prim.memsize = memorysize(options.memory);
    prim.tmpopt = options.keeptemp ? KVRN_TMP_KEEP : 0;
    return prim;
}

void parseshape(const joboptions &options, jobplan &plan) {
    const recordview view = viewof(options, plan.engine.prim);
    const layout names = options.layoutfile.empty() ? layout() : layout(options.layoutfile);
    plan.keys = parsekeys(options, names);
    for (const std::string &text : options.sums) {
        const size_t number = plan.sums.size() + 1;
        plan.sums.push_back(parsesum(names.expand("sum " + std::to_string(number), text), number,
                                     view.text, view.byfield));
    }
    if (options.wheregiven)
        plan.engine.conditions =
            parsecondition(options.wherefile.empty() ? conditiontext{options.where, "--where"}
                                                     : readcondition(options.wherefile),
                           view, names);
    if (options.rebuildgiven)
        plan.pieces = parserebuild(options.rebuild, view.byfield, view.ebcdic(), names);
}

// Lines among which there is a byte 0x1A where the engine would end at it.
bool holdsmarks(const joboptions &options, const std::vector<inputsource> &sources,
                const jobplan &plan) {
    if (!plan.text || options.doseof ||
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
    if (plan.byfile && plan.text) {
        lookthrough(plan.shape, sources);
        plan.byfile = !holdsmarks(options, sources, plan);
        plan.portions = copying && !plan.byfile;
    }
    const bool bymerge = variable || options.kind == jobkind::check ||
                         (plan.text && options.kind == jobkind::merge && !plan.byfile);
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
    const bool byblock = !plan.text || plan.shape.end == lineend::crlf;
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
    const std::string conditions = "--where", pieces = "--rebuild";
    checkreach({conditions, plan.engine.conditions.reach, 10, 63}, given, "record", raise);
    checkreach({pieces, piecereach(plan), 9, 64}, given, "record", raise);
    if (plan.pieces.empty())
        checkfields(plan, length, "record", raise);
    else
        checkfields(plan, length, "rebuilt record", "look at --rebuild");
    plan.engine.prim.recform = fixed ? KVRN_FIXED : KVRN_VARIABLE;
    plan.engine.prim.reclen = given;
    plan.form.word = plan.shape.word();
    needleast(options, plan);
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

// As the number is spoken: an 8-byte, an 11-byte, an 80-byte record.
const char *article(uint64_t number) {
    const std::string digits = std::to_string(number);
    const bool teen =
        (digits.rfind("11", 0) == 0 || digits.rfind("18", 0) == 0) && digits.size() % 3 == 2;
    return digits[0] == '8' || teen ? "an " : "a ";
}

} // namespace

void planmerge(const joboptions &options, size_t inputs, jobplan &plan) {
    KVRNPRIM &prim = plan.engine.prim;
    prim.mergecnt = options.kind == jobkind::merge ? static_cast<uint32_t>(inputs) : 1;
    prim.recoprat = static_cast<uint8_t>((plan.byfile ? 0 : KVRN_PUT_RECORD) |
                                         (plan.tofile ? 0 : KVRN_GET_RECORD));
    if (!plan.text || plan.byfile || plan.shape.end != lineend::crlf)
        return;
    if (plan.lineput.size() > 1)
        throw failure{ending::data,
                      "lines that end in CR LF hold bare line feeds and bare carriage returns",
                      "such lines can be sorted and copied, but not checked, and not merged where "
                      "they hold a byte 0x1A"};
    prim.linedlmt = plan.lineput == "\n" ? KVRN_DLMT_LF : KVRN_DLMT_CR;
}

uint32_t rebuiltlength(const jobplan &plan) {
    uint64_t length = 0;
    for (const rebuildpiece &piece : plan.pieces)
        length = std::min<uint64_t>(length + piece.length, UINT32_MAX);
    return static_cast<uint32_t>(length);
}

uint8_t textoptions(const joboptions &options) {
    return static_cast<uint8_t>(
        (options.skipblanks ? KVRN_TXT_SKIPBLANKS : 0) | (options.alnum ? KVRN_TXT_ALNUM : 0) |
        (options.printable ? KVRN_TXT_PRINTABLE : 0) | (options.fold ? KVRN_TXT_FOLD : 0) |
        (options.numeric ? KVRN_TXT_NUMERIC : 0));
}

void checkoptions(const joboptions &options) {
    const bool text = options.istext();
    if ((options.fixed != 0) + (options.variable != 0) + options.text > 1)
        refuse("--fixed, --variable and --text exclude each other", "give the records' form once");
    if (options.variable != 0 && options.framing.empty())
        refuse("--variable needs --framing",
               "it tells how lengths lie in the file: rdw, bdw, be16z, be32, le32 or be16");
    if (options.blocksize != 0 && options.framing != "bdw")
        refuse("--block-size needs --framing bdw", "other framings have no blocks");
    if (options.blocksize > longestblock)
        refuse("--block-size " + std::to_string(options.blocksize) + " is too long",
               "blocks have at most " + std::to_string(longestblock) + " bytes");
    if (options.variable == 0 && !options.framing.empty())
        refuse("--framing tells where variable records end", "give --variable MAX with it");
    if (options.kind == jobkind::check && options.inputs.size() > 1)
        refuse("check looks at one input", "kvern merge tells whether several are in order");
    if (options.kind == jobkind::check && options.unique && options.wheregiven)
        refuse("check takes -u or --where, not both", "copy the records first, and check those");
    if (options.unique && !options.sums.empty())
        refuse("-u and --sum exclude each other", "--sum leaves one record of each key by itself");
    if (options.kind == jobkind::sort && options.stable && !options.sums.empty())
        refuse("-s and --sum exclude each other", "leave -s out");
    if (options.kind == jobkind::sort && options.stable && options.unique)
        refuse("-s and -u exclude each other",
               "-u keeps one record of each key, whichever it is; leave -s out");
    if (!text && !options.textoption.empty())
        refuse(options.textoption + " is an option of text",
               "leave it out, or leave out --fixed or --variable");
    if (options.columns && options.separatorgiven)
        refuse("--columns and -t exclude each other", "columns have no separator");
    if (options.data == "ebcdic" && text)
        refuse("--data ebcdic: lines of text are ASCII",
               "give --fixed N or --variable MAX for EBCDIC records");
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
                      field.name + " reaches byte " + std::to_string(field.reach) + " of " +
                          article(length) + std::to_string(length) + "-byte " + record,
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

// Sums stop at a record that is too short for them, and ask 4 bytes more of a variable
// one; they count only where such records are to be left out.
void needleast(const joboptions &options, jobplan &plan) {
    textform &form = plan.form;
    form.dropshort = options.dropshort;
    form.least = plan.engine.conditions.reach;
    form.leastname = "--where";
    if (piecereach(plan) > form.least) {
        form.least = piecereach(plan);
        form.leastname = "--rebuild";
    }
    const uint64_t more = plan.shape.kind == formkind::variable ? 4 : 0;
    for (const sumspec &sum : plan.sums)
        if (options.dropshort && plan.pieces.empty())
            form.least = std::max(form.least, sum.reach() + more);
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
        plan.engine.inkinds.push_back(textkind(plan.text && !doseof && source.holdsmark()));
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
    plan.text = options.istext();
    plan.engine.prim = primary(options);
    parseshape(options, plan);
    checkwhole(options, sources);
    if (plan.text)
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

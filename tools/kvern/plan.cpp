#include "plan.h"

#include "report.h"

#include <algorithm>

namespace command {

namespace {

constexpr uint64_t internalroom = 32716; // bytes of key and record together
constexpr uint64_t streammaxline = 4096; // for a stream that is not known to its end

uint64_t round4(uint64_t bytes) {
    return (bytes + 3) / 4 * 4;
}

uint8_t textoptions(const sortoptions &options) {
    return static_cast<uint8_t>(
        (options.skipblanks ? KVRN_TXT_SKIPBLANKS : 0) | (options.alnum ? KVRN_TXT_ALNUM : 0) |
        (options.printable ? KVRN_TXT_PRINTABLE : 0) | (options.fold ? KVRN_TXT_FOLD : 0) |
        (options.numeric ? KVRN_TXT_NUMERIC : 0));
}

} // namespace

void checkoptions(const sortoptions &options) {
    const bool text = options.fixed == 0;
    if (options.stable && options.unique)
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

namespace {

std::vector<keyspec> parsekeys(const sortoptions &options) {
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

void checkreach(const keyspec &key, uint32_t length, const std::string &record,
                const char *option) {
    if (key.reach() > length)
        throw failure{ending::usage,
                      key.name + " reaches byte " + std::to_string(key.reach()) + " of a " +
                          std::to_string(length) + "-byte " + record,
                      std::string("shorten the key or raise ") + option, 7, 59};
}

// What is the same for all record forms.
KVRNPRIM primary(const sortoptions &options) {
    KVRNPRIM prim{};
    prim.function = KVRN_SORT;
    int bits = 0;
    if (options.stable)
        bits |= KVRN_KEEPORDER;
    if (options.unique)
        bits |= KVRN_SUPPRESS;
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

void planfiles(const sortoptions &options, const std::vector<inputsource> &sources,
               sortplan &plan) {
    plan.byfile = std::all_of(sources.begin(), sources.end(),
                              [](const inputsource &one) { return one.isnamedfile(); });
    if (plan.byfile)
        for (const inputsource &source : sources)
            plan.engine.infiles.push_back(source.path());
    if (options.output != "-")
        plan.engine.outfile = options.output;
    plan.engine.workdirs = options.tempdirs;

    // All input is read before the output is opened.
    KVRNPRIM &prim = plan.engine.prim;
    if (plan.byfile && !plan.engine.outfile.empty())
        prim.fileoprat = KVRN_SAMEFILE;
    // Blocks, but for lines that end in one byte: those pass one by one.
    const bool byblock = !plan.text || plan.form.end == lineend::crlf;
    const int put = plan.byfile ? 0 : byblock ? KVRN_PUT_BLOCK : KVRN_PUT_RECORD;
    const int get = plan.engine.outfile.empty() ? KVRN_GET_BLOCK : 0;
    prim.recoprat = static_cast<uint8_t>(put | get);
}

void planfixed(const sortoptions &options, const std::vector<inputsource> &sources,
               sortplan &plan) {
    if (options.fixed > internalroom)
        throw failure{ending::usage, "--fixed " + std::to_string(options.fixed) + " is too long",
                      "records have at most " + std::to_string(internalroom) + " bytes", 23, 240};
    for (const keyspec &key : plan.keys)
        checkreach(key, options.fixed, "record", "--fixed");
    for (const inputsource &source : sources)
        if (source.isfile() && source.size() % options.fixed != 0)
            throw failure{ending::data,
                          source.name() + " has " + plural(source.size(), "byte") +
                              ", no multiple of --fixed " + std::to_string(options.fixed),
                          "look at the record length"};
    plan.engine.prim.recform = KVRN_FIXED;
    plan.engine.prim.reclen = options.fixed;
}

lineend findlineend(const std::string &eol, std::vector<inputsource> &sources) {
    if (eol == "lf")
        return lineend::lf;
    if (eol == "cr")
        return lineend::cr;
    if (eol == "crlf")
        return lineend::crlf;
    for (inputsource &source : sources) {
        if (!source.isfile()) {
            if (!source.ahead().empty())
                return guesslineend(source.ahead());
            continue;
        }
        std::string beginning(static_cast<size_t>(std::min<uint64_t>(source.size(), aheadroom)),
                              '\0');
        beginning.resize(source.read(beginning.data(), beginning.size()));
        source.rewind();
        if (!beginning.empty())
            return guesslineend(beginning);
    }
    return lineend::lf;
}

// The lines of the streams' beginnings, so far as they are complete.
void scanaheads(const sortplan &plan, const std::vector<inputsource> &sources,
                textscanner &scanner) {
    const std::string_view mark = endbytes(plan.form.end);
    for (const inputsource &source : sources) {
        if (source.isfile())
            continue;
        scanner.startsource(source.name());
        std::string_view text = source.ahead();
        for (size_t at; (at = text.find(mark)) != std::string_view::npos;) {
            scanner.line(text.substr(0, at));
            text.remove_prefix(at + mark.size());
        }
        if (source.aheadisall() && !text.empty())
            scanner.line(text);
    }
}

// Key and record together must fit the engine's internal record.
void checkroom(const sortplan &plan, uint64_t content, const textscanner &scanner, bool stable) {
    uint64_t keybytes = stable ? 4 : 0;
    for (const keyspec &key : plan.keys)
        keybytes += key.keybytes();
    if (plan.keys.empty())
        keybytes += content;
    if (round4(round4(keybytes) + content) <= internalroom)
        return;
    std::string line = "a line of " + plural(content, "byte");
    if (scanner.longest() == content)
        line +=
            " (line " + std::to_string(scanner.longestat()) + " of " + scanner.longestin() + ")";
    if (plan.keys.empty())
        throw failure{ending::data, line + " is too long to be sorted by the whole of it",
                      "give a key, as --columns -k 1,100", 23, 240};
    throw failure{ending::data,
                  line + " and keys of " + plural(keybytes, "byte") + " together pass " +
                      std::to_string(internalroom) + " bytes",
                  "shorten the keys (-k F:WIDTH) or the lines", 23, 240};
}

void plantext(const sortoptions &options, std::vector<inputsource> &sources, sortplan &plan) {
    for (inputsource &source : sources)
        source.readahead();
    textform &form = plan.form;
    form.end = findlineend(options.eol, sources);
    form.separator = options.separator;
    form.maxline = options.maxline;
    if (form.separator.find(endbytes(form.end)) != std::string::npos)
        refuse("-t " + quoted(form.separator) + " holds the end of a line", "look at --eol");
    if (!options.columns)
        for (const keyspec &key : plan.keys) {
            form.fields.push_back(key.position);
            form.keynames.push_back(key.name);
        }

    const bool wantswidth =
        !options.columns && std::any_of(plan.keys.begin(), plan.keys.end(),
                                        [](const keyspec &key) { return key.length == 0; });
    const bool allknown = std::all_of(sources.begin(), sources.end(), [](const inputsource &one) {
        return one.isfile() || one.aheadisall();
    });
    textscanner scanner(form);
    if (options.maxline == 0 || wantswidth) {
        scanfiles(plan, sources, scanner);
        scanaheads(plan, sources, scanner);
        plan.scanned = true;
    }

    uint64_t content = options.maxline;
    if (content == 0) {
        content = std::max<uint64_t>(scanner.longest(), allknown ? 1 : streammaxline);
        if (options.columns)
            for (const keyspec &key : plan.keys)
                content = std::max(content, key.reach());
    }
    if (options.columns)
        for (const keyspec &key : plan.keys)
            checkreach(key, static_cast<uint32_t>(content), "line", "--max-line");
    for (size_t i = 0; i < plan.keys.size(); ++i)
        if (plan.keys[i].length == 0)
            plan.keys[i].length =
                allknown ? std::max(scanner.widest(i), 1u) : static_cast<uint32_t>(content);
    checkroom(plan, content, scanner, options.stable);
    form.maxline = content;

    KVRNPRIM &prim = plan.engine.prim;
    prim.recform = KVRN_VARIABLE;
    prim.fieldmode = options.columns ? KVRN_COLUMNS : KVRN_FIELDS;
    constexpr uint8_t delimiters[] = {KVRN_DLMT_LF, KVRN_DLMT_CR, KVRN_DLMT_CRLF};
    prim.linedlmt = delimiters[static_cast<size_t>(form.end)];
    prim.reclen = static_cast<uint32_t>(content + endbytes(form.end).size());
    if (plan.keys.empty()) {
        const uint8_t bits = textoptions(options);
        prim.keyoption = static_cast<uint8_t>((bits & ~KVRN_TXT_NUMERIC) |
                                              (bits & KVRN_TXT_NUMERIC ? KVRN_KEYOPT_NUMERIC : 0));
    }
    plan.engine.separator = form.separator;
}

} // namespace

sortplan plansort(const sortoptions &options, std::vector<inputsource> &sources) {
    sortplan plan;
    plan.text = options.fixed == 0;
    plan.keys = parsekeys(options);
    plan.engine.prim = primary(options);
    if (plan.text)
        plantext(options, sources, plan);
    else
        planfixed(options, sources, plan);
    planfiles(options, sources, plan);
    for (const keyspec &key : plan.keys)
        plan.engine.keys.push_back(keyentry(key));
    return plan;
}

void scanfiles(const sortplan &plan, std::vector<inputsource> &sources, textscanner &scanner) {
    for (inputsource &source : sources) {
        if (!source.isfile())
            continue;
        scanner.startsource(source.name());
        // The engine ends a text file at the mark 0x1A; what the command reads
        // itself has no such end.
        const bool byengine = std::all_of(sources.begin(), sources.end(),
                                          [](const inputsource &one) { return one.isnamedfile(); });
        const uint64_t behind = eachline(source, plan.form.end, byengine,
                                         [&](std::string_view text) { scanner.line(text); });
        source.rewind();
        if (behind > 0)
            printnote(source.name() + " ends at a byte 0x1A; " + plural(behind, "byte") +
                      " behind it are not sorted (they are if the file comes through "
                      "standard input)");
    }
}

} // namespace command

// Text: what ends a line, how long lines and fields are, what a key has room for.
#include "kvern/plan/plan.h"

#include "kvern/system/report.h"

#include "kvern/records/recordreader.h"

#include <algorithm>
#include <cstring>

namespace command {

namespace {

constexpr uint64_t streammaxline = 4096;        // for a stream that is not measured
constexpr uint32_t sumwidth = 18;               // digits of a sum whose values are not known
constexpr uint64_t copiedline = 32700;          // a line that is only copied; one byte is the key
constexpr size_t lookbytes = size_t{256} << 10; // are looked through at once
constexpr uint64_t linesinmemory = 8;           // such lines that the working storage must hold

uint64_t round4(uint64_t bytes) {
    return (bytes + 3) / 4 * 4;
}

// A field of the line that comes in whose width the session needs.
struct fielduser {
    uint32_t position;
    const std::string &name;
    uint32_t &length; // 0: as wide as the widest
};

// The lines of the streams' beginnings, so far as they are complete.
void scanaheads(const jobplan &plan, const std::vector<inputsource> &sources,
                textscanner &scanner) {
    const std::string_view mark = endbytes(plan.shape.end);
    for (const inputsource &source : sources) {
        if (source.isfile())
            continue;
        scanner.startsource(source);
        std::string_view text = source.ahead();
        for (size_t at; (at = text.find(mark)) != std::string_view::npos;) {
            checkfeeds(plan.shape, text.substr(0, at), scanner.linenumber() + 1, source);
            scanner.line(text.substr(0, at));
            text.remove_prefix(at + mark.size());
        }
        if (!source.aheadisall() || text.empty())
            continue;
        checkfeeds(plan.shape, text, scanner.linenumber() + 1, source);
        scanner.line(text);
    }
}

// Key and record together must fit the engine's internal record.
void checkroom(const jobplan &plan, uint64_t content, const textscanner &scanner, bool stable) {
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

std::vector<fielduser> fieldusers(jobplan &plan, const std::string &rebuildname) {
    std::vector<fielduser> users;
    for (rebuildpiece &piece : plan.pieces)
        if (!piece.literal)
            users.push_back({piece.position, rebuildname, piece.length});
    if (!plan.pieces.empty())
        return users;
    for (keyspec &key : plan.keys)
        users.push_back({key.position, key.name, key.length});
    for (sumspec &sum : plan.sums)
        users.push_back({sum.position, sum.name, sum.length});
    return users;
}

// Of a rebuilt line each piece is a field.
void takepiece(const jobplan &plan, const std::string &name, uint32_t position, uint32_t &length) {
    if (position >= plan.pieces.size())
        refuse(name + " names field " + std::to_string(position + 1) + " of a rebuilt line of " +
                   plural(plan.pieces.size(), "field"),
               "keys and sums look at the rebuilt line");
    if (length == 0)
        length = plan.pieces[position].length;
}

uint64_t rebuiltline(const jobplan &plan, bool byfield) {
    const uint64_t separator = plan.form.separator.empty() ? 1 : plan.form.separator.size();
    uint64_t length = byfield ? (plan.pieces.size() - 1) * separator : 0;
    for (const rebuildpiece &piece : plan.pieces)
        length += piece.length;
    return length;
}

// The longest line that comes in.
uint64_t linelength(const joboptions &options, const jobplan &plan, const textscanner &scanner,
                    bool allknown) {
    if (options.maxline != 0)
        return options.maxline;
    if (!plan.scanned)
        return std::min<uint64_t>(copiedline, plan.engine.prim.memsize / linesinmemory);
    uint64_t content = std::max<uint64_t>(scanner.longest(), allknown ? 1 : streammaxline);
    if (!options.columns)
        return content;
    content = std::max({content, plan.engine.conditions.reach, piecereach(plan)});
    if (plan.pieces.empty()) {
        for (const keyspec &key : plan.keys)
            content = std::max(content, key.reach());
        for (const sumspec &sum : plan.sums)
            content = std::max(content, sum.reach());
    }
    return content;
}

void settlewidths(jobplan &plan, const std::vector<fielduser> &users, const textscanner &scanner,
                  uint64_t content, bool allknown) {
    for (size_t i = 0; i < users.size(); ++i)
        if (users[i].length == 0)
            users[i].length = allknown && plan.scanned ? std::max(scanner.widest(i), 1u)
                                                       : static_cast<uint32_t>(content);
}

// By field the engine bounds number and width together by the record's length, and no
// field is wider than that: each field in front of it takes a byte at least.
void boundwidth(uint32_t position, uint64_t reclen, uint32_t &length) {
    const uint64_t most = reclen > position ? reclen - position : 1;
    length = static_cast<uint32_t>(std::min<uint64_t>(length, most));
}

void boundwidths(jobplan &plan, uint64_t reclen) {
    for (rebuildpiece &piece : plan.pieces)
        if (!piece.literal)
            boundwidth(piece.position, reclen, piece.length);
    for (KVRNSELE &entry : plan.engine.conditions.entries) {
        boundwidth(entry.lpos, reclen, entry.llen);
        if (entry.rtype != KVRN_FLD_LIT)
            boundwidth(entry.rpos, reclen, entry.rlen);
    }
}

// Sums grow in their fields, and the line with them.  No sum of all lines has more
// digits than the widest value and the number of lines together.
uint64_t settlesums(jobplan &plan, const std::vector<uint32_t> &given, const textscanner &scanner,
                    bool known) {
    constexpr uint32_t widest = 256;
    uint64_t growth = 0;
    for (size_t i = 0; i < plan.sums.size(); ++i) {
        sumspec &sum = plan.sums[i];
        if (given[i] == 0 && plan.pieces.empty()) {
            const auto more = static_cast<uint32_t>(std::to_string(scanner.lines()).size());
            sum.length = known ? std::min(sum.length + more, widest) : sumwidth;
        }
        growth += sum.length;
    }
    return growth;
}

void describetext(const joboptions &options, uint64_t content, jobplan &plan) {
    KVRNPRIM &prim = plan.engine.prim;
    prim.recform = KVRN_VARIABLE;
    prim.fieldmode = options.columns ? KVRN_COLUMNS : KVRN_FIELDS;
    constexpr uint8_t delimiters[] = {KVRN_DLMT_LF, KVRN_DLMT_CR, KVRN_DLMT_CRLF};
    prim.linedlmt = delimiters[static_cast<size_t>(plan.shape.end)];
    prim.reclen = static_cast<uint32_t>(content + endbytes(plan.shape.end).size());
    if (plan.keys.empty()) {
        const uint8_t bits = textoptions(options);
        prim.keyoption = static_cast<uint8_t>((bits & ~KVRN_TXT_NUMERIC) |
                                              (bits & KVRN_TXT_NUMERIC ? KVRN_KEYOPT_NUMERIC : 0));
    }
    plan.engine.separator = plan.form.separator;
}

// Who takes numbers of the lines; null where nobody does.
std::shared_ptr<numbercheck> findnumbers(const joboptions &options, const jobplan &plan) {
    auto numbers = std::make_shared<numbercheck>();
    const bool byfield = !options.columns, rebuilt = !plan.pieces.empty();
    for (const keyspec &key : plan.keys)
        numbers->addkey(key, byfield, rebuilt);
    for (const sumspec &sum : plan.sums)
        numbers->addsum(sum, byfield, rebuilt);
    if (plan.keys.empty() && plan.kind != jobkind::copy)
        numbers->addline(textoptions(options), rebuilt);
    numbers->addconditions(plan.engine.conditions, byfield);
    if (numbers->idle())
        return nullptr;
    numbers->rebuild(plan.pieces, !byfield                      ? ""
                                  : plan.form.separator.empty() ? " "
                                                                : plan.form.separator);
    return numbers;
}

// What ends a line in a session that the command brings single lines.
std::string lineputs(const jobplan &plan, const textscanner &scanner) {
    std::string end(endbytes(plan.shape.end));
    if (plan.shape.end != lineend::crlf || plan.kind == jobkind::sort)
        return end;
    if (!scanner.strayfeed())
        return "\n";
    return scanner.strayreturn() ? end : "\r";
}

// Reads to the end.  True: some line feed has no CR before it.
bool holdsbarefeed(inputsource &source, std::vector<char> &block) {
    bool bare = false;
    char before = 0;
    while (const size_t count = source.read(block.data(), block.size())) {
        const char *at = block.data(), *const end = at + count;
        while (!bare && (at = static_cast<const char *>(
                             std::memchr(at, '\n', static_cast<size_t>(end - at)))) != nullptr) {
            bare = (at == block.data() ? before : at[-1]) != '\r';
            ++at;
        }
        before = end[-1];
    }
    return bare;
}

} // namespace

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

void plantext(const joboptions &options, std::vector<inputsource> &sources, jobplan &plan) {
    textform &form = plan.form;
    form.separator = options.separator;
    form.maxline = options.maxline;
    form.dropshort = options.dropshort;
    form.looksforstrays = plan.shape.end == lineend::crlf && !plan.shape.guessed;
    if (options.columns)
        needleast(options, plan);
    if (form.separator.find(endbytes(plan.shape.end)) != std::string::npos)
        refuse("-t " + quoted(form.separator) + " holds the end of a line", "look at --eol");
    const std::string rebuildname = "--rebuild";
    const bool copying = plan.kind == jobkind::copy;
    std::vector<fielduser> users;
    std::vector<uint32_t> sumsgiven;
    for (const sumspec &sum : plan.sums)
        sumsgiven.push_back(sum.length);
    if (!options.columns)
        users = fieldusers(plan, rebuildname);
    for (const fielduser &user : users) {
        form.fields.push_back(user.position);
        form.keynames.push_back(user.name);
    }
    if (!options.columns && options.wheregiven) {
        form.fields.push_back(plan.engine.conditions.lastfield);
        form.keynames.push_back("--where");
    }
    for (size_t i = 0; i < form.fields.size(); ++i)
        if (form.fields[i] > internalroom)
            refuse(form.keynames[i] + " names field " +
                       std::to_string(form.fields[i] + uint64_t{1}),
                   "lines have at most " + std::to_string(internalroom) + " bytes");
    const bool wantswidth = std::any_of(users.begin(), users.end(),
                                        [](const fielduser &user) { return user.length == 0; });
    const bool allknown = std::all_of(sources.begin(), sources.end(), [](const inputsource &one) {
        return one.isfile() || one.aheadisall();
    });
    form.numbers = findnumbers(options, plan);
    textscanner scanner(form);
    plan.scanned = (options.maxline == 0 && !copying) || wantswidth;
    if (plan.scanned || form.numbers || form.looksforstrays) {
        scanfiles(plan, sources, scanner);
        scanaheads(plan, sources, scanner);
    }
    if (form.numbers)
        form.numbers->settle(plan.engine.conditions);
    plan.lineput = lineputs(plan, scanner);

    uint64_t content = linelength(options, plan, scanner, allknown);
    settlewidths(plan, users, scanner, content, allknown);
    const uint64_t growth =
        options.columns ? 0 : settlesums(plan, sumsgiven, scanner, allknown && plan.scanned);
    form.maxline = content;
    if (!options.columns)
        boundwidths(plan, content + endbytes(plan.shape.end).size());
    const bool rebuilt = !plan.pieces.empty();
    if (rebuilt && !options.columns) {
        for (keyspec &key : plan.keys)
            takepiece(plan, key.name, key.position, key.length);
        for (sumspec &sum : plan.sums)
            takepiece(plan, sum.name, sum.position, sum.length);
    }
    const uint64_t outgoing = rebuilt ? rebuiltline(plan, !options.columns) : content + growth;
    if (options.columns) {
        const std::string conditions = "--where";
        checkreach({conditions, plan.engine.conditions.reach, 10, 63}, content, "line",
                   "raise --max-line");
        checkreach({rebuildname, piecereach(plan), 9, 64}, content, "line", "raise --max-line");
        if (rebuilt)
            checkfields(plan, outgoing, "rebuilt line", "look at --rebuild");
        else
            checkfields(plan, content, "line", "raise --max-line");
    }
    if (copying) // the engine would take the whole line for a key
        plan.engine.keys.push_back({0, 1, KVRN_CHAR, KVRN_ASCENDING, 0, 0, nullptr});
    else
        checkroom(plan, outgoing, scanner, options.stable && plan.kind == jobkind::sort);
    describetext(options, rebuilt ? content : outgoing, plan);
}

void scanfiles(const jobplan &plan, std::vector<inputsource> &sources, textscanner &scanner) {
    for (inputsource &source : sources) {
        if (!source.isfile())
            continue;
        scanner.startsource(source);
        eachline(source, plan.shape, [&](std::string_view text) { scanner.line(text); });
        source.rewind();
    }
}

// What was taken from a stream was read up, but its line ends were not looked at.
void lookthrough(const recordshape &shape, std::vector<inputsource> &sources) {
    std::vector<char> block(lookbytes);
    for (inputsource &source : sources) {
        if (source.readup() && !shape.refusesfeeds())
            continue;
        const bool bare = holdsbarefeed(source, block);
        source.rewind();
        if (!bare || !shape.refusesfeeds())
            continue;
        eachline(source, shape, [](std::string_view) {}); // tells which line
        source.rewind();
    }
}

} // namespace command

#include "kvern/plan/plantext.h"

#include "kvern/plan/firstlook.h"
#include "kvern/plan/reach.h"
#include "kvern/plan/textneeds.h"
#include "kvern/records/part.h"
#include "kvern/system/report.h"

#include <algorithm>
#include <utility>

namespace command {

namespace {

constexpr uint64_t streammaxline = 4096; // for a stream that is not measured
constexpr uint32_t sumwidth = 18;        // digits of a sum whose values are not known
constexpr uint64_t copiedline = 32700;   // a line that is only copied; one byte is the key

uint64_t round4(uint64_t bytes) {
    return (bytes + 3) / 4 * 4;
}

// Bytes of a line in the key, beside its fields.
uint64_t keybytesof(const jobplan &plan, uint64_t content, bool stable) {
    uint64_t bytes = stable ? 4 : 0;
    for (const keyspec &key : plan.keys)
        bytes += key.keybytes();
    return plan.keys.empty() ? bytes + content : bytes;
}

// Key and record together must fit the engine's internal record.
bool fits(uint64_t keybytes, uint64_t content) {
    return round4(round4(keybytes) + content) <= internalroom;
}

[[noreturn]] void refuseline(const jobplan &plan, uint64_t keybytes, uint64_t content,
                             const textscanner &scanner) {
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

// Of a rebuilt line each piece is a field.
void takepiece(const jobplan &plan, const std::string &name, uint32_t position, uint32_t &length) {
    if (position >= plan.pieces.size())
        refuse(name + " names field " + std::to_string(position + 1) + " of a rebuilt line of " +
                   plural(plan.pieces.size(), "field"),
               "keys and sums look at the rebuilt line");
    if (length == 0)
        length = plan.pieces[position].length;
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

// What ends a line in a merge.
std::string lineputs(const jobplan &plan, const textscanner &scanner) {
    std::string end(endbytes(plan.shape.end));
    if (plan.shape.end != lineend::crlf)
        return end;
    if (!scanner.strayfeed())
        return "\n";
    return scanner.strayreturn() ? end : "\r";
}

// The steps to a plan are the same for both kinds of text; what fields are is told by one
// of two.
class textplan {
  public:
    virtual ~textplan() = default;
    textplan(const textplan &) = delete;
    textplan &operator=(const textplan &) = delete;

    void make() {
        setform();
        choosefields();
        const textscanner seen = look();
        if (plan.allseen)
            plan.form.numbers = nullptr;
        plan.lineput = lineputs(plan, seen);
        const uint64_t content = linelength(seen);
        plan.form.maxline = content;
        const uint64_t growth = settlefields(content, seen);
        const bool rebuilt = !plan.pieces.empty();
        const uint64_t outgoing = rebuilt ? rebuiltline() : content + growth;
        if (plan.kind == jobkind::copy)
            checkcopied(outgoing);
        else
            checkroom(outgoing);
        describe(rebuilt ? content : outgoing);
    }

  protected:
    textplan(const textjob &given, jobplan &planned, uint8_t fieldmode)
        : options(given.options), plan(planned), job(given), mode(fieldmode) {}

    const joboptions &options;
    jobplan &plan;

    // What the scanner looks for in each line.
    virtual void choosefields() = 0;
    // Bytes that the description itself asks of a line.
    virtual uint64_t leastlength() const { return 0; }
    // Fields of lines of this length; returns the bytes that sums may add to a line.
    virtual uint64_t settlefields(uint64_t content, const textscanner &seen) = 0;

  private:
    const textjob &job;
    uint8_t mode;

    bool allknown() const {
        return std::all_of(job.sources.begin(), job.sources.end(),
                           [](const inputsource &one) { return one.placed() || one.aheadisall(); });
    }
    void setform() {
        textform &form = plan.form;
        form.separator = options.separator;
        form.maxline = options.maxline;
        form.dropshort = options.dropshort;
        form.looksforstrays = wantsstrays(plan);
        if (form.separator.find(endbytes(plan.shape.end)) != std::string::npos)
            refuse("-t " + quoted(form.separator) + " holds the end of a line", "look at --eol");
    }

    textscanner look() {
        textform &form = plan.form;
        form.numbers = numbersof(options, plan);
        plan.allseen = mustlook(options, plan) && allknown();
        if (!mustlook(options, plan))
            return textscanner(form);
        if (threads() > 1) {
            textscanner scanner(form);
            if (scantogether({plan.shape, job.sources, job.seen}, form, scanner, threads()) &&
                settles())
                return scanner;
            form.numbers = numbersof(options, plan);
        }
        return lookinorder();
    }
    // Small inputs are read before another thread has begun.
    unsigned threads() const {
        const uint64_t bytes = placedbytes(job.sources);
        return static_cast<unsigned>(std::min<uint64_t>(job.jobs, 1 + bytes / (2 * partbytes)));
    }
    textscanner lookinorder() {
        textscanner scanner(plan.form);
        scaninorder({plan.shape, job.sources, job.seen}, scanner);
        if (plan.form.numbers)
            plan.form.numbers->settle(plan.engine.conditions);
        return scanner;
    }
    bool settles() {
        try {
            if (plan.form.numbers)
                plan.form.numbers->settle(plan.engine.conditions);
        } catch (const failure &) {
            return false;
        }
        return true;
    }
    // The longest line that comes in.
    uint64_t linelength(const textscanner &seen) const {
        if (options.maxline != 0)
            return options.maxline;
        if (!mustmeasure(options, plan))
            return copiedline;
        return std::max({seen.longest(), allknown() ? 1 : streammaxline, leastlength()});
    }
    uint64_t rebuiltline() const {
        return (plan.pieces.size() - 1) * plan.joint.size() + rebuiltlength(plan);
    }
    void checkroom(uint64_t content) {
        const bool stable = options.stable && plan.kind == jobkind::sort;
        const uint64_t keybytes = keybytesof(plan, content, stable);
        if (!fits(keybytes, content))
            refuseline(plan, keybytes, content, lookinorder());
    }
    void checkcopied(uint64_t outgoing) const {
        const uint64_t more = plan.leadingbytes() + 2 * sizeof(uint32_t);
        if (!plan.pieces.empty() && round4(outgoing + more) > internalroom)
            throw failure{ending::usage, "--rebuild: the lines are too long",
                          "records have at most " + std::to_string(internalroom) + " bytes", 23,
                          240};
    }
    void describe(uint64_t content) {
        KVRNPRIM &prim = plan.engine.prim;
        prim.recform = KVRN_VARIABLE;
        prim.fieldmode = mode;
        constexpr uint8_t delimiters[] = {KVRN_DLMT_LF, KVRN_DLMT_CR, KVRN_DLMT_CRLF};
        prim.linedlmt = delimiters[static_cast<size_t>(plan.shape.end)];
        prim.reclen = static_cast<uint32_t>(content + endbytes(plan.shape.end).size());
        const uint8_t bits = options.textoption;
        if (plan.keys.empty())
            prim.keyoption = static_cast<uint8_t>(
                (bits & ~KVRN_TXT_NUMERIC) | (bits & KVRN_TXT_NUMERIC ? KVRN_KEYOPT_NUMERIC : 0));
        plan.engine.separator = plan.form.separator;
    }
};

// Fields are places in the line, which has to reach that far.
class columnplan : public textplan {
  public:
    columnplan(const textjob &given, jobplan &planned) : textplan(given, planned, KVRN_COLUMNS) {}

  private:
    void choosefields() override { needleast(plan); }
    uint64_t leastlength() const override {
        uint64_t least = std::max(plan.engine.conditions.reach, piecereach(plan));
        if (!plan.pieces.empty())
            return least;
        for (const keyspec &key : plan.keys)
            least = std::max(least, key.reach());
        for (const sumspec &sum : plan.sums)
            least = std::max(least, sum.reach());
        return least;
    }
    uint64_t settlefields(uint64_t content, const textscanner &) override {
        checkreaches(plan, content, "line", "raise --max-line");
        return 0;
    }
};

// Fields have numbers, and widths that the lines tell.
class fieldplan : public textplan {
  public:
    fieldplan(const textjob &given, jobplan &planned) : textplan(given, planned, KVRN_FIELDS) {}

  private:
    // A field of the line that comes in whose width the session needs.
    struct fielduser {
        uint32_t position;
        std::string name;
        uint32_t &length; // 0: as wide as the widest
        bool sums;
    };
    std::vector<fielduser> users;

    void choosefields() override {
        for (rebuildpiece &piece : plan.pieces)
            if (!piece.literal)
                users.push_back({piece.position, "--rebuild", piece.length, false});
        if (plan.pieces.empty()) {
            for (keyspec &key : plan.keys)
                users.push_back({key.position, key.name, key.length, false});
            for (sumspec &sum : plan.sums)
                users.push_back({sum.position, sum.name, sum.length, true});
        }
        for (const fielduser &user : users)
            lookfor(user.position, user.name);
        if (options.wheregiven)
            lookfor(plan.engine.conditions.lastfield, "--where");
    }
    void lookfor(uint32_t field, const std::string &name) {
        if (field > internalroom)
            refuse(name + " names field " + std::to_string(field + uint64_t{1}),
                   "lines have at most " + std::to_string(internalroom) + " bytes");
        plan.form.fields.push_back(field);
        plan.form.keynames.push_back(name);
    }

    uint64_t settlefields(uint64_t content, const textscanner &seen) override {
        for (size_t i = 0; i < users.size(); ++i)
            if (users[i].length == 0)
                users[i].length = plan.allseen    ? widthof(i, seen)
                                  : users[i].sums ? sumwidth
                                                  : static_cast<uint32_t>(content);
        boundwidths(plan, content + endbytes(plan.shape.end).size());
        if (!plan.pieces.empty())
            takepieces();
        uint64_t growth = 0;
        for (const sumspec &sum : plan.sums)
            growth += sum.length;
        return growth;
    }
    // Sums grow in their fields.  No sum of all lines has more digits than the widest
    // value and the number of lines together.
    uint32_t widthof(size_t user, const textscanner &seen) const {
        constexpr uint32_t most = 256;
        const uint32_t widest = std::max(seen.widest(user), 1u);
        const auto digits = static_cast<uint32_t>(std::to_string(seen.lines()).size());
        return users[user].sums ? std::min(widest + digits, most) : widest;
    }
    void takepieces() {
        for (keyspec &key : plan.keys)
            takepiece(plan, key.name, key.position, key.length);
        for (sumspec &sum : plan.sums)
            takepiece(plan, sum.name, sum.position, sum.length);
    }
};

} // namespace

void plantext(const textjob &job, jobplan &plan) {
    if (plan.view.byfield)
        fieldplan(job, plan).make();
    else
        columnplan(job, plan).make();
}

} // namespace command

#include "kvern/run/explain.h"

#include "kvern/options/optiontable.h"
#include "kvern/plan/plan.h"
#include "kvern/plan/reach.h"
#include "kvern/syntax/fieldtypes.h"
#include "kvern/system/report.h"
#include "kvern/system/workfile.h"

#include <algorithm>
#include <cctype>

namespace command {

namespace {

std::string shown(const char *bytes, size_t length) {
    constexpr size_t most = 24;
    const std::string text(bytes, std::min(length, most));
    const bool plain = std::all_of(text.begin(), text.end(), [](char c) {
        return std::isprint(static_cast<unsigned char>(c)) != 0 && c != '"';
    });
    const std::string out = plain ? quoted(text) : "x" + quoted(hexadecimal(text));
    return length > most ? out + "..." : out;
}

// A field as it is typed.
std::string fieldof(const recordview &view, uint32_t position, uint32_t length, uint8_t type) {
    if (view.byfield)
        return "$" + std::to_string(position + 1) + ":" + std::to_string(length);
    const bool mask = type == KVRN_MASKBYTE;
    std::string out =
        std::to_string(position + 1) + "," + (mask ? std::string("1") : std::to_string(length));
    if (!view.text)
        out += std::string(",") + (type == KVRN_CHARX ? "ch" : nameoftype(type));
    return mask ? out + "=" + std::to_string(length) : out;
}

// The letters of a key, in the order of their bits.
std::string lettersof(uint8_t textoption) {
    std::string out;
    for (unsigned bit = 1; bit <= UINT8_MAX; bit <<= 1)
        for (const textletter &one : textletters)
            if (one.bit == bit && (textoption & bit) != 0)
                out += one.letter();
    return out;
}

std::string range(uint64_t from, uint64_t length) {
    return std::to_string(from + 1) + "-" + std::to_string(from + length);
}

class explainer {
  public:
    explainer(const joboptions &given, const std::vector<inputsource> &inputs,
              const jobplan &planned, const storageplan &stored)
        : options(given), sources(inputs), plan(planned), storage(stored) {}

    std::string run() {
        section(std::string("Command") + ": " + jobname(options.kind));
        files();
        records();
        keys();
        program();
        maps();
        room();
        return text;
    }

  private:
    const joboptions &options;
    const std::vector<inputsource> &sources;
    const jobplan &plan;
    const storageplan &storage;
    std::string text;

    void section(const std::string &title) { text += title + "\n"; }
    void line(const std::string &what) { text += "  " + printable(what) + "\n"; }

    void files() {
        for (const inputsource &source : sources)
            line("input   " + source.name() +
                 (source.isfile() ? ", " + plural(source.size(), "byte") : ", a stream"));
        if (options.kind != jobkind::check)
            line("output  " +
                 (options.tofile()
                      ? options.output + (isreplaced(options.output) ? ", written beside it first"
                                                                     : ", a stream")
                      : std::string("standard output")));
        if (options.header != 0)
            line("header  " + std::to_string(options.header) + " of each input");
    }
    void records() {
        const KVRNPRIM &prim = plan.engine.prim;
        section("Records");
        if (plan.shape.kind == formkind::fixed)
            line("fixed, " + plural(prim.reclen, "byte"));
        else if (plan.shape.kind == formkind::variable)
            line("variable, up to " + plural(prim.reclen, "byte") + ", framing " +
                 plan.shape.frame->name);
        else
            line("lines of up to " + plural(prim.reclen, "byte") + " with their end, which is " +
                 shown(endbytes(plan.shape.end).data(), endbytes(plan.shape.end).size()) +
                 (plan.view.byfield ? ", by fields" : ", by columns"));
        line("data " + options.data + (options.data == "ascii" ? ", zoned " + options.zoned : ""));
    }
    void keys() {
        if (options.kind == jobkind::copy)
            return;
        section("Keys, the first weighs most");
        for (const keyspec &key : plan.keys) {
            const std::string letters = lettersof(key.textoption);
            line(fieldof(plan.view, key.position, key.length, key.type) +
                 (key.descending ? ", descending" : ", ascending") +
                 (letters.empty() ? "" : ", -" + letters) + (key.kanjiconv ? ", by JIS code" : ""));
        }
        if (plan.keys.empty())
            line(std::string("the whole record") + (options.reverse ? ", descending" : ""));
        if (options.unique)
            line("one record of each key is kept");
        for (const sumspec &sum : plan.sums)
            line("sum " + fieldof(plan.view, sum.position, sum.length, sum.type));
    }
    static std::string outcome(uint8_t code, size_t entry, uint32_t jump) {
        return code == KVRN_GO_KEEP   ? "keep"
               : code == KVRN_GO_DROP ? "drop"
                                      : std::to_string(code == KVRN_GO_NEXT ? entry + 1 : jump);
    }
    void program() {
        if (plan.engine.conditions.entries.empty())
            return;
        section("Conditions, each with the next one where it holds and where it does not");
        constexpr const char *ops[] = {"==", "!=", ">", ">=", "<", "<="};
        size_t number = 0;
        for (const KVRNSELE &one : plan.engine.conditions.entries) {
            const bool literal = one.rtype == KVRN_FLD_LIT;
            line(std::to_string(number) + "  " + fieldof(plan.view, one.lpos, one.llen, one.ltype) +
                 " " + ops[one.op - KVRN_OP_EQ] + " " +
                 (literal ? shown(static_cast<const char *>(one.rlit), one.rlen)
                          : fieldof(plan.view, one.rpos, one.rlen, one.rtype)) +
                 "  -> " + outcome(one.iftrue, number, one.truejump) + ", " +
                 outcome(one.iffalse, number, one.falsejump));
            ++number;
        }
    }
    void maps() {
        section(plan.pieces.empty() ? "Map of the record" : "Map of the record that comes in");
        std::vector<std::pair<uint32_t, std::string>> in, out;
        const auto place = [&](auto &map, uint32_t position, uint64_t length,
                               const std::string &what) {
            map.emplace_back(position, plan.view.byfield
                                           ? "$" + std::to_string(position + 1) + "  " + what
                                           : range(position, length) + "  " + what);
        };
        for (const KVRNSELE &one : plan.engine.conditions.entries) {
            place(in, one.lpos, one.ltype == KVRN_MASKBYTE ? 1 : one.llen, "condition");
            if (one.rtype != KVRN_FLD_LIT)
                place(in, one.rpos, one.rtype == KVRN_MASKBYTE ? 1 : one.rlen, "condition");
        }
        uint32_t at = 0;
        for (const rebuildpiece &piece : plan.pieces) {
            if (!piece.literal)
                place(in, piece.position, piece.length, "piece");
            const uint32_t number = plan.view.byfield ? static_cast<uint32_t>(out.size()) : at;
            place(out, number, piece.length,
                  piece.literal ? shown(piece.bytes.data(), piece.bytes.size())
                                : "piece " + fieldof(plan.view, piece.position, piece.length,
                                                     plan.view.text ? 0 : uint8_t{KVRN_CHAR}));
            at += piece.length;
        }
        auto &keyed = plan.pieces.empty() ? in : out;
        for (const keyspec &key : plan.keys)
            place(keyed, key.position, key.reach() - key.position, key.name);
        for (const sumspec &sum : plan.sums)
            place(keyed, sum.position, sum.length, sum.name);
        printmap(in);
        if (plan.pieces.empty())
            return;
        section("Map of the rebuilt record");
        printmap(out);
    }
    void printmap(std::vector<std::pair<uint32_t, std::string>> &map) {
        std::stable_sort(map.begin(), map.end(),
                         [](const auto &a, const auto &b) { return a.first < b.first; });
        const auto last = std::unique(map.begin(), map.end());
        std::for_each(map.begin(), last, [this](const auto &one) { line(one.second); });
        if (map.empty())
            line("taken as it is");
    }
    // What the engine needs beside key and record is its own; hence "about".
    void room() {
        section("Room");
        const uint64_t sessions = sorting() ? storage.sessions : 1;
        line(plural(storage.jobs, "thread"));
        if (!sorting())
            return;
        line(plural(sessions, "session") + " of " + plural(storage.memory, "byte") +
             (sessions > 1 ? ", each for a range of keys" : ""));
        const KVRNPRIM &prim = plan.engine.prim;
        const uint64_t record = plan.pieces.empty() ? prim.reclen : rebuiltlength(plan);
        uint64_t keybytes = plan.keys.empty() && plan.view.text ? record : 0;
        for (const keyspec &key : plan.keys)
            keybytes +=
                plan.view.text ? key.keybytes() : 0; // else the key holds its part of the record
        const uint64_t internal = (keybytes + record + 7) / 4 * 4;
        const uint64_t incore =
            sessions * (storage.memory * uint64_t{3} / 4 / (internal + 2 * sizeof(void *)));
        line("about " + plural(internal, "byte") + " a record, about " + std::to_string(incore) +
             " of them in core");
        tempfiles(internal, incore);
    }
    bool sorting() const { return options.kind == jobkind::sort; }
    void tempfiles(uint64_t internal, uint64_t incore) {
        const bool known = plan.shape.kind == formkind::fixed && allplaced(sources);
        const uint64_t count = known ? placedbytes(sources) / plan.shape.length : 0;
        if (known && count <= incore)
            line("no temporary files for " + plural(count, "record"));
        else if (known)
            line("temporary files of about " + plural(count * internal, "byte"));
        else
            line("temporary files where there are more");
    }
};

// A session looks at its description and waits.
void trydescription(const joboptions &options, const std::vector<inputsource> &sources,
                    const jobplan &plan, const storageplan &storage) {
    const bool merging = options.kind == jobkind::merge || plan.leadingbytes() != 0;
    const size_t inputs = options.kind == jobkind::merge ? sources.size() : 1;
    description what = merging ? planmerge(plan, inputs) : plan.engine;
    if (options.kind == jobkind::sort)
        what.prim.memsize = storage.memory;
    session engine(what);
}

} // namespace

void explainjob(const joboptions &options, const std::vector<inputsource> &sources,
                const jobplan &plan, const storageplan &storage) {
    trydescription(options, sources, plan, storage);
    printtext(explainer(options, sources, plan, storage).run());
}

} // namespace command

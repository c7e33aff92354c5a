#include "support/sessionspec.h"

#include <algorithm>
#include <cstdio>
#include <sstream>

namespace kvern::test {

unsigned sessionspec::level() const {
    const uint32_t first[] = {0x0110, 0x1010, 0x1110, 0x1120}; // of the version
    return static_cast<unsigned>(std::find(first, std::end(first), version >> 16) - first);
}

bytes sessionspec::delimiter() const {
    return !text()                    ? ""
           : linedlmt == KVRN_DLMT_LF ? "\n"
           : linedlmt == KVRN_DLMT_CR ? "\r"
                                      : "\r\n";
}

size_t sessionspec::records() const {
    size_t n = 0;
    for (const auto &file : inputs)
        n += file.size();
    return n;
}

uint32_t sessionspec::selectionneeds() const {
    uint32_t needs = 0;
    for (const condition &c : conditions) {
        needs = std::max(needs, c.lpos + (bynumber() ? 1 : c.leftlength()));
        if (!c.isliteral())
            needs = std::max(needs, c.rpos + (bynumber() ? 1 : c.rightlength()));
    }
    return needs;
}

uint32_t sessionspec::rebuildingneeds() const {
    uint32_t needs = 0;
    for (const piece &p : pieces)
        if (!p.literal)
            needs = std::max(needs, p.position + (bynumber() ? 1 : p.length));
    return needs;
}

uint32_t sessionspec::outlength() const {
    if (pieces.empty())
        return inlength();
    uint32_t n = 0;
    for (const piece &p : pieces)
        n += p.length;
    if (bynumber())
        n += static_cast<uint32_t>((pieces.size() - 1) * separator.value_or(" ").size());
    return n;
}

bool sessionspec::doublebyte() const {
    return (level() >= 2 && (byte39() & 2) != 0) ||
           std::any_of(keys.begin(), keys.end(),
                       [](const keyspec &k) { return k.kanjiconv == KVRN_KANJI_JIS; });
}

void orderbyprimary(std::vector<bytes> &records) {
    std::stable_sort(records.begin(), records.end(), [](const bytes &a, const bytes &b) {
        return a.substr(0, 1) < b.substr(0, 1);
    });
}

std::string visible(const bytes &text) {
    std::string out = "\"";
    for (const char c : text) {
        char code[8];
        const bool plain = c >= ' ' && c <= '~' && c != '"' && c != '\\';
        std::snprintf(code, sizeof code, plain ? "%c" : "\\x%02X", static_cast<unsigned char>(c));
        out += code;
    }
    return out + "\"";
}

std::string describe(const sessionspec &s) {
    std::ostringstream out;
    const auto line = [&](const char *names, std::initializer_list<uint32_t> values) {
        out << "\n  " << names << ':';
        for (const uint32_t value : values)
            out << ' ' << value;
    };
    out << "function " << s.function << " form " << s.form << " separator "
        << (s.separator ? visible(*s.separator) : "none");
    line("version, reclen, memsize, cdmode, altmode, ways in, out",
         {s.version, s.reclen, s.memsize, s.cdmode, s.altmode, static_cast<uint32_t>(s.input),
          static_cast<uint32_t>(s.output)});
    line("fieldmode, linedlmt, keyoption, keyoption2",
         {s.fieldmode, s.linedlmt, s.keyoption, s.keyoption2});
    line("keeporder, suppress, descall, external, checked, onto_input, unterminated, endmark",
         {s.keeporder, s.suppress, s.descall, s.external, s.checked, s.onto_input, s.unterminated,
          s.endmark});
    for (const keyspec &k : s.keys)
        line("key position, length, type, order, textoption, kanjiconv",
             {k.position, k.length, k.type, k.order, k.textoption, k.kanjiconv});
    for (const piece &p : s.pieces) {
        line("piece position, length", {p.position, p.length});
        out << (p.literal ? " or " + visible(p.text) : "");
    }
    for (const sumfield &f : s.sums)
        line("sum position, length, type", {f.position, f.length, f.type});
    for (const condition &c : s.conditions) {
        line("condition op, options, left type, position, length, right ones",
             {c.op, c.options, c.ltype, c.lpos, c.llen, c.rtype, c.rpos, c.rlen});
        out << ' ' << visible(c.literal);
        line("  if true, to, if false, to", {c.iftrue, c.truejump, c.iffalse, c.falsejump});
    }
    for (const auto &file : s.inputs) {
        line("input of records", {static_cast<uint32_t>(file.size())});
        for (size_t i = 0; i < file.size() && i < 8; ++i)
            out << "\n    " << visible(file[i]);
    }
    return out.str();
}

} // namespace kvern::test

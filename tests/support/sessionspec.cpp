#include "support/sessionspec.h"

#include <algorithm>
#include <cstdio>
#include <sstream>

namespace kvern::test {

unsigned sessionspec::level() const {
    switch (version >> 16) {
    case 0x0110:
        return 0;
    case 0x1010:
        return 1;
    case 0x1110:
        return 2;
    case 0x1120:
        return 3;
    default:
        return 4;
    }
}

bytes sessionspec::delimiter() const {
    return form != 'r'                ? ""
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

uint32_t sessionspec::selectiontop() const {
    uint32_t top = 0;
    for (const condition &c : conditions) {
        top = std::max(top, c.lpos + (bynumber() ? 0 : c.leftlength() - 1));
        if (!c.isliteral())
            top = std::max(top, c.rpos + (bynumber() ? 0 : c.rightlength() - 1));
    }
    return top;
}

uint32_t sessionspec::outlength() const {
    if (pieces.empty())
        return reclen - static_cast<uint32_t>(delimiter().size());
    uint32_t n = 0;
    for (const piece &p : pieces)
        n += p.length;
    if (bynumber())
        n += static_cast<uint32_t>((pieces.size() - 1) * separator.value_or(" ").size());
    return n;
}

uint8_t sessionspec::byte39() const {
    return version == KVRN_VERSION_L2_OLDDLMT ? linedlmt : keyoption2;
}

bool sessionspec::doublebyte() const {
    bool yes = level() >= 2 && (byte39() & 2) != 0;
    for (const keyspec &key : keys)
        yes = yes || key.kanjiconv == KVRN_KANJI_JIS;
    return yes;
}

void orderbyprimary(std::vector<bytes> &records) {
    std::stable_sort(records.begin(), records.end(), [](const bytes &a, const bytes &b) {
        return a.substr(0, 1) < b.substr(0, 1);
    });
}

std::string visible(const bytes &text) {
    std::string out = "\"";
    for (const char c : text) {
        const auto b = static_cast<unsigned char>(c);
        if (b >= 32 && b < 127 && c != '"' && c != '\\') {
            out += c;
        } else {
            char code[8];
            std::snprintf(code, sizeof code, "\\x%02X", b);
            out += code;
        }
    }
    return out + "\"";
}

std::string describe(const sessionspec &s) {
    constexpr const char *ways[] = {"record",      "block",        "plainfile",  "descriptorfile",
                                    "managerfile", "relativefile", "indexedfile"};
    std::ostringstream out;
    out << "function " << s.function << " version 0x" << std::hex << s.version << std::dec
        << " form " << s.form << " reclen " << s.reclen << " memsize " << s.memsize << " cdmode "
        << +s.cdmode << " altmode " << +s.altmode << "\n  in " << ways[static_cast<int>(s.input)]
        << " out " << ways[static_cast<int>(s.output)];
    if (s.form == 'r') {
        out << "\n  fieldmode " << +s.fieldmode << " linedlmt " << +s.linedlmt << " separator "
            << (s.separator ? visible(*s.separator) : "none") << " keyoption " << +s.keyoption
            << " keyoption2 " << +s.keyoption2;
    }
    const std::pair<bool, const char *> flags[] = {
        {s.keeporder, "keeporder"},       {s.suppress, "suppress"},     {s.descall, "descall"},
        {s.checked, "checked"},           {s.onto_input, "onto_input"}, {s.endmark, "endmark"},
        {s.unterminated, "unterminated"}, {s.external, "external"}};
    for (const auto &[set, name] : flags)
        out << (set ? std::string("\n  ") + name : "");
    for (const keyspec &k : s.keys) {
        out << "\n  key position " << k.position << " length " << k.length << " type " << +k.type
            << " order " << +k.order << " textoption " << +k.textoption << " kanjiconv "
            << +k.kanjiconv;
    }
    for (const piece &p : s.pieces) {
        out << "\n  piece " << (p.literal ? visible(p.text) : std::to_string(p.position))
            << " length " << p.length;
    }
    for (const sumfield &f : s.sums)
        out << "\n  sum position " << f.position << " length " << f.length << " type " << +f.type;
    for (const condition &c : s.conditions) {
        out << "\n  condition " << +c.op << " left " << +c.ltype << " at " << c.lpos << " of "
            << c.llen << " right " << +c.rtype << " at " << c.rpos << " of " << c.rlen
            << " literal " << visible(c.literal) << " options " << +c.options << " true "
            << +c.iftrue << " to " << c.truejump << " false " << +c.iffalse << " to "
            << c.falsejump;
    }
    for (const auto &file : s.inputs) {
        out << "\n  input of " << file.size() << " records";
        for (size_t i = 0; i < file.size() && i < 8; ++i)
            out << "\n    " << visible(file[i]);
    }
    return out.str();
}

} // namespace kvern::test

#include "support/recordmaker.h"
#include "support/fieldvalues.h"

#include <algorithm>
#include <numeric>

namespace kvern::test {

uint32_t recordmaker::highest() const {
    uint32_t top = nosource;
    for (const piece &p : s.pieces) {
        const uint32_t last = bynumber() ? p.position : p.position + p.length - 1;
        top = p.literal ? top : top == nosource ? last : std::max(top, last);
    }
    return top;
}

bytes recordmaker::operand(uint8_t type, uint32_t length) {
    const bool characters = type == KVRN_CHAR || type == KVRN_CHARX;
    const bytes out = text() ? textof(r.onein(2) ? script::words : script::numbers, length, 0, r)
                      : r.onein(9) ? edgefield(type, length, s.cdmode, r)
                      : characters ? bytes(length, r.pick({'\0', ' ', 'x', '\xFF'}))
                                   : fieldof(type, length, s.cdmode,
                                             (r.below(5) - 2LL) * r.pick({1, 11, 1111111}), r);
    return (out + bytes(length, text() ? 'm' : '0')).substr(0, length);
}

// A number that is summed, as text.
bytes recordmaker::amount(uint32_t width) {
    if (wild && r.onein(9))
        return textof(script::numbers, width, 0, r);
    bytes out = std::to_string(wild ? r.below(1000000) : r.below(3)).substr(0, width);
    if (out.size() < width && r.onein(2))
        out.insert(0, 1, r.pick({'+', '-', '0'}));
    return out;
}

void recordmaker::makerecords(uint32_t count) {
    originbytes();
    const auto d = static_cast<distribution>(r.below(distributions));
    const auto rough = static_cast<script>(r.below(4));
    const bool flat = r.onein(2);
    for (uint32_t i = 0; i < count; ++i) {
        const int64_t rank = rankof(d, i, count, r);
        const bool lacks = faulty && r.onein(40);
        bytes record = bynumber() ? fieldline(rank, rough, lacks)
                       : text()   ? columnline(rank, rough, lacks)
                                  : framed(rank, flat, lacks);
        const auto files = static_cast<uint32_t>(s.inputs.size());
        const uint32_t file = static_cast<uint32_t>(uint64_t{i} * files / count);
        s.inputs[s.function == KVRN_MERGE ? r.below(files) : file].push_back(record);
    }
}

void recordmaker::originbytes() {
    origin.clear();
    for (const piece &p : s.pieces)
        for (uint32_t i = 0; i < p.length; ++i)
            origin.push_back(p.literal ? nosource : p.position + i);
    if (s.pieces.empty()) {
        origin.resize(s.outlength());
        std::iota(origin.begin(), origin.end(), 0U);
    }
}

void recordmaker::place(bytes &record, uint32_t position, const bytes &field) const {
    for (size_t i = 0; i < field.size(); ++i) {
        const uint32_t from = origin[position + i];
        if (from < record.size())
            record[from] = field[i];
    }
}

// Bytes that a record must have for rebuilding, selection and summation.
uint32_t recordmaker::least() const {
    const uint32_t top = highest();
    uint32_t size = s.pieces.empty() ? 0 : top != nosource ? top + 1 : s.form == 'v' ? 1 : 0;
    size = s.conditions.empty() ? size : std::max(size, s.selectiontop() + 1);
    for (const sumfield &f : s.sums)
        if (s.pieces.empty() && !wild)
            size = std::max(size, f.position + f.length + (s.form == 'v' ? 4 : 0));
    return size;
}

uint32_t recordmaker::lengthof(bool lacks, uint32_t longest) {
    // No record can be long enough for a sum that ends at the greatest length.
    uint32_t shortest = std::min(least(), longest);
    if (wild && !s.sums.empty() && r.onein(3)) // about where the first sum ends
        shortest = longest =
            std::clamp(s.sums[0].position + s.sums[0].length + r.below(6), shortest, longest);
    return lacks        ? r.pick({0U, shortest - std::min(shortest, 1U)})
           : r.onein(5) ? longest
           : r.onein(5) ? shortest
                        : r.between(shortest, longest);
}

// Operands of selection stand in the record as it comes in.
void recordmaker::placeoperands(bytes &record) {
    const auto put = [&](uint32_t at, uint8_t type, uint32_t length) {
        if (at + length <= record.size())
            record.replace(at, length, operand(type, length));
    };
    for (const condition &c : s.conditions) {
        put(c.lpos, c.ltype, c.leftlength());
        if (!c.isliteral())
            put(c.rpos, c.rtype, c.rightlength());
    }
}

// Forms 'f' and 'v'.  Later keys first, so that the first one stands whole.
bytes recordmaker::framed(int64_t rank, bool flat, bool lacks) {
    const char fill = r.pick({'\0', ' ', '\xFF', 'x'});
    bytes record(s.reclen, fill);
    for (char &c : record)
        c = flat ? c : r.byte();
    placeoperands(record);
    for (const sumfield &f : s.sums) {
        const int64_t v = wild && r.onein(3) ? rankof(distribution::random, 0, 0, r)
                                             : r.below(5) - (f.type == KVRN_UBEBIN ? 0 : 2LL);
        place(record, f.position,
              wild && r.onein(9) ? edgefield(f.type, f.length, s.cdmode, r)
                                 : fieldof(f.type, f.length, s.cdmode, v, r));
    }
    for (size_t i = s.keys.size(); i-- > 0;) {
        const keyspec &k = s.keys[i];
        const uint32_t length = k.type == KVRN_MASKBYTE ? 1 : k.length;
        const int64_t v = i == 0 ? rank : rankof(distribution::twovalues, 0, 0, r);
        place(record, k.position,
              r.onein(8) ? edgefield(k.type, length, s.cdmode, r)
                         : fieldof(k.type, length, s.cdmode, v, r));
    }
    if (s.form == 'v') {
        record.resize(lengthof(lacks, s.reclen));
    }
    return record;
}

bytes recordmaker::legal(bytes line) {
    if (s.input != exchange::block && r.onein(4)) // blocks end a line at a zero byte
        std::replace(line.begin(), line.end(), '?', '\0');
    return line;
}

script recordmaker::scriptof(const keyspec &k, script otherwise) {
    return k.textoption & KVRN_TXT_NUMERIC               ? script::numbers
           : k.kanjiconv == KVRN_KANJI_JIS && r.onein(2) ? script::kanji
                                                         : otherwise;
}

bytes recordmaker::columnline(int64_t rank, script rough, bool lacks) {
    const uint32_t length = lengthof(lacks && highest() != 0, room());
    bytes line;
    while (line.size() < length)
        line += textof(rough, 20, rank, r) + r.pick({" ", "\t", "", "  "});
    line.resize(length);
    placeoperands(line);
    for (const sumfield &f : s.sums) {
        const bytes value = amount(f.length);
        place(line, f.position, bytes(f.length - value.size(), ' ') + value);
    }
    for (size_t i = s.keys.size(); i-- > 0;) {
        const keyspec &k = s.keys[i];
        const int64_t v = i == 0 ? rank : rankof(distribution::twovalues, 0, 0, r);
        bytes field = r.pick({"", "", " ", "\t "}) + textof(scriptof(k, rough), k.length, v, r) +
                      bytes(k.length, ' ');
        field.resize(k.length);
        place(line, k.position, field);
    }
    return legal(line);
}

// The field of the source that field `at` of what is sorted comes from.
uint32_t recordmaker::sourceof(uint32_t at) const {
    return s.pieces.empty() ? at : at < s.pieces.size() ? s.pieces[at].position : nosource;
}

bytes recordmaker::fieldline(int64_t rank, script rough, bool lacks) {
    const uint32_t top = highest();
    uint32_t needed = s.pieces.empty() || top == nosource ? 1 : top + 1;
    for (const keyspec &k : s.keys)
        needed = s.pieces.empty() ? std::max(needed, k.position + 1) : needed;
    for (const sumfield &f : s.sums)
        needed = s.pieces.empty() && !wild ? std::max(needed, f.position + 1) : needed;
    needed = s.conditions.empty() ? needed : std::max(needed, s.selectiontop() + 1);
    const uint32_t count = lacks ? r.between(1, needed) : r.between(needed, needed + 2);
    const uint32_t each = room() / count;
    const bytes separator = s.separator.value_or(r.pick({" ", "\t"}));
    bytes line;
    for (uint32_t f = 0; f < count; ++f) {
        script kind = rough;
        int64_t v = rankof(distribution::twovalues, 0, 0, r);
        for (size_t i = s.keys.size(); i-- > 0;) {
            if (sourceof(s.keys[i].position) == f) {
                kind = scriptof(s.keys[i], rough);
                v = i == 0 ? rank : v;
            }
        }
        bytes field = r.onein(10) ? "" : r.pick({"", "", " ", "\t"}) + textof(kind, 9, v, r);
        if (s.doublebyte() && s.separator && !lacks)
            field += "aa"; // a lone lead byte takes no separator with it
        for (const sumfield &sum : s.sums)
            field = sourceof(sum.position) == f ? amount(sum.length) : field;
        line += f == 0 ? "" : separator;
        line += field.size() + separator.size() > each ? "" : field;
    }
    return legal(line);
}

} // namespace kvern::test

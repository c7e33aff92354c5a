#include "support/recordmaker.h"

#include <algorithm>

namespace kvern::test {

namespace {

// How the ranks of records run: the named inputs of sort tests.
enum distribution { ascending, descending, equal, twovalues, sawtooth, organpipe, random };
constexpr uint32_t distributions = 7;

// Each choice is a statement of its own where order would be the compiler's.
int64_t signedby(int64_t value, randomness &r) {
    return r.onein(2) ? -value : value;
}

int64_t rankof(uint32_t kind, int64_t at, int64_t size, randomness &r) {
    return kind == ascending    ? at - size / 2
           : kind == descending ? size / 2 - at
           : kind == equal      ? 7
           : kind == twovalues  ? signedby(1, r)
           : kind == sawtooth   ? at % 17
           : kind == organpipe  ? std::min(at, size - at)
                                : signedby(static_cast<int64_t>(r.bits() >> r.between(1, 62)), r);
}

class recordmaker {
  public:
    recordmaker(const sessionspec &spec, habits how, randomness &random)
        : s(spec), faulty(how.faulty), wild(how.wild), r(random), kind(r.below(distributions)),
          rough(static_cast<script>(r.below(4))), flat(r.onein(2)) {
        for (const piece &p : s.pieces)
            for (uint32_t i = 0; i < p.length; ++i)
                origin.push_back(p.literal ? nosource : p.position + i);
        for (uint32_t i = 0; s.pieces.empty() && i < s.outlength(); ++i)
            origin.push_back(i);
    }

    bytes make(uint32_t number, uint32_t count) {
        const int64_t rank = rankof(kind, number, count, r);
        const bool lacks = faulty && r.onein(40);
        bytes record = s.bynumber() ? byfields(rank, lacks) : bypositions(rank, lacks);
        if (s.text() && s.input != exchange::block && r.onein(4)) // a block ends a line at 0
            std::replace(record.begin(), record.end(), '?', '\0');
        return record;
    }

  private:
    static constexpr uint32_t nosource = UINT32_MAX;
    const sessionspec &s;
    bool faulty, wild;
    randomness &r;
    uint32_t kind;
    script rough;
    bool flat;
    std::vector<uint32_t> origin{}; // byte of the source for each byte of what is sorted

    int64_t fewvalues() { return rankof(twovalues, 0, 0, r); }

    // Bytes, or fields by number, that a record must have.
    [[nodiscard]] uint32_t least() const {
        const bool one = s.bynumber() || (s.form == 'v' && !s.pieces.empty());
        uint32_t needs = std::max({s.rebuildingneeds(), s.selectionneeds(), one ? 1U : 0U});
        if (!s.pieces.empty())
            return needs;
        for (const sumfield &f : s.sums)
            if (!wild)
                needs = std::max(needs, f.position + (s.bynumber() ? 1 : f.length) +
                                            (s.form == 'v' ? 4 : 0));
        for (const keyspec &k : s.keys)
            if (s.bynumber())
                needs = std::max(needs, k.position + 1);
        return needs;
    }

    uint32_t lengthof(bool lacks) {
        // No record can be long enough for a sum that ends at the greatest length.
        uint32_t longest = s.inlength(), shortest = std::min(least(), longest);
        if (wild && !s.sums.empty() && r.onein(3)) // about where the first sum ends
            shortest = longest =
                std::clamp(s.sums[0].position + s.sums[0].length + r.below(6), shortest, longest);
        return lacks        ? r.pick({0U, shortest - std::min(shortest, 1U)})
               : r.onein(5) ? longest
               : r.onein(5) ? shortest
                            : r.between(shortest, longest);
    }

    // ---- forms 'f' and 'v', and lines by columns ---------------------------------

    void place(bytes &record, uint32_t position, const bytes &field) const {
        for (size_t i = 0; i < field.size(); ++i)
            if (const uint32_t from = origin[position + i]; from < record.size())
                record[from] = field[i];
    }

    bytes background(int64_t rank, bool lacks) {
        bytes out;
        if (s.text()) {
            const uint32_t length = lengthof(lacks && s.rebuildingneeds() != 1);
            while (out.size() < length)
                out += textof(rough, 20, rank, r) + r.pick({" ", "\t", "", "  "});
            out.resize(length);
            return out;
        }
        out.assign(s.reclen, r.pick({'\0', ' ', '\xFF', 'x'}));
        for (char &c : out)
            c = flat ? c : r.byte();
        return out;
    }

    // Operands of selection stand in the record as it comes in.
    void placeoperands(bytes &record) {
        const auto put = [&](uint32_t at, uint8_t type, uint32_t length) {
            if (at + length <= record.size())
                record.replace(at, length, operandof(s, type, length, r));
        };
        for (const condition &c : s.conditions) {
            put(c.lpos, c.ltype, c.leftlength());
            if (!c.isliteral())
                put(c.rpos, c.rtype, c.rightlength());
        }
    }

    // Later keys first, so that the first one stands whole.
    bytes bypositions(int64_t rank, bool lacks) {
        bytes record = background(rank, lacks);
        placeoperands(record);
        for (const sumfield &f : s.sums)
            place(record, f.position, s.text() ? textnumber(f.length) : amount(f));
        for (size_t i = s.keys.size(); i-- > 0;) {
            const int64_t v = i == 0 ? rank : fewvalues();
            place(record, s.keys[i].position, keyfield(s.keys[i], v));
        }
        if (s.form == 'v')
            record.resize(lengthof(lacks));
        return record;
    }

    bytes keyfield(const keyspec &k, int64_t v) {
        if (!s.text())
            return r.onein(8) ? edgefield(k.type, k.width(), s.cdmode, r)
                              : fieldof(k.type, k.width(), s.cdmode, v, r);
        bytes field = r.pick({"", "", " ", "\t "}) + textof(scriptof(k), k.length, v, r);
        field.resize(k.length, ' ');
        return field;
    }

    bytes amount(const sumfield &f) {
        const int64_t v = wild && r.onein(3) ? rankof(random, 0, 0, r)
                                             : r.below(5) - (f.type == KVRN_UBEBIN ? 0 : 2LL);
        return wild && r.onein(9) ? edgefield(f.type, f.length, s.cdmode, r)
                                  : fieldof(f.type, f.length, s.cdmode, v, r);
    }

    // A number that is summed; among columns it stands at the end of its field.
    bytes textnumber(uint32_t width) {
        bytes out;
        if (wild && r.onein(9)) {
            out = textof(script::numbers, width, 0, r);
        } else {
            out = std::to_string(wild ? r.below(1000000) : r.below(3)).substr(0, width);
            if (out.size() < width && r.onein(2))
                out.insert(0, 1, r.pick({'+', '-', '0'}));
        }
        return s.bynumber() ? out : bytes(width - out.size(), ' ') + out;
    }

    script scriptof(const keyspec &k) {
        return k.textoption & KVRN_TXT_NUMERIC               ? script::numbers
               : k.kanjiconv == KVRN_KANJI_JIS && r.onein(2) ? script::kanji
                                                             : rough;
    }

    // ---- lines by fields ---------------------------------------------------------

    // Field `f` of the source is field `at` of what is sorted.
    [[nodiscard]] bool isfield(uint32_t f, uint32_t at) const {
        return f == (s.pieces.empty()       ? at
                     : at < s.pieces.size() ? s.pieces[at].position
                                            : nosource);
    }

    bytes byfields(int64_t rank, bool lacks) {
        const uint32_t needed = least();
        const uint32_t count = lacks ? r.between(1, needed) : r.between(needed, needed + 2);
        const bytes separator = s.separator.value_or(r.pick({" ", "\t"}));
        bytes line;
        for (uint32_t f = 0; f < count; ++f) {
            const bytes field = fieldat(f, rank, lacks);
            line += f == 0 ? "" : separator;
            line += field.size() + separator.size() > s.inlength() / count ? "" : field;
        }
        return line;
    }

    bytes fieldat(uint32_t f, int64_t rank, bool lacks) {
        script how = rough;
        int64_t v = fewvalues();
        for (size_t i = s.keys.size(); i-- > 0;)
            if (isfield(f, s.keys[i].position)) {
                how = scriptof(s.keys[i]);
                v = i == 0 ? rank : v;
            }
        bytes field = r.onein(10) ? "" : r.pick({"", "", " ", "\t"}) + textof(how, 9, v, r);
        if (s.doublebyte() && s.separator && !lacks)
            field += "aa"; // a lone lead byte takes no separator with it
        for (const sumfield &sum : s.sums)
            field = isfield(f, sum.position) ? textnumber(sum.length) : field;
        return field;
    }
};

int64_t smallvalue(randomness &r) {
    const int64_t factor = r.below(5) - 2LL;
    return factor * r.pick({1, 11, 1111111});
}

} // namespace

bytes operandof(const sessionspec &s, uint8_t type, uint32_t length, randomness &r) {
    const bool characters = type == KVRN_CHAR || type == KVRN_CHARX;
    const bytes out = s.text() ? textof(r.onein(2) ? script::words : script::numbers, length, 0, r)
                      : r.onein(9) ? edgefield(type, length, s.cdmode, r)
                      : characters ? bytes(length, r.pick({'\0', ' ', 'x', '\xFF'}))
                                   : fieldof(type, length, s.cdmode, smallvalue(r), r);
    return (out + bytes(length, s.text() ? 'm' : '0')).substr(0, length);
}

void makerecords(sessionspec &s, habits how, uint32_t count, randomness &r) {
    recordmaker maker(s, how, r);
    const auto files = static_cast<uint32_t>(s.inputs.size());
    for (uint32_t i = 0; i < count; ++i) {
        const bytes record = maker.make(i, count);
        const auto file = static_cast<uint32_t>(uint64_t{i} * files / count);
        s.inputs[s.function == KVRN_MERGE ? r.below(files) : file].push_back(record);
    }
}

} // namespace kvern::test

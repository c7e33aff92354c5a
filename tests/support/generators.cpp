#include "support/generators.h"
#include "support/fieldvalues.h"

#include <algorithm>
#include <numeric>

namespace kvern::test {

namespace {

constexpr uint32_t nosource = 0xFFFFFFFF;

class maker {
  public:
    maker(randomness &random, const scale &size) : r(random), limits(size) {}

    sessionspec make() {
        choosecodes();
        chooselengths();
        if (s.level() >= 1 && r.onein(4))
            choosepieces();
        for (uint32_t n = r.onein(6) ? 0 : r.between(1, 4); n-- > 0;)
            choosekey();
        chooseoptions();
        chooseways();
        const uint32_t count = choosestorage();
        makerecords(count);
        return s;
    }

  private:
    randomness &r;
    scale limits;
    sessionspec s{};
    bool faulty = false;          // some records lack a field
    std::vector<uint32_t> origin; // byte of the source for each byte of what is sorted

    [[nodiscard]] bool text() const { return s.form == 'r'; }
    [[nodiscard]] bool bynumber() const { return s.fieldmode == KVRN_FIELDS; }
    [[nodiscard]] uint32_t room() const {
        return s.reclen - static_cast<uint32_t>(s.delimiter().size());
    }

    void choosecodes() {
        s.form = r.pick({'f', 'f', 'v', 'r', 'r'});
        s.version = r.pick({0x01100000U, 0x01100001U, 0x0110FFFFU, 0x11100000U, 0x11100001U,
                            0x1110FFFFU, 0x11200000U, 0x11300000U, 0x11300000U});
        if (text() && s.level() == 0)
            s.version = KVRN_VERSION_L4;
        if (s.level() >= 1) {
            s.cdmode = static_cast<uint8_t>(r.pick({0, 237, 238, 239}));
            s.linedlmt = static_cast<uint8_t>(r.below(4));
        }
        if (s.level() >= 4) {
            s.altmode = static_cast<uint8_t>(r.below(3));
            s.cdmode = !text() && r.onein(3) ? uint8_t{KVRN_CD_EBCDIC} : s.cdmode;
        }
        if (text()) {
            s.fieldmode = static_cast<uint8_t>(r.pick({KVRN_FIELDS, KVRN_COLUMNS}));
            const char *separators[] = {",", "::", "\\", "|", "\xB1", "a|"};
            if (!r.onein(3))
                s.separator = r.onein(30) ? "" : r.pickof(separators);
        }
        faulty = r.onein(15);
    }

    void chooselengths() {
        const uint32_t longest = limits.external ? 120 : r.pick({12U, 60U, 60U, 300U});
        s.reclen = text() ? r.between(bynumber() ? 60 : 2, std::max(80U, longest)) + 2
                          : r.between(1, longest);
    }

    void choosepieces() {
        for (uint32_t n = r.between(1, 4); n-- > 0;) {
            piece p;
            // An empty separator stands in every literal, which is refused.
            p.literal = r.onein(4) && !(s.separator && s.separator->empty());
            p.length = r.between(1, r.onein(4) ? room() : std::min(12U, room()));
            if (p.literal) {
                p.length = std::min(p.length, 5U);
                p.text = bytes("Lit-7").substr(0, p.length);
            } else if (bynumber()) {
                p.position = r.below(std::min(5U, s.reclen - p.length + 1));
            } else {
                p.position = r.below(room() - p.length + 1);
            }
            s.pieces.push_back(p);
        }
    }

    // Highest field number (by number), or highest byte, that the rebuilding
    // asks of a record; nosource: it asks nothing.
    [[nodiscard]] uint32_t highest() const {
        uint32_t top = nosource;
        for (const piece &p : s.pieces) {
            const uint32_t last = bynumber() ? p.position : p.position + p.length - 1;
            top = p.literal ? top : top == nosource ? last : std::max(top, last);
        }
        return top;
    }

    void choosekey() {
        keyspec k;
        const uint32_t all = s.outlength();
        k.order = static_cast<uint8_t>(r.pick({KVRN_ASCENDING, KVRN_DESCENDING}));
        k.length = r.between(1, r.onein(5) ? all : std::min(all, 12U));
        if (text()) {
            k.type = static_cast<uint8_t>(s.level() >= 4 && r.onein(3) ? KVRN_CHARX : KVRN_CHAR);
            k.textoption = static_cast<uint8_t>(r.onein(3) ? 0 : r.bits() & 0x6F);
        } else {
            k.type = static_cast<uint8_t>(
                r.pick({161, 177, 162, 163, 164, 165, 166, 167, 173, 175, 193,
                        194, 195, 196, 197, 198, 199, 202, 195, 196, 162, 197}));
            if (k.type == KVRN_CHARX && s.level() < 4)
                k.type = KVRN_CHAR;
            if (k.type != KVRN_CHAR && k.type != KVRN_CHARX && k.type != KVRN_TABLED)
                k.length = std::min(k.length, 256U);
            if ((k.type == KVRN_FLOAT4 || k.type == KVRN_FLOAT8) && !r.onein(4))
                k.length = std::min(all, k.type == KVRN_FLOAT4 ? 4U : 8U);
            if (k.type == KVRN_SIGNLEAD || k.type == KVRN_SIGNTRAIL)
                k.length = std::max(k.length, 2U);
            k.textoption = static_cast<uint8_t>(r.onein(3) ? r.bits() : 0);
        }
        if (k.type != KVRN_CHARX && r.onein(5))
            k.kanjiconv = static_cast<uint8_t>(r.pick({1, 2, 2, 2, 3, 6}));
        const uint32_t used = k.type == KVRN_MASKBYTE ? 1 : k.length;
        if (bynumber()) {
            const uint32_t top = highest();
            const uint32_t known = top == nosource ? 1 : top + 1;
            const auto count = static_cast<uint32_t>(s.pieces.size());
            k.position =
                s.pieces.empty() ? r.below(6) : r.below(faulty ? known : std::min(known, count));
        } else if (used > all) {
            return; // a sign of its own needs two bytes
        } else {
            k.position = r.below(all - used + 1);
        }
        if (k.type == KVRN_MASKBYTE)
            k.length = r.between(1, 255);
        if (k.type == KVRN_TABLED) {
            k.table.resize(256);
            std::iota(k.table.begin(), k.table.end(), static_cast<char>(r.below(256)));
            k.table['a'] = 'A';
        }
        s.keys.push_back(k);
    }

    void chooseoptions() {
        s.keeporder = r.onein(3);
        s.suppress = !s.keeporder && r.onein(4);
        s.descall = s.level() >= 1 && r.onein(3);
        s.checked = r.onein(2);
        if (s.level() >= 2) {
            s.keyoption = static_cast<uint8_t>(r.onein(2) ? r.bits() & 0x1F : 0);
            const bool plain = s.cdmode == KVRN_CD_EBCDIC && s.keys.empty();
            s.keyoption2 = static_cast<uint8_t>(!plain && r.onein(4) ? KVRN_KANJI_JIS : 0);
            if (s.byte39() & KVRN_KANJI_JIS)
                s.keyoption &= 15; // a number is not compared by character code
        }
    }

    void chooseways() {
        const bool files = s.form != 'v';
        const auto way = [&] {
            return files ? r.pick({exchange::record, exchange::block, exchange::plainfile,
                                   exchange::descriptorfile})
                         : r.pick({exchange::record, exchange::block});
        };
        s.input = way();
        s.output = way();
        const bool pair = text() && s.delimiter().size() == 2;
        if (pair && s.input == exchange::record)
            s.input = exchange::block; // by record a delimiter of two bytes is refused
        if (text() && s.input == exchange::descriptorfile && s.linedlmt == KVRN_DLMT_CR)
            s.input = exchange::plainfile; // descriptors split at line feeds
        if (s.level() == 0 && s.filein() && s.output == exchange::block)
            s.output = exchange::record; // level 0 takes blocks on both sides only
        if (s.level() == 0 && s.fileout() && s.input == exchange::block)
            s.input = exchange::record;
        s.onto_input = s.filein() && s.fileout() && r.onein(3);
        s.endmark = text() && s.input == exchange::plainfile && r.onein(4);
        s.unterminated =
            text() && s.filein() && r.onein(3) && !(pair && s.input == exchange::descriptorfile);
    }

    // Sets the storage; result: how many records to make.
    uint32_t choosestorage() {
        uint32_t slot = s.outlength() + 48;
        for (const keyspec &k : s.keys)
            slot += k.type == KVRN_MASKBYTE ? 1 : 2 * k.length + 1;
        slot += s.keys.empty() ? 2 * s.outlength() : 0;
        const auto fits = [&](uint32_t size) {
            return size / 70 > slot && size / 25 > 2 * std::max(s.reclen, s.outlength()) + 200;
        };
        uint32_t size = limits.external ? r.pick({65536U, 70001U, 100000U})
                                        : r.pick({65535U, 65537U, 131072U, 500000U, 0xA00000U});
        for (; !fits(size); size = size * 3 / 2) {
        }
        s.memsize = size == 0xA00000U ? r.pick({0xA00000U, 0xA00001U, 0U}) : size;
        if (s.memsize == 0 && !fits(0x100000))
            s.memsize = size;
        const uint32_t held = (s.memsize == 0 ? 0x100000 : size) / slot;
        if (limits.external) {
            // Now and then more strings than the merge can take at once.
            const uint32_t many = r.onein(20) ? held * 60 : held * 4;
            return std::min(limits.maxrecords, r.between(many / 8, many));
        }
        const uint32_t most = std::min(limits.maxrecords, held / 2);
        return r.onein(8) ? r.below(3) : r.below(most + 1);
    }

    void makerecords(uint32_t count) {
        originbytes();
        const auto d = static_cast<distribution>(r.below(distributions));
        const auto rough = static_cast<script>(r.below(4));
        const bool flat = r.onein(2);
        s.inputs.resize(s.filein() ? r.between(1, 3) : 1);
        for (uint32_t i = 0; i < count; ++i) {
            const int64_t rank = rankof(d, i, count, r);
            const bool lacks = faulty && r.onein(40);
            bytes record = bynumber() ? fieldline(rank, rough, lacks)
                           : text()   ? columnline(rank, rough, lacks)
                                      : framed(rank, flat, lacks);
            s.inputs[i * s.inputs.size() / count].push_back(record);
        }
    }

    void originbytes() {
        origin.clear();
        for (const piece &p : s.pieces)
            for (uint32_t i = 0; i < p.length; ++i)
                origin.push_back(p.literal ? nosource : p.position + i);
        if (s.pieces.empty()) {
            origin.resize(s.outlength());
            std::iota(origin.begin(), origin.end(), 0U);
        }
    }

    void place(bytes &record, uint32_t position, const bytes &field) const {
        for (size_t i = 0; i < field.size(); ++i) {
            const uint32_t from = origin[position + i];
            if (from < record.size())
                record[from] = field[i];
        }
    }

    // Forms 'f' and 'v'.  Later keys first, so that the first one stands whole.
    bytes framed(int64_t rank, bool flat, bool lacks) {
        const char fill = r.pick({'\0', ' ', '\xFF', 'x'});
        bytes record(s.reclen, fill);
        for (char &c : record)
            c = flat ? c : r.byte();
        for (size_t i = s.keys.size(); i-- > 0;) {
            const keyspec &k = s.keys[i];
            const uint32_t length = k.type == KVRN_MASKBYTE ? 1 : k.length;
            const int64_t v = i == 0 ? rank : rankof(distribution::twovalues, 0, 0, r);
            place(record, k.position,
                  r.onein(8) ? edgefield(k.type, length, s.cdmode, r)
                             : fieldof(k.type, length, s.cdmode, v, r));
        }
        if (s.form == 'v') {
            const uint32_t top = highest();
            const uint32_t least = s.pieces.empty() || lacks ? 0 : top == nosource ? 1 : top + 1;
            record.resize(r.onein(5) ? s.reclen : r.onein(5) ? least : r.between(least, s.reclen));
        }
        return record;
    }

    bytes legal(bytes line) {
        if (s.input != exchange::block && r.onein(4)) // blocks end a line at a zero byte
            std::replace(line.begin(), line.end(), '?', '\0');
        return line;
    }

    script scriptof(const keyspec &k, script otherwise) {
        return k.textoption & KVRN_TXT_NUMERIC               ? script::numbers
               : k.kanjiconv == KVRN_KANJI_JIS && r.onein(2) ? script::kanji
                                                             : otherwise;
    }

    bytes columnline(int64_t rank, script rough, bool lacks) {
        const uint32_t top = highest();
        const uint32_t least = top == nosource || (lacks && top != 0) ? 0 : top + 1;
        const uint32_t length = r.onein(8) ? room() : r.between(least, room());
        bytes line;
        while (line.size() < length)
            line += textof(rough, 20, rank, r) + r.pick({" ", "\t", "", "  "});
        line.resize(length);
        for (size_t i = s.keys.size(); i-- > 0;) {
            const keyspec &k = s.keys[i];
            const int64_t v = i == 0 ? rank : rankof(distribution::twovalues, 0, 0, r);
            bytes field = r.pick({"", "", " ", "\t "}) +
                          textof(scriptof(k, rough), k.length, v, r) + bytes(k.length, ' ');
            field.resize(k.length);
            place(line, k.position, field);
        }
        return legal(line);
    }

    bytes fieldline(int64_t rank, script rough, bool lacks) {
        const uint32_t top = highest();
        uint32_t needed = s.pieces.empty() || top == nosource ? 1 : top + 1;
        for (const keyspec &k : s.keys)
            needed = s.pieces.empty() ? std::max(needed, k.position + 1) : needed;
        const uint32_t count = lacks ? r.between(1, needed) : r.between(needed, needed + 2);
        const uint32_t each = room() / count;
        const bytes separator = s.separator.value_or(r.pick({" ", "\t"}));
        bytes line;
        for (uint32_t f = 0; f < count; ++f) {
            script kind = rough;
            int64_t v = rankof(distribution::twovalues, 0, 0, r);
            for (size_t i = s.keys.size(); i-- > 0;) {
                const uint32_t at = s.keys[i].position;
                const uint32_t source = s.pieces.empty()       ? at
                                        : at < s.pieces.size() ? s.pieces[at].position
                                                               : nosource;
                if (source == f) {
                    kind = scriptof(s.keys[i], rough);
                    v = i == 0 ? rank : v;
                }
            }
            bytes field = r.onein(10) ? "" : r.pick({"", "", " ", "\t"}) + textof(kind, 9, v, r);
            if (s.doublebyte() && s.separator && !lacks)
                field += "aa"; // a lone lead byte takes no separator with it
            line += f == 0 ? "" : separator;
            line += field.size() + separator.size() > each ? "" : field;
        }
        return legal(line);
    }
};

} // namespace

sessionspec randomsession(randomness &r, const scale &size) {
    return maker(r, size).make();
}

} // namespace kvern::test

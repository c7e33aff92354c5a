#include "support/generators.h"
#include "model/model.h"
#include "support/recordmaker.h"

#include <algorithm>
#include <numeric>

namespace kvern::test {

namespace {

class maker : recordmaker {
  public:
    maker(randomness &random, const scale &size) : recordmaker(random), limits(size) {}

    sessionspec make() {
        choosecodes();
        chooselengths();
        if (s.level() >= 1 && r.onein(4))
            choosepieces();
        for (uint32_t n = r.onein(6) ? 0 : r.between(1, 4); n-- > 0;)
            choosekey();
        if (s.function != KVRN_COPY && !s.keys.empty() && r.onein(3))
            choosesums();
        if (s.level() >= 1 && r.onein(s.function == KVRN_SORT ? 4 : 2))
            chooseconditions();
        chooseoptions();
        chooseways();
        const uint32_t count = choosestorage();
        makerecords(count);
        keepwhole();
        if (s.function == KVRN_MERGE) {
            orderinputs(s);
            auto &file = s.inputs[r.below(static_cast<uint32_t>(s.inputs.size()))];
            if (r.onein(30) && !file.empty())
                std::swap(file[r.below(static_cast<uint32_t>(file.size()))], file.back());
        }
        if (s.input == exchange::indexedfile)
            indexinputs();
        return s;
    }

  private:
    scale limits;

    // A relative slot cannot hold a record of no bytes, nor can it have a key.
    void keepwhole() {
        for (const exchange way : {s.input, s.output})
            for (auto &records : s.inputs)
                for (bytes &record : records)
                    if (way > exchange::managerfile && record.empty())
                        record = "0";
    }

    // An indexed file has an order of its own, which few merges can use.
    void indexinputs() {
        for (auto &records : s.inputs) {
            auto ordered = records;
            orderbyprimary(ordered);
            if (s.function != KVRN_MERGE)
                records = ordered;
            else if (records != ordered)
                s.input = exchange::managerfile;
        }
    }

    exchange managedway() {
        return r.pick({exchange::managerfile, exchange::relativefile, exchange::indexedfile});
    }

    void choosecodes() {
        s.function = limits.function;
        s.external = limits.external;
        s.form = limits.managed ? r.pick({'f', 'v'}) : r.pick({'f', 'f', 'v', 'r', 'r'});
        if (s.form == 'v' && s.function == KVRN_COPY && !limits.managed)
            s.form = 'r'; // from files to a file only, and no plain file holds them
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
        wild = r.onein(5);
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

    [[nodiscard]] bool taken(uint32_t position, uint32_t length) const {
        const auto meets = [&](uint32_t other, uint32_t size) {
            return bynumber() ? other == position
                              : position < other + size && other < position + length;
        };
        return std::any_of(s.keys.begin(), s.keys.end(),
                           [&](const keyspec &k) {
                               return meets(k.position, k.type == KVRN_MASKBYTE ? 1 : k.length);
                           }) ||
               std::any_of(s.sums.begin(), s.sums.end(),
                           [&](const sumfield &f) { return meets(f.position, f.length); });
    }

    void choosesums() {
        const uint32_t spare = s.form == 'v' ? 4 : 0; // the length word is counted twice
        for (uint32_t tries = r.between(2, 12); tries-- > 0 && s.sums.size() < 3;) {
            sumfield f;
            f.type = static_cast<uint8_t>(text() ? KVRN_CHAR : r.pick({162, 162, 197, 194, 198}));
            if (wild && !text() && r.onein(20))
                f.type = static_cast<uint8_t>(r.pick({KVRN_CHARX, KVRN_SLEBIN}));
            f.length = r.between(1, f.type == KVRN_ZONED    ? 18
                                    : f.type == KVRN_PACKED ? 16
                                    : bynumber() || !text() ? 8
                                                            : 12);
            const uint32_t fields = s.pieces.empty() ? 6 : static_cast<uint32_t>(s.pieces.size());
            const uint32_t all = s.outlength();
            if (f.length + spare > all)
                continue;
            f.position = r.below(bynumber() ? std::min(fields, all - f.length + 1)
                                            : all - spare - f.length + 1);
            if (!taken(f.position, f.length))
                s.sums.push_back(f);
        }
    }

    void chooseconditions() {
        const bool ebcdic = s.cdmode == KVRN_CD_EBCDIC;
        const auto character = static_cast<uint8_t>(ebcdic ? KVRN_CHARX : KVRN_CHAR);
        const bool literals = !(s.separator && s.separator->empty());
        const auto place = [&](uint8_t type, uint32_t *position, uint32_t *length) {
            const uint32_t least = type == KVRN_SIGNLEAD || type == KVRN_SIGNTRAIL ? 2 : 1;
            *length = r.between(least, std::max(least, std::min(r.onein(9) ? 256U : 9U, room())));
            const uint32_t used = type == KVRN_MASKBYTE ? 1 : *length;
            *position = r.below(bynumber() ? std::min(5U, s.reclen - used + 1) : room() - used + 1);
        };
        const uint32_t n = r.between(1, 4);
        for (uint32_t i = 0; i < n; ++i) {
            condition c;
            c.op = static_cast<uint8_t>(r.between(KVRN_OP_EQ, KVRN_OP_LE));
            c.options = static_cast<uint8_t>(r.onein(2) ? r.bits() & 0x4F : 0);
            c.ltype = text() ? character
                             : static_cast<uint8_t>(r.pick({+character, +character, 162, 197, 163,
                                                            164, 165, 166, 193, 194, 198}));
            if (room() < 2)
                c.ltype = character;
            place(c.ltype, &c.lpos, &c.llen);
            if (c.ltype == KVRN_MASKBYTE)
                c.llen = r.between(1, 255);
            if (literals && r.onein(2)) {
                if (wild && c.ltype != KVRN_MASKBYTE && r.onein(30)) // no comparator
                    c.ltype = static_cast<uint8_t>(text() ? 203 : r.pick({199, 203}));
                c.rtype = KVRN_FLD_LIT;
                c.rlen = r.between(1, r.onein(9) ? 256 : 9);
                c.literal = operand(c.ltype, c.rlen);
            } else {
                c.rtype = c.ltype >= 163 && c.ltype <= 166 && r.onein(2)
                              ? static_cast<uint8_t>(c.ltype ^ (c.ltype < 165 ? 7 : 3))
                          : c.ltype == 162 || c.ltype == 197
                              ? static_cast<uint8_t>(r.pick({162, 197}))
                              : c.ltype;
                place(c.rtype, &c.rpos, &c.rlen);
                c.rlen = c.rtype == KVRN_MASKBYTE ? std::min(c.rlen, 255U) : c.rlen;
            }
            chooseactions(c, i, n);
            s.conditions.push_back(c);
        }
    }

    void chooseactions(condition &c, uint32_t i, uint32_t n) {
        const bool forward = i + 2 < n, loops = wild && r.onein(20);
        const auto action = [&] {
            return static_cast<uint8_t>(i + 1 == n         ? r.pick({230, 231})
                                        : forward || loops ? r.pick({230, 231, 232, 233})
                                                           : r.pick({230, 231, 233}));
        };
        c.iftrue = action();
        do {
            c.iffalse = action();
        } while (c.iffalse == c.iftrue && c.iffalse != KVRN_GO_JUMP);
        for (uint32_t *jump : {&c.truejump, &c.falsejump})
            *jump = loops || !forward ? r.below(i + 1) : r.between(i + 2, n - 1);
    }

    void chooseoptions() {
        s.keeporder = s.sums.empty() && r.onein(3);
        s.suppress = s.sums.empty() && !s.keeporder && s.function != KVRN_COPY && r.onein(4);
        s.descall = s.level() >= 1 && s.function != KVRN_COPY && r.onein(3);
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
            if (limits.managed && !text() && ((!files && s.function == KVRN_COPY) || !r.onein(3)))
                return managedway();
            return s.function == KVRN_COPY || (s.function == KVRN_MERGE && files && !r.onein(3))
                       ? r.pick({exchange::plainfile, exchange::descriptorfile})
                   : s.function == KVRN_MERGE ? exchange::record
                   : files ? r.pick({exchange::record, exchange::block, exchange::plainfile,
                                     exchange::descriptorfile})
                           : r.pick({exchange::record, exchange::block});
        };
        s.input = way();
        s.output = way();
        const bool pair = text() && s.delimiter().size() == 2;
        if (pair && s.input == exchange::record) // then a delimiter of two bytes is refused
            s.input = s.function == KVRN_SORT ? exchange::block : exchange::plainfile;
        if (text() && s.input == exchange::descriptorfile && s.linedlmt == KVRN_DLMT_CR)
            s.input = exchange::plainfile; // descriptors split at line feeds
        if (s.level() == 0 && s.filein() && s.output == exchange::block)
            s.output = exchange::record; // level 0 takes blocks on both sides only
        if (s.level() == 0 && s.fileout() && s.input == exchange::block)
            s.input = exchange::record;
        if (s.output == exchange::indexedfile && s.function == KVRN_SORT)
            s.keeporder = false; // the file does not tell the order any more
        s.onto_input = s.function == KVRN_SORT && s.filein() && s.fileout() &&
                       s.output != exchange::indexedfile && r.onein(3);
        s.endmark = text() && s.input == exchange::plainfile && r.onein(4);
        s.unterminated =
            text() && s.filein() && r.onein(3) && !(pair && s.input == exchange::descriptorfile);
        s.inputs.resize(s.function == KVRN_MERGE ? r.between(1, r.pick({3U, 3U, 20U}))
                        : s.filein()             ? r.between(1, 3)
                                                 : 1);
    }

    // Sets the storage; result: how many records to make.
    uint32_t choosestorage() {
        uint32_t slot = s.outlength() + 48;
        for (const keyspec &k : s.keys)
            slot += k.type == KVRN_MASKBYTE ? 1 : 2 * k.length + 1;
        slot += s.keys.empty() ? 2 * s.outlength() : 0;
        // The manager's messages, and what indexed files say of themselves.
        const uint32_t managing = ismanaged(s.input) || ismanaged(s.output) ? 4096 : 0;
        const auto inputs = static_cast<uint32_t>(s.inputs.size());
        const uint32_t aside = managing + (s.input == exchange::indexedfile ? inputs * 4096 : 0);
        const auto fits = [&](uint32_t whole) {
            const uint32_t size = whole > aside ? whole - aside : 0;
            const uint32_t record = 2 * std::max(s.reclen, s.outlength()) + 200;
            return s.function == KVRN_SORT
                       ? size / 70 > slot && size / 25 > record
                       : size / 2 > 16000 + (s.inputs.size() + 1) * (slot + record);
        };
        uint32_t size = limits.external
                            ? r.pick({65536U, 70001U, 100000U})
                            : r.pick({65535U, 65537U, 131072U, 500000U, limits.storage});
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
        // Blocks of a merge or copy hold what is left of the storage: some inputs
        // are longer, most are not.
        const uint32_t few = s.function == KVRN_SORT ? held / 2 : r.onein(4) ? ~0U : 120;
        const uint32_t most = std::min(limits.maxrecords, few);
        return r.onein(8) ? r.below(3) : r.below(most + 1);
    }
};

} // namespace

sessionspec randomsession(randomness &r, const scale &size) {
    return maker(r, size).make();
}

} // namespace kvern::test

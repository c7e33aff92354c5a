#include "support/generators.h"
#include "model/model.h"
#include "support/recordmaker.h"

#include <algorithm>
#include <numeric>

namespace kvern::test {

namespace {

class maker {
  public:
    maker(randomness &random, const scale &size)
        : r(random), limits(size), sorts(size.function == KVRN_SORT),
          merges(size.function == KVRN_MERGE), copies(size.function == KVRN_COPY) {}

    sessionspec make() {
        choosecodes();
        chooselengths();
        if (s.level() >= 1 && r.onein(4))
            choosepieces();
        for (uint32_t n = r.onein(6) ? 0 : r.between(1, 4); n-- > 0;)
            choosekey();
        if (!copies && !s.keys.empty() && r.onein(3))
            choosesums();
        if (s.level() >= 1 && r.onein(sorts ? 4 : 2))
            chooseconditions();
        chooseoptions();
        chooseways();
        const uint32_t count = choosestorage();
        makerecords(s, how, count, r);
        for (auto &records : s.inputs)
            for (bytes &record : records) // no relative slot and no key without a byte
                if (std::max(s.input, s.output) > exchange::managerfile && record.empty())
                    record = "0";
        if (merges) {
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
    randomness &r;
    scale limits;
    sessionspec s{};
    bool sorts, merges, copies;
    habits how{};

    // An indexed file has an order of its own, which few merges can use.
    void indexinputs() {
        for (auto &records : s.inputs) {
            auto ordered = records;
            orderbyprimary(ordered);
            if (!merges)
                records = ordered;
            else if (records != ordered)
                s.input = exchange::managerfile;
        }
    }

    void choosecodes() {
        s.function = limits.function;
        s.external = limits.external;
        s.form = limits.managed ? r.pick({'f', 'v'}) : r.pick({'f', 'f', 'v', 'r', 'r'});
        if (s.form == 'v' && copies && !limits.managed)
            s.form = 'r'; // from files to a file only, and no plain file holds them
        s.version = r.pick({0x01100000U, 0x01100001U, 0x0110FFFFU, 0x11100000U, 0x11100001U,
                            0x1110FFFFU, 0x11200000U, 0x11300000U, 0x11300000U});
        if (s.text() && s.level() == 0)
            s.version = KVRN_VERSION_L4;
        if (s.level() >= 1) {
            s.cdmode = r.code({0, 237, 238, 239});
            s.linedlmt = static_cast<uint8_t>(r.below(4));
        }
        if (s.level() >= 4) {
            s.altmode = static_cast<uint8_t>(r.below(3));
            s.cdmode = !s.text() && r.onein(3) ? uint8_t{KVRN_CD_EBCDIC} : s.cdmode;
        }
        if (s.text()) {
            s.fieldmode = r.code({KVRN_FIELDS, KVRN_COLUMNS});
            const char *separators[] = {",", "::", "\\", "|", "\xB1", "a|"};
            if (!r.onein(3))
                s.separator = r.onein(30) ? "" : r.pickof(separators);
        }
        how.faulty = r.onein(15);
        how.wild = r.onein(5);
    }

    void chooselengths() {
        const uint32_t longest = limits.external ? 120 : r.pick({12U, 60U, 60U, 300U});
        s.reclen = s.text() ? r.between(s.bynumber() ? 60 : 2, std::max(80U, longest)) + 2
                            : r.between(1, longest);
    }

    // Where a field of an incoming record may stand.
    uint32_t somewhere(uint32_t length) {
        return r.below(s.bynumber() ? std::min(5U, s.reclen - length + 1)
                                    : s.inlength() - length + 1);
    }

    // An empty separator stands in every literal, which is refused.
    [[nodiscard]] bool literals() const { return !s.separator || !s.separator->empty(); }

    void choosepieces() {
        for (uint32_t n = r.between(1, 4); n-- > 0;) {
            piece p;
            p.literal = r.onein(4) && literals();
            p.length = r.between(1, r.onein(4) ? s.inlength() : std::min(12U, s.inlength()));
            if (p.literal) {
                p.text = bytes("Lit-7").substr(0, p.length);
                p.length = static_cast<uint32_t>(p.text.size());
            } else {
                p.position = somewhere(p.length);
            }
            s.pieces.push_back(p);
        }
    }

    void choosekey() {
        keyspec k;
        const uint32_t all = s.outlength();
        k.order = r.code({KVRN_ASCENDING, KVRN_DESCENDING});
        k.length = r.between(1, r.onein(5) ? all : std::min(all, 12U));
        if (s.text()) {
            k.type = s.level() >= 4 && r.onein(3) ? KVRN_CHARX : KVRN_CHAR;
            k.textoption = r.onein(3) ? uint8_t{0} : r.flags(0x6F);
        } else {
            k.type = r.code({161, 177, 162, 163, 164, 165, 166, 167, 173, 175, 193,
                             194, 195, 196, 197, 198, 199, 202, 195, 196, 162, 197});
            if (k.type == KVRN_CHARX && s.level() < 4)
                k.type = KVRN_CHAR;
            if (k.type != KVRN_CHAR && k.type != KVRN_CHARX && k.type != KVRN_TABLED)
                k.length = std::min(k.length, 256U);
            if ((k.type == KVRN_FLOAT4 || k.type == KVRN_FLOAT8) && !r.onein(4))
                k.length = std::min(all, k.type == KVRN_FLOAT4 ? 4U : 8U);
            if (k.type == KVRN_SIGNLEAD || k.type == KVRN_SIGNTRAIL)
                k.length = std::max(k.length, 2U);
            k.textoption = r.onein(3) ? r.flags(0xFF) : uint8_t{0};
        }
        if (k.type != KVRN_CHARX && r.onein(5))
            k.kanjiconv = r.code({1, 2, 2, 2, 3, 6});
        if (s.bynumber()) {
            const uint32_t known = std::max(s.rebuildingneeds(), 1U);
            const auto count = static_cast<uint32_t>(s.pieces.size());
            k.position = r.below(s.pieces.empty() ? 6
                                 : how.faulty     ? known
                                                  : std::min(known, count));
        } else if (k.width() > all) {
            return; // a sign of its own needs two bytes
        } else {
            k.position = r.below(all - k.width() + 1);
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
            return s.bynumber() ? other == position
                                : position < other + size && other < position + length;
        };
        return std::any_of(s.keys.begin(), s.keys.end(),
                           [&](const keyspec &k) { return meets(k.position, k.width()); }) ||
               std::any_of(s.sums.begin(), s.sums.end(),
                           [&](const sumfield &f) { return meets(f.position, f.length); });
    }

    void choosesums() {
        const uint32_t spare = s.form == 'v' ? 4 : 0; // the length word is counted twice
        const uint32_t fields = s.pieces.empty() ? 6 : static_cast<uint32_t>(s.pieces.size());
        const uint32_t all = s.outlength();
        for (uint32_t tries = r.between(2, 12); tries-- > 0 && s.sums.size() < 3;) {
            sumfield f;
            f.type = s.text() ? uint8_t{KVRN_CHAR} : r.code({162, 162, 197, 194, 198});
            f.length = r.between(1, f.type == KVRN_ZONED ? 18 : f.type == KVRN_PACKED ? 16 : 8);
            if (f.length + spare > all)
                continue;
            f.position = r.below(s.bynumber() ? std::min(fields, all - f.length + 1)
                                              : all - spare - f.length + 1);
            if (!taken(f.position, f.length))
                s.sums.push_back(f);
        }
    }

    void chooseoperand(uint8_t type, uint32_t *position, uint32_t *length) {
        const uint32_t least = type == KVRN_SIGNLEAD || type == KVRN_SIGNTRAIL ? 2 : 1;
        const uint32_t most = std::min(r.onein(9) ? 256U : 9U, s.inlength());
        *length = r.between(least, std::max(least, most));
        *position = somewhere(bytesof(type, *length));
    }

    void chooseconditions() {
        const uint8_t character = s.cdmode == KVRN_CD_EBCDIC ? KVRN_CHARX : KVRN_CHAR;
        const uint32_t n = r.between(1, 4);
        for (uint32_t i = 0; i < n; ++i) {
            condition c;
            c.op = static_cast<uint8_t>(r.between(KVRN_OP_EQ, KVRN_OP_LE));
            c.options = r.onein(2) ? r.flags(0x4F) : uint8_t{0};
            if (!s.text())
                c.ltype =
                    r.code({character, character, 162, 197, 163, 164, 165, 166, 193, 194, 198});
            if (s.text() || s.inlength() < 2)
                c.ltype = character;
            chooseoperand(c.ltype, &c.lpos, &c.llen);
            if (c.ltype == KVRN_MASKBYTE)
                c.llen = r.between(1, 255);
            if (literals() && r.onein(2)) {
                if (how.wild && c.ltype != KVRN_MASKBYTE && r.onein(30)) // no comparator
                    c.ltype = s.text() ? uint8_t{203} : r.code({199, 203});
                c.rtype = KVRN_FLD_LIT;
                c.rlen = r.between(1, r.onein(9) ? 256 : 9);
                c.literal = operandof(s, c.ltype, c.rlen, r);
            } else {
                c.rtype = c.ltype >= 163 && c.ltype <= 166 && r.onein(2)
                              ? static_cast<uint8_t>(c.ltype ^ (c.ltype < 165 ? 7 : 3))
                          : c.ltype == 162 || c.ltype == 197 ? r.code({162, 197})
                                                             : c.ltype;
                chooseoperand(c.rtype, &c.rpos, &c.rlen);
                c.rlen = c.rtype == KVRN_MASKBYTE ? std::min(c.rlen, 255U) : c.rlen;
            }
            chooseactions(c, i, n);
            s.conditions.push_back(c);
        }
    }

    void chooseactions(condition &c, uint32_t i, uint32_t n) {
        const bool forward = i + 2 < n, loops = how.wild && r.onein(20);
        const auto action = [&] {
            return i + 1 == n         ? r.code({230, 231})
                   : forward || loops ? r.code({230, 231, 232, 233})
                                      : r.code({230, 231, 233});
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
        s.suppress = s.sums.empty() && !s.keeporder && !copies && r.onein(4);
        s.descall = s.level() >= 1 && !copies && r.onein(3);
        s.checked = r.onein(2);
        if (s.level() >= 2) {
            s.keyoption = r.onein(2) ? r.flags(0x1F) : uint8_t{0};
            const bool plain = s.cdmode == KVRN_CD_EBCDIC && s.keys.empty();
            s.keyoption2 = !plain && r.onein(4) ? KVRN_KANJI_JIS : 0;
            if (s.byte39() & KVRN_KANJI_JIS)
                s.keyoption &= 15; // a number is not compared by character code
        }
    }

    exchange chooseway() {
        using enum exchange;
        const bool plain = s.form != 'v';
        if (limits.managed && !s.text() && ((!plain && copies) || !r.onein(3)))
            return r.pick({managerfile, relativefile, indexedfile});
        if (copies || (merges && plain && !r.onein(3)))
            return r.pick({plainfile, descriptorfile});
        return merges  ? record
               : plain ? r.pick({record, block, plainfile, descriptorfile})
                       : r.pick({record, block});
    }

    void chooseways() {
        s.input = chooseway();
        s.output = chooseway();
        const bool pair = s.delimiter().size() == 2;
        if (pair && s.input == exchange::record) // then a delimiter of two bytes is refused
            s.input = sorts ? exchange::block : exchange::plainfile;
        if (s.input == exchange::descriptorfile && s.delimiter() == "\r")
            s.input = exchange::plainfile; // descriptors split at line feeds
        if (s.level() == 0 && s.filein() && s.output == exchange::block)
            s.output = exchange::record; // level 0 takes blocks on both sides only
        if (s.level() == 0 && s.fileout() && s.input == exchange::block)
            s.input = exchange::record;
        if (s.output == exchange::indexedfile && sorts)
            s.keeporder = false; // the file does not tell the order any more
        s.onto_input =
            sorts && s.filein() && s.fileout() && s.output != exchange::indexedfile && r.onein(3);
        s.endmark = s.text() && s.input == exchange::plainfile && r.onein(4);
        s.unterminated =
            s.text() && s.filein() && r.onein(3) && !(pair && s.input == exchange::descriptorfile);
        s.inputs.resize(merges       ? r.between(1, r.pick({3U, 3U, 20U}))
                        : s.filein() ? r.between(1, 3)
                                     : 1);
    }

    // Sets the storage; result: how many records to make.
    uint32_t choosestorage() {
        uint32_t slot = s.outlength() + 48;
        for (const keyspec &k : s.keys)
            slot += k.type == KVRN_MASKBYTE ? 1 : 2 * k.length + 1;
        slot += s.keys.empty() ? 2 * s.outlength() : 0;
        // The manager's messages, and what indexed files say of themselves.
        const uint32_t managing = ismanaged(std::max(s.input, s.output)) ? 4096 : 0;
        const auto inputs = static_cast<uint32_t>(s.inputs.size());
        const uint32_t aside = managing + (s.input == exchange::indexedfile ? inputs * 4096 : 0);
        const auto fits = [&](uint32_t whole) {
            const uint32_t size = whole > aside ? whole - aside : 0;
            const uint32_t record = 2 * std::max(s.reclen, s.outlength()) + 200;
            return sorts ? size / 70 > slot && size / 25 > record
                         : size / 2 > 16000 + (inputs + 1) * (slot + record);
        };
        uint32_t size = limits.external
                            ? r.pick({65536U, 70001U, 100000U})
                            : r.pick({65535U, 65537U, 131072U, 500000U, limits.storage});
        while (!fits(size))
            size = size * 3 / 2;
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
        const uint32_t few = sorts ? held / 2 : r.onein(4) ? ~0U : 120;
        return r.onein(8) ? r.below(3) : r.below(std::min(limits.maxrecords, few) + 1);
    }
};

} // namespace

sessionspec randomsession(randomness &r, const scale &size) {
    return maker(r, size).make();
}

} // namespace kvern::test

#include "fuzz/fuzzblocks.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <type_traits>

namespace kvern::test {

namespace {

constexpr uint32_t enginelevel1 = 0x10100000; // admitted by qha5init alone
constexpr uint32_t versions[] = {KVRN_VERSION_L4, KVRN_VERSION_L4,          KVRN_VERSION_L4,
                                 KVRN_VERSION_L3, KVRN_VERSION_L2_OLDDLMT,  KVRN_VERSION_L2,
                                 enginelevel1,    KVRN_VERSION_L0,          KVRN_VERSION_L0_LEBIN,
                                 KVRN_VERSION_L4, KVRN_VERSION_L0 + 0x1234, 0x11110000};
constexpr uint8_t functions[] = {'s', 's', 's', 'm', 'm', 'c', 'c', 's'};
constexpr uint8_t recforms[] = {'f', 'v'};
constexpr uint8_t fieldmodes[] = {0, 0, KVRN_FIELDS, KVRN_COLUMNS};
constexpr uint8_t optionsets[] = {0,  1,  2,  4,  8,  16, 24, 9,   10,  12,      17,
                                  18, 20, 25, 26, 28, 64, 80, 128, 255, 8 | 128, 4 | 128};
constexpr uint8_t fileoprats[] = {0,
                                  0,
                                  0,
                                  0,
                                  0,
                                  0,
                                  KVRN_SAMEFILE,
                                  KVRN_SAMEFILE,
                                  KVRN_STDOUT,
                                  KVRN_STDIN,
                                  KVRN_STDIN | KVRN_STDOUT,
                                  1};
constexpr uint8_t mergerecoprats[] = {0, 0, 3, 1, 2};
constexpr uint8_t copyoptions[] = {0, 8, 16, 24, 0, 8, 16, 24, 128 | 24, 1};
constexpr uint8_t recoprats[] = {0, 0, 3, 1, 2, 4, 6, 8, 9, 12, 225};
constexpr uint8_t cdmodes[] = {0, 236, 237, 238, 239};
constexpr uint8_t orders[] = {KVRN_ASCENDING, KVRN_DESCENDING};
constexpr uint8_t kanji[] = {0, 0, 0, KVRN_KANJI_JIS, 1};
constexpr uint8_t textkeytypes[] = {KVRN_CHAR, KVRN_CHAR, KVRN_CHAR,  KVRN_CHARX,
                                    KVRN_CHAR, KVRN_CHAR, KVRN_CHARX, KVRN_COLLATE};
// The last ones fail at the first record.
constexpr uint8_t types[] = {
    KVRN_CHAR,    KVRN_ZONED,  KVRN_SIGNLEAD, KVRN_SIGNTRAIL, KVRN_ZONEDLEAD, KVRN_ZONEDU,
    KVRN_UBIN1,   KVRN_ULEBIN, KVRN_UBIN2,    KVRN_CHARX,     KVRN_MASKBYTE,  KVRN_SBEBIN,
    KVRN_FLOAT4,  KVRN_FLOAT8, KVRN_PACKED,   KVRN_UBEBIN,    KVRN_SLEBIN,    KVRN_TABLED,
    KVRN_CHAR,    KVRN_ZONED,  KVRN_SIGNLEAD, KVRN_SIGNTRAIL, KVRN_ZONEDLEAD, KVRN_ZONEDU,
    KVRN_UBIN1,   KVRN_ULEBIN, KVRN_UBIN2,    KVRN_CHARX,     KVRN_MASKBYTE,  KVRN_SBEBIN,
    KVRN_FLOAT4,  KVRN_FLOAT8, KVRN_PACKED,   KVRN_UBEBIN,    KVRN_SLEBIN,    KVRN_TABLED,
    KVRN_COLLATE, KVRN_WIDE2,  KVRN_WIDE4};
constexpr uint8_t sumtypes[] = {KVRN_ZONED,  KVRN_PACKED, KVRN_SBEBIN, KVRN_SLEBIN,
                                KVRN_UBEBIN, KVRN_CHARX,  KVRN_CHAR};
constexpr uint8_t rights[] = {KVRN_FLD_LIT, KVRN_FLD_LIT,  KVRN_CHAR,      KVRN_CHARX,
                              KVRN_ZONED,   KVRN_SIGNLEAD, KVRN_SIGNTRAIL, KVRN_ZONEDLEAD,
                              KVRN_ZONEDU,  KVRN_UBEBIN,   KVRN_MASKBYTE,  KVRN_SBEBIN,
                              KVRN_SLEBIN,  KVRN_PACKED,   KVRN_COLLATE};
constexpr uint8_t textrights[] = {KVRN_FLD_LIT, KVRN_CHAR, KVRN_COLLATE};
constexpr uint8_t operators[] = {KVRN_OP_EQ, KVRN_OP_NE, KVRN_OP_GT,
                                 KVRN_OP_GE, KVRN_OP_LT, KVRN_OP_LE};
constexpr uint8_t outcomes[] = {KVRN_GO_KEEP, KVRN_GO_DROP, KVRN_GO_JUMP, KVRN_GO_NEXT};
constexpr uint8_t piecetypes[] = {KVRN_FLD_COPY, KVRN_FLD_COPY, KVRN_FLD_LIT};
constexpr uint8_t kinds[] = {16, 16, 1, 0, 1, 16, 16, 1, 16, 1, 16, 16, 1, 2, 18, 19};
constexpr uint32_t sizes[] = {KVRN_MEM_MIN, KVRN_MEM_MIN, KVRN_MEM_MIN, KVRN_MEM_MIN + 1,
                              70001,        100000,       KVRN_MEM_MIN, 0,
                              131072};
constexpr const char *separators[] = {nullptr, ",", ";", "::", "\\", "a|", "", "\x81", " ", "\r"};
constexpr const char *places[] = {"da",    "db",    "dc",     "da/t0",
                                  "db/t1", "dc/t2", "da/in0", "no/where"};
constexpr const char *outputs[] = {"da/out", "db/out", "dc/out", "da/out", "db/out", "da/out",
                                   "dc/out", "db/out", "da/in0", "da",     "no/out", ""};

constexpr uint32_t fewentries = 6;  // of a table, as a rule
constexpr uint32_t ownentries = 16; // beyond them entries are the same again
constexpr uint32_t longestliteral = 0xFFFF;

// An address that must not be read.
template <class T>
T *rubbish() {
    return reinterpret_cast<T *>(uintptr_t{1});
}

class maker {
  public:
    maker(bytesource &source, exactmemory &exact) : from(source), memory(exact) {}

    fuzzblocks make() {
        sound = from.byte() < 224;
        made.version = from.pick(versions);
        const bool whole = made.level() != 0;
        made.prim = take<KVRNPRIM>(whole ? sizeof(KVRNPRIM) : offsetof(KVRNPRIM, separator));
        fillprim(*made.prim);
        if (whole)
            fillnewer(*made.prim);
        const bool syserr = made.version >= KVRN_VERSION_L3;
        made.sess = take<KVRNSESS>(syserr ? sizeof(KVRNSESS) : offsetof(KVRNSESS, syserr));
        made.sess->inputno = 0; // the caller starts there
        makefiles();
        if (const uint8_t given = from.byte(); given % 8 != 0)
            made.keys = table<KVRNKEY>(4, [this](KVRNKEYE &entry) { fillkey(entry); });
        makeoptions();
        return made;
    }

  private:
    bytesource &from;
    exactmemory &memory;
    fuzzblocks made{};
    bool sound = true; // fields lie in the record, tables suit the function

    // Where a field begins, and how long it is: for a sound session in the record,
    // with room for a delimiter and some bytes more.
    uint32_t position() {
        const uint32_t room = made.prim->reclen / 2 + 1;
        const bool bynumber = made.text() && made.prim->fieldmode == KVRN_FIELDS;
        return !sound ? from.length() : from.byte() % (bynumber ? 4 : room);
    }
    uint32_t fieldlength(uint32_t most) {
        const uint32_t room = std::max(made.prim->reclen / 2, 2U) - 1;
        return !sound ? from.length() : 1 + from.byte() % std::min(room, most);
    }

    template <class T>
    T *take(size_t bytes = sizeof(T)) {
        return static_cast<T *>(memory.take(bytes));
    }

    // Behind the first ones entries are the same again.
    template <class Table, class Fill>
    Table *table(uint32_t few, const Fill &fill) {
        using entry = std::remove_extent_t<decltype(Table::entry)>;
        const uint32_t count = from.count(few);
        const uint32_t real = count < bytesource::unholdable ? count : 0;
        auto *block = take<Table>(offsetof(Table, entry) + real * sizeof(entry));
        block->count = count;
        entry *entries = block->entry;
        for (uint32_t i = 0; i < real && i < ownentries; ++i)
            fill(entries[i]);
        for (uint32_t i = ownentries; i < real; ++i)
            entries[i] = entries[i % ownentries];
        return block;
    }

    const char *anytext() {
        char text[16];
        const size_t length = from.byte() % sizeof text;
        for (size_t i = 0; i < length; ++i)
            text[i] = static_cast<char>(from.byte());
        return memory.text(text, strnlen(text, length));
    }

    // One of the sound texts, which may be null, or any.
    template <size_t n>
    const char *text(const char *const (&usual)[n]) {
        const uint8_t choice = from.byte();
        if (choice >= 240)
            return anytext();
        const char *chosen = usual[choice % n];
        return chosen != nullptr ? memory.text(chosen, strlen(chosen)) : nullptr;
    }

    const void *literal(uint32_t &length) {
        if (length > longestliteral)
            length |= bytesource::unholdable;
        const size_t real = length > longestliteral ? 0 : length;
        const uint8_t seed = from.byte();
        if (seed == 255)
            return nullptr;
        auto *bytes = static_cast<uint8_t *>(memory.take(real));
        for (size_t i = 0; i < real; ++i)
            bytes[i] = i < 8 ? from.byte() : seed;
        return bytes;
    }

    void fillprim(KVRNPRIM &prim) {
        prim.function = from.code(functions);
        prim.recform = from.code(recforms);
        const bool merge = sound && prim.function == KVRN_MERGE;
        const bool copy = sound && prim.function == KVRN_COPY;
        prim.options = copy ? from.code(copyoptions) : from.code(optionsets);
        prim.fileoprat = from.code(fileoprats);
        prim.recoprat = merge ? from.code(mergerecoprats) : from.code(recoprats);
        prim.cdmode = from.code(cdmodes);
        if (prim.cdmode == KVRN_CD_EBCDIC && sound && made.level() < 4)
            prim.cdmode = 0;
        prim.reclen = sound ? 4 + from.byte() % 120U : from.length();
        prim.mergecnt = from.count(5);
        if ((merge || copy) && (prim.fileoprat & KVRN_SAMEFILE) != 0)
            prim.fileoprat = 0;
        const uint8_t size = from.byte();
        prim.memsize = size < 240 ? sizes[size % std::size(sizes)] : from.number();
        prim.memaddr = rubbish<void>();
    }

    void fillnewer(KVRNPRIM &prim) {
        prim.fieldmode = from.code(fieldmodes);
        if (prim.fieldmode != 0 && prim.cdmode == KVRN_CD_EBCDIC && sound)
            prim.cdmode = 0;
        if (prim.fieldmode != 0 && prim.recform == KVRN_FIXED && from.byte() < 250)
            prim.recform = KVRN_VARIABLE; // a text session otherwise never is
        prim.separator = text(separators);
        prim.tmpopt = from.byte() & 1;
        prim.keyoption = from.byte();
        prim.linedlmt = from.byte() & 3;
        const uint8_t second = from.byte();
        prim.keyoption2 = made.version == KVRN_VERSION_L2_OLDDLMT ? second & 3 : second;
        if (sound && (prim.keyoption2 & KVRN_KANJI_JIS) != 0)
            prim.keyoption &= 15; // a number is not compared by character code
        prim.altmode = made.level() >= 4 ? static_cast<uint8_t>(from.byte() % 3) : uint8_t{0xA5};
        if (!sound && second == 77)
            prim.altmode = 3;
    }

    KVRNFLST *list(const char *const *names, uint32_t count) {
        const uint32_t real = count < bytesource::unholdable ? count : 0;
        auto *made_list = take<KVRNFLST>(offsetof(KVRNFLST, path) + real * sizeof(char *));
        made_list->count = count;
        const char **paths = made_list->path;
        for (uint32_t i = 0; i < real; ++i)
            paths[i] = i < ownentries && names != nullptr ? names[i] : paths[i % ownentries];
        return made_list;
    }

    void makefiles() {
        uint8_t sides = from.byte();
        if (sides == 0 && !sound)
            return;
        if (sound && made.prim->function == KVRN_COPY)
            sides |= 3;
        if (sound && made.prim->recform == KVRN_VARIABLE && !made.text())
            sides &= 0xFC; // no plain file holds variable records
        made.files = take<KVRNFILE>();
        KVRNFILE &files = *made.files;
        files.infiles = nullptr;
        files.workfiles = nullptr;
        files.reserved12 = rubbish<void>();
        files.intypes = nullptr;
        files.outkey = nullptr;
        files.outfile = (sides & 2) != 0 ? text(outputs) : nullptr;
        files.outtype = (sides & 2) != 0 ? from.code(kinds) : 0;
        if ((sides & 1) != 0)
            makeinputs(files, sides);
        if ((sides & 16) != 0) {
            const char *names[ownentries];
            for (const char *&name : names)
                name = nullptr;
            const uint32_t count = from.count(4);
            for (uint32_t i = 0; i < count && i < ownentries; ++i)
                names[i] = text(places);
            files.workfiles = list(names, count);
        }
        if ((sides & 32) != 0) {
            files.outkey = table<KVRNOKEY>(3, [this](KVRNOKEYE &entry) {
                entry = {from.length(), from.length(), from.byte(), from.byte(), from.byte(), 0};
            });
            files.outkey->options = from.number();
        }
    }

    // A merge counts its inputs; with sound bytes it counts them right.
    void makeinputs(KVRNFILE &files, uint8_t sides) {
        const char *names[ownentries];
        for (size_t i = 0; i < ownentries; ++i)
            names[i] = memory.text(inputnames[i % 3], strlen(inputnames[i % 3]));
        uint32_t count = from.count(3);
        if (made.prim->function == KVRN_MERGE && count < ownentries && (sides & 4) == 0)
            made.prim->mergecnt = count;
        made.inputs = std::min<uint32_t>(count, std::size(inputnames));
        if (const uint8_t odd = from.byte(); odd >= 240)
            names[odd % 3] = odd % 2 == 0 ? nullptr : anytext();
        files.infiles = list(names, count);
        if ((sides & 8) == 0)
            return;
        const uint32_t claimed = from.count(3);
        const uint32_t real = std::min<uint32_t>(claimed, 4096); // no more files than that
        files.intypes = take<KVRNFTYP>(offsetof(KVRNFTYP, kind) + real);
        files.intypes->count = claimed;
        uint8_t *kind = files.intypes->kind;
        for (uint32_t i = 0; i < real; ++i)
            kind[i] = i < ownentries ? from.code(kinds) : kind[i % ownentries];
    }

    void fillkey(KVRNKEYE &entry) {
        entry.position = position();
        entry.length = fieldlength(20);
        entry.type = made.text() ? from.code(textkeytypes) : from.code(types);
        if (entry.type == KVRN_CHARX && sound && made.level() < 4)
            entry.type = KVRN_CHAR;
        entry.order = from.code(orders);
        entry.textoption = from.byte();
        entry.kanjiconv = from.code(kanji);
        entry.table = rubbish<const uint8_t>();
        if (entry.type != KVRN_TABLED)
            return;
        const uint8_t seed = from.byte();
        auto *bytes = seed == 255 ? nullptr : take<uint8_t>(256);
        for (uint32_t i = 0; bytes != nullptr && i < 256; ++i)
            bytes[i] = static_cast<uint8_t>(i * seed + (i >> 4));
        entry.table = bytes;
    }

    void fillsum(KVRNSUME &entry) {
        entry.position = position();
        entry.length = fieldlength(18);
        entry.type = made.text() && from.byte() < 240 ? uint8_t{KVRN_CHAR} : from.code(sumtypes);
    }

    void fillcondition(KVRNSELE &entry) {
        entry.op = from.code(operators);
        entry.ltype = made.text() ? from.code(textkeytypes) : from.code(types);
        entry.rtype = made.text() ? from.code(textrights) : from.code(rights);
        entry.options = from.byte();
        entry.lpos = position();
        entry.llen = fieldlength(20);
        entry.rlen = fieldlength(20);
        if (entry.rtype == KVRN_FLD_LIT)
            entry.rlit = literal(entry.rlen);
        else
            entry.rpos = position();
        entry.iftrue = from.code(outcomes);
        entry.iffalse = from.code(outcomes);
        if (sound && entry.iffalse == entry.iftrue) // as a jump alone may be
            entry.iffalse = entry.iftrue == KVRN_GO_KEEP ? KVRN_GO_DROP : KVRN_GO_KEEP;
        entry.kanjiconv = from.code(kanji);
        entry.truejump = sound ? from.byte() % fewentries : from.length();
        entry.falsejump = sound ? from.byte() % fewentries : from.length();
    }

    // The last condition has to decide.
    KVRNSEL *makeselection() {
        auto *made_selection =
            table<KVRNSEL>(fewentries, [this](KVRNSELE &entry) { fillcondition(entry); });
        KVRNSELE *entries = made_selection->entry;
        const uint32_t count = made_selection->count;
        if (count == 0 || count >= bytesource::unholdable)
            return made_selection;
        const uint8_t verdict = from.byte();
        if (verdict < 240) {
            entries[count - 1].iftrue = outcomes[verdict % 2];
            entries[count - 1].iffalse = outcomes[1 - verdict % 2];
        }
        return made_selection;
    }

    void fillpiece(KVRNRCNE &entry) {
        entry.type = from.code(piecetypes);
        entry.length = fieldlength(30);
        if (entry.type == KVRN_FLD_LIT)
            entry.literal = literal(entry.length);
        else
            entry.position = position();
    }

    // A table whose option is off stays unread.
    void makeoptions() {
        const uint8_t bits = made.prim->options;
        const uint8_t given = from.byte();
        if (given == 0 && !sound)
            return;
        made.opts = take<KVRNOPT>();
        *made.opts = {rubbish<KVRNSUM>(), rubbish<KVRNSEL>(), rubbish<KVRNRCN>()};
        const bool newer = made.level() != 0;
        if ((bits & KVRN_SUM) != 0)
            made.opts->sum = given == 255
                                 ? nullptr
                                 : table<KVRNSUM>(3, [this](KVRNSUME &entry) { fillsum(entry); });
        if (newer && (bits & KVRN_SELECT) != 0)
            made.opts->sel = given == 254 ? nullptr : makeselection();
        if (newer && (bits & KVRN_RECONSTRUCT) != 0)
            made.opts->rcn = given == 253
                                 ? nullptr
                                 : table<KVRNRCN>(4, [this](KVRNRCNE &entry) { fillpiece(entry); });
    }
};

} // namespace

exactmemory::~exactmemory() {
    for (void *piece : pieces)
        free(piece);
}

void *exactmemory::take(size_t bytes, uint8_t fill) {
    void *piece = malloc(bytes);
    if (bytes != 0)
        memset(piece, fill, bytes);
    pieces.push_back(piece);
    return piece;
}

const char *exactmemory::text(const char *from, size_t length) {
    auto *copy = static_cast<char *>(take(length + 1));
    memcpy(copy, from, length);
    copy[length] = 0;
    return copy;
}

unsigned fuzzblocks::level() const {
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

bool fuzzblocks::text() const {
    return level() != 0 && (prim->fieldmode == KVRN_FIELDS || prim->fieldmode == KVRN_COLUMNS);
}

const char *fuzzblocks::delimiter() const {
    if (!text())
        return "";
    const uint8_t code = version == KVRN_VERSION_L2_OLDDLMT ? prim->keyoption2 : prim->linedlmt;
    return code == KVRN_DLMT_LF ? "\n" : code == KVRN_DLMT_CR ? "\r" : "\r\n";
}

fuzzblocks makeblocks(bytesource &from, exactmemory &memory) {
    return maker(from, memory).make();
}

} // namespace kvern::test

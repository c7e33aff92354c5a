#include "fuzz/spoiler.h"

namespace kvern::test {

namespace {

constexpr uint32_t unholdable = 0x400000; // entries, or bytes of a literal
constexpr uint32_t longestliteral = 0xFFFF;
constexpr uint32_t versions[] = {
    KVRN_VERSION_L0,         KVRN_VERSION_L0 + 0x1234, enginelevel1,    KVRN_VERSION_L2,
    KVRN_VERSION_L2_OLDDLMT, KVRN_VERSION_L3,          KVRN_VERSION_L4, 0x11110000};

void fit(bytes &literal, uint32_t &length) {
    length |= length > longestliteral ? unholdable : 0;
    literal.resize(length > longestliteral ? 0 : length, '7');
}

template <class T>
T &anyof(std::vector<T> &list, randomness &r) {
    if (list.empty())
        list.emplace_back();
    return list[r.below(static_cast<uint32_t>(list.size()))];
}

} // namespace

uint32_t spoiler::number() {
    constexpr uint32_t edges[] = {0xFFFF, 0x10000, 0x7FFFFFFF, 0x80000000, 0xFFFFFFFF};
    switch (r.below(4)) {
    case 0:
        return r.below(400);
    case 1:
        return r.onein(2) ? r.pickof(edges) : static_cast<uint32_t>(r.bits());
    default:
        return r.below(20);
    }
}

// Most codes of every kind lie in two narrow ranges.
uint8_t spoiler::code() {
    const uint32_t choice = r.below(3);
    return static_cast<uint8_t>(choice == 0   ? r.below(40)
                                : choice == 1 ? r.between(158, 240)
                                              : r.below(256));
}

void spoiler::oneof(std::initializer_list<uint32_t *> numbers,
                    std::initializer_list<uint8_t *> codes) {
    const auto count = static_cast<uint32_t>(numbers.size());
    const uint32_t which = r.below(count + static_cast<uint32_t>(codes.size()));
    if (which < count)
        *numbers.begin()[which] = number();
    else
        *codes.begin()[which - count] = code();
}

void spoiler::bend(sessionspec &s) {
    switch (r.below(6)) {
    case 0:
        s.version = r.pickof(versions);
        break;
    case 1:
        s.separator = bytes(r.below(4), r.byte());
        break;
    case 2: {
        sumfield &f = anyof(s.sums, r);
        oneof({&f.position, &f.length}, {&f.type});
        break;
    }
    case 3: {
        piece &p = anyof(s.pieces, r);
        p.literal = p.literal != r.onein(3);
        oneof({&p.position, &p.length}, {});
        if (p.literal)
            fit(p.text, p.length);
        break;
    }
    case 4: {
        condition &c = anyof(s.conditions, r);
        oneof({&c.lpos, &c.llen, &c.rpos, &c.rlen, &c.truejump, &c.falsejump},
              {&c.op, &c.ltype, &c.rtype, &c.options, &c.iftrue, &c.iffalse});
        if (c.isliteral())
            fit(c.literal, c.rlen);
        break;
    }
    default: {
        keyspec &k = anyof(s.keys, r);
        oneof({&k.position, &k.length}, {&k.type, &k.order, &k.textoption, &k.kanjiconv});
    }
    }
}

void spoiler::bend(callerblocks &blocks) {
    switch (r.below(8)) {
    case 0:
        return bendcount(blocks);
    case 1:
        return takeaway(blocks);
    case 2:
        return blocks.files != nullptr ? bendfiles(*blocks.files) : void();
    default:
        return bendprim(blocks);
    }
}

// A separator stays where it is.
void spoiler::bendprim(const callerblocks &blocks) {
    constexpr size_t address = offsetof(KVRNPRIM, separator);
    const size_t at = r.below(static_cast<uint32_t>(blocks.primbytes));
    if (at >= address && at < address + sizeof(char *))
        return;
    uint8_t &byte = reinterpret_cast<uint8_t *>(blocks.prim)[at];
    byte = r.onein(2) ? code() : static_cast<uint8_t>(byte ^ 1U << r.below(8));
}

void spoiler::bendcount(const callerblocks &blocks) {
    const auto of = [](auto *table) { return table != nullptr ? &table->count : nullptr; };
    const auto &opts = blocks.opts;
    const KVRNFILE none = {}, &files = blocks.files != nullptr ? *blocks.files : none;
    uint32_t *count = r.pick({of(blocks.keys), of(opts.sum), of(opts.sel), of(opts.rcn),
                              of(files.infiles), of(files.workfiles)});
    if (count != nullptr)
        *count = r.onein(2) ? r.below(*count + 1) : number() | unholdable;
}

void spoiler::takeaway(callerblocks &blocks) {
    switch (r.below(7)) {
    case 0:
        blocks.keys = nullptr;
        break;
    case 1:
        blocks.files = nullptr;
        break;
    case 2:
        blocks.opts.sum = nullptr;
        break;
    case 3:
        blocks.opts.sel = nullptr;
        break;
    case 4:
        blocks.opts.rcn = nullptr;
        break;
    case 5:
        if (blocks.files != nullptr)
            blocks.files->infiles = nullptr;
        break;
    default:
        if (blocks.files != nullptr)
            blocks.files->outfile = nullptr;
    }
}

void spoiler::bendfiles(KVRNFILE &files) {
    constexpr const char *names[] = {"da/out",    "da",        "da/",   "no/where", "",
                                     "dc/input0", "dc/input1", "db/t1", nullptr};
    constexpr uint8_t kinds[] = {0, 1, 2, 16, 18, 19, 77};
    switch (r.below(5)) {
    case 0:
        files.outfile = r.pickof(names);
        break;
    case 1:
        files.outtype = r.pickof(kinds);
        break;
    case 2:
        if (files.intypes != nullptr)
            files.intypes->kind[0] = r.pickof(kinds);
        break;
    default:
        KVRNFLST *list = r.onein(2) ? files.infiles : files.workfiles;
        if (list != nullptr && list->count != 0 && list->count < unholdable)
            list->path[r.below(list->count)] = r.pickof(names);
    }
}

} // namespace kvern::test

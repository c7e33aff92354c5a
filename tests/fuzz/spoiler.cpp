#include "fuzz/spoiler.h"

namespace kvern::test {

namespace {

constexpr uint32_t unholdable = 0x400000; // entries, or bytes of a literal
constexpr uint32_t longestliteral = 0xFFFF;

uint32_t number(randomness &r) {
    constexpr uint32_t edges[] = {0xFFFF, 0x10000, 0x7FFFFFFF, 0x80000000, 0xFFFFFFFF};
    return !r.onein(4)  ? r.below(r.onein(3) ? 400 : 20)
           : r.onein(2) ? r.pickof(edges)
                        : static_cast<uint32_t>(r.bits());
}

// Most codes of every kind lie in two narrow ranges.
uint8_t code(randomness &r) {
    return static_cast<uint8_t>(r.onein(3)   ? r.below(40)
                                : r.onein(2) ? r.between(158, 240)
                                             : r.below(256));
}

void oneof(randomness &r, std::initializer_list<uint32_t *> numbers,
           std::initializer_list<uint8_t *> codes) {
    const auto count = static_cast<uint32_t>(numbers.size());
    const uint32_t which = r.below(count + static_cast<uint32_t>(codes.size()));
    if (which < count)
        *numbers.begin()[which] = number(r);
    else
        *codes.begin()[which - count] = code(r);
}

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

// Takes the list away, or lets it count wrong.
template <class T>
void bendlist(T *&list, randomness &r) {
    if (list == nullptr || r.onein(2))
        list = nullptr;
    else
        list->count = r.onein(2) ? r.below(list->count + 1) : number(r) | unholdable;
}

// A separator stays where it is.
void bendprim(const callerblocks &blocks, randomness &r) {
    constexpr size_t address = offsetof(KVRNPRIM, separator);
    const size_t at = r.below(static_cast<uint32_t>(blocks.primbytes));
    if (at >= address && at < address + sizeof(char *))
        return;
    uint8_t &byte = reinterpret_cast<uint8_t *>(blocks.prim)[at];
    byte = r.onein(2) ? code(r) : static_cast<uint8_t>(byte ^ 1U << r.below(8));
}

void bendfiles(KVRNFILE &files, randomness &r) {
    constexpr const char *names[] = {"da/out",    "da",        "da/",   "no/where", "",
                                     "dc/input0", "dc/input1", "db/t1", nullptr};
    constexpr uint8_t kinds[] = {0, 1, 2, 16, 18, 19, 77};
    KVRNFLST *&list = r.onein(2) ? files.infiles : files.workfiles;
    switch (r.below(6)) {
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
    case 3:
        bendlist(list, r);
        break;
    default:
        if (list != nullptr && list->count != 0)
            list->path[r.below(list->count)] = r.pickof(names);
    }
}

} // namespace

void bend(sessionspec &s, randomness &r) {
    constexpr uint32_t versions[] = {
        KVRN_VERSION_L0,         KVRN_VERSION_L0 + 0x1234, enginelevel1,    KVRN_VERSION_L2,
        KVRN_VERSION_L2_OLDDLMT, KVRN_VERSION_L3,          KVRN_VERSION_L4, 0x11110000};
    switch (r.below(6)) {
    case 0:
        s.version = r.pickof(versions);
        break;
    case 1: {
        const uint8_t byte = r.byte(); // choices are made in the order in which they stand
        s.separator = bytes(r.below(4), byte);
        break;
    }
    case 2: {
        sumfield &f = anyof(s.sums, r);
        return oneof(r, {&f.position, &f.length}, {&f.type});
    }
    case 3: {
        piece &p = anyof(s.pieces, r);
        p.literal = p.literal != r.onein(3);
        oneof(r, {&p.position, &p.length}, {});
        if (p.literal)
            fit(p.text, p.length);
        break;
    }
    case 4: {
        condition &c = anyof(s.conditions, r);
        oneof(r, {&c.lpos, &c.llen, &c.rpos, &c.rlen, &c.truejump, &c.falsejump},
              {&c.op, &c.ltype, &c.rtype, &c.options, &c.iftrue, &c.iffalse});
        if (c.isliteral())
            fit(c.literal, c.rlen);
        break;
    }
    default: {
        keyspec &k = anyof(s.keys, r);
        oneof(r, {&k.position, &k.length}, {&k.type, &k.order, &k.textoption, &k.kanjiconv});
    }
    }
}

void bend(callerblocks &blocks, randomness &r) {
    switch (r.below(12)) {
    case 0:
        return bendlist(blocks.keys, r);
    case 1:
        return bendlist(blocks.opts.sum, r);
    case 2:
        return bendlist(blocks.opts.sel, r);
    case 3:
        return bendlist(blocks.opts.rcn, r);
    case 4:
        blocks.files = r.onein(4) ? nullptr : blocks.files;
        [[fallthrough]];
    case 5:
        return blocks.files != nullptr ? bendfiles(*blocks.files, r) : void();
    default:
        return bendprim(blocks, r);
    }
}

} // namespace kvern::test

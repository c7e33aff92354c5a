#include "model/selection.h"
#include "model/model.h"

#include <algorithm>

namespace kvern::test {

namespace {

bool isone(uint8_t type, std::initializer_list<int> types) {
    return std::find(types.begin(), types.end(), type) != types.end();
}

// The field in `length` bytes, as a longer field of its type would hold it.
bytes widened(uint8_t type, uint8_t cdmode, const bytes &field, size_t length) {
    const size_t more = length - field.size();
    const bytes pad(more, cdmode == KVRN_CD_EBCDIC ? '\xF0' : '0');
    if (more == 0)
        return field;
    switch (type) {
    case KVRN_ZONED:
    case KVRN_SIGNTRAIL:
    case KVRN_ZONEDU:
        return pad + field;
    case KVRN_SIGNLEAD:
        return field[0] + pad + field.substr(1);
    case KVRN_ZONEDLEAD: {
        // The zone stays in front and the digit goes behind it, which tears
        // overpunched letters: intended.
        bytes out = static_cast<char>(field[0] & 0xF0) + pad + field.substr(1);
        out[more] = static_cast<char>(out[more] | (field[0] & 0x0F));
        return out;
    }
    case KVRN_SBEBIN:
        return bytes(more, field[0] & 0x80 ? '\xFF' : '\0') + field;
    default:
        return bytes(more, '\0') + field;
    }
}

// Zoned and packed numbers of `length` bytes compare by digits, a nibble each.
keyvalue bydigits(const sessionspec &spec, uint8_t type, const bytes &field, size_t length) {
    keyvalue value = valueof(spec, {0, 0, type}, field), out{value.negative, {}};
    for (const char c : value.magnitude) {
        if (type == KVRN_PACKED)
            out.magnitude += static_cast<char>(static_cast<uint8_t>(c) >> 4);
        out.magnitude += static_cast<char>(c & 15);
    }
    if (type == KVRN_PACKED)
        out.magnitude.pop_back();
    out.magnitude.insert(0, 2 * length - 1 - out.magnitude.size(), '\0');
    return out;
}

// With overpunched letters a zoned number has its last digit in front and no
// sign: intended.  Beside it a packed number stands as its bytes do.
bytes lastdigitfirst(const bytes &field, uint8_t type, const keyvalue &digits) {
    const size_t n = field.size();
    bytes out;
    if (type == KVRN_PACKED) {
        const bool negative = digits.negative;
        out = bytes(1, negative ? '\0' : '\xFF') + field;
        for (size_t i = 1; i <= n; ++i)
            out[i] = static_cast<char>(negative ? ~out[i] : out[i]);
        out[n] = static_cast<char>(out[n] & 0xF0);
        return out;
    }
    const bytes &d = digits.magnitude; // 2n - 1 digits
    out = bytes(1, static_cast<char>(d.back() << 4));
    for (size_t i = d.size() - 1; out.size() < n; i -= 2)
        out += static_cast<char>(d[i - 2] << 4 | d[i - 1]);
    return out + '\xFF';
}

int comparedfields(const sessionspec &spec, const condition &c, bytes left, bytes right) {
    const uint8_t type = c.isliteral() ? c.ltype : c.rtype;
    if (spec.form == 'r') {
        const keyspec key{0, static_cast<uint32_t>(std::max(left.size(), right.size())), KVRN_CHAR,
                          KVRN_ASCENDING, c.options};
        return compare(valueof(spec, key, left), valueof(spec, key, right));
    }
    if (isone(c.ltype, {KVRN_CHAR, KVRN_CHARX})) {
        const size_t common = std::min(left.size(), right.size());
        return left.compare(0, common, right, 0, common);
    }
    if (c.ltype == KVRN_MASKBYTE) {
        const int mask = static_cast<int>(c.llen);
        return (static_cast<uint8_t>(left[0]) & mask) -
               (static_cast<uint8_t>(right[0]) & (c.isliteral() ? 0xFF : mask));
    }
    const size_t length = std::max(left.size(), right.size());
    left = widened(c.ltype, spec.cdmode, left, length);
    right = widened(type, spec.cdmode, right, length);
    if (!isone(c.ltype, {KVRN_ZONED, KVRN_PACKED}))
        return compare(valueof(spec, {0, 0, c.ltype}, left), valueof(spec, {0, 0, type}, right));
    const keyvalue l = bydigits(spec, c.ltype, left, length);
    const keyvalue r = bydigits(spec, type, right, length);
    if (spec.cdmode == KVRN_CD_OVERPUNCH && (c.ltype == KVRN_ZONED || type == KVRN_ZONED))
        return lastdigitfirst(left, c.ltype, l).compare(lastdigitfirst(right, type, r));
    return compare(l, r);
}

bool holds(uint8_t op, int order) {
    switch (op) {
    case KVRN_OP_EQ:
        return order == 0;
    case KVRN_OP_NE:
        return order != 0;
    case KVRN_OP_GT:
        return order > 0;
    case KVRN_OP_GE:
        return order >= 0;
    case KVRN_OP_LT:
        return order < 0;
    default:
        return order <= 0;
    }
}

} // namespace

verdict selected(const sessionspec &spec, const bytes &record) {
    if (spec.conditions.empty())
        return {};
    const std::vector<bytes> fields =
        spec.bynumber() ? fieldsof(spec, record) : std::vector<bytes>{};
    if (spec.form != 'f' &&
        (spec.bynumber() ? fields.size() : record.size()) <= spec.selectiontop())
        return {KVRN_D_NOSELFIELD};
    const auto field = [&](uint32_t position, uint32_t length) {
        return spec.bynumber() ? fields[position].substr(0, length)
                               : record.substr(position, length);
    };
    size_t at = 0;
    for (size_t steps = 0; steps < spec.conditions.size(); ++steps) {
        const condition &c = spec.conditions[at];
        if (isone(c.ltype, {KVRN_COLLATE, KVRN_WIDE2, KVRN_WIDE4}))
            return {silentfault};
        if (c.ltype == KVRN_SLEBIN) // passes the analysis, and no routine compares it
            return {KVRN_D_LOGIC};
        const int order = comparedfields(spec, c, field(c.lpos, c.leftlength()),
                                         c.isliteral() ? c.literal.substr(0, c.rightlength())
                                                       : field(c.rpos, c.rightlength()));
        const bool yes = holds(c.op, order);
        const uint8_t action = yes ? c.iftrue : c.iffalse;
        if (action == KVRN_GO_KEEP || action == KVRN_GO_DROP)
            return {0, action == KVRN_GO_KEEP};
        at = action == KVRN_GO_NEXT ? at + 1 : yes ? c.truejump : c.falsejump;
    }
    return {KVRN_D_LOGIC}; // the chain came round to an entry
}

} // namespace kvern::test

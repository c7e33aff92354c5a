#include "model/model.h"

#include <algorithm>

namespace kvern::test {

namespace {

bool isone(uint8_t type, std::initializer_list<int> types) {
    return std::find(types.begin(), types.end(), type) != types.end();
}

// The shorter magnitude takes zeros in front.
void align(keyvalue &a, keyvalue &b, char zero) {
    for (keyvalue *one : {&a, &b})
        one->magnitude.insert(
            0, std::max(a.magnitude.size(), b.magnitude.size()) - one->magnitude.size(), zero);
}

// A leading zone stays in front and its digit goes behind the zeros, which tears
// overpunched letters: intended.
bytes torn(const bytes &field, size_t length) {
    if (length == field.size())
        return field;
    const bytes zeros(length - field.size() - 1, '0');
    return static_cast<char>(field[0] & 0xF0) + zeros + static_cast<char>('0' | (field[0] & 15)) +
           field.substr(1);
}

// With overpunched letters a zoned number has its last digit in front and no
// sign: intended.  Beside it a packed number stands as its bytes do.
bytes lastdigitfirst(const bytes &field, uint8_t type, const keyvalue &digits, size_t length) {
    if (type == KVRN_PACKED) {
        bytes out = '\xFF' + bytes(length - field.size(), '\0') + field;
        for (char &c : out)
            c = static_cast<char>(digits.negative ? ~c : c);
        out.back() = static_cast<char>(out.back() & 0xF0);
        return out;
    }
    const bytes d = bytes(2 * length, '\0') + digits.magnitude;
    bytes out(1, static_cast<char>(d.back() << 4));
    for (size_t i = d.size() - 1; out.size() < length; i -= 2)
        out += static_cast<char>(d[i - 2] << 4 | d[i - 1]);
    return out + '\xFF';
}

int comparedfields(const sessionspec &spec, const condition &c, bytes left, bytes right) {
    const uint8_t type = c.isliteral() ? c.ltype : c.rtype;
    const size_t length = std::max(left.size(), right.size());
    if (spec.text()) {
        const keyspec key{0, static_cast<uint32_t>(length), KVRN_CHAR, KVRN_ASCENDING, c.options};
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
    if (isone(c.ltype, {KVRN_ZONED, KVRN_PACKED})) {
        keyvalue l = bydigits(spec, c.ltype, left), r = bydigits(spec, type, right);
        if (spec.cdmode == KVRN_CD_OVERPUNCH && (c.ltype == KVRN_ZONED || type == KVRN_ZONED))
            return lastdigitfirst(left, c.ltype, l, length)
                .compare(lastdigitfirst(right, type, r, length));
        align(l, r, '\0');
        return compare(l, r);
    }
    if (spec.cdmode == KVRN_CD_OVERPUNCH) {
        left = c.ltype == KVRN_ZONEDLEAD ? torn(left, length) : left;
        right = type == KVRN_ZONEDLEAD ? torn(right, length) : right;
    }
    keyvalue l = valueof(spec, {0, 0, c.ltype}, left), r = valueof(spec, {0, 0, type}, right);
    const bool binary = isone(c.ltype, {KVRN_SBEBIN, KVRN_UBEBIN});
    align(l, r, binary ? '\0' : spec.cdmode == KVRN_CD_EBCDIC ? '\xF0' : '0');
    return compare(l, r);
}

bool holds(uint8_t op, int order) {
    return op == KVRN_OP_EQ   ? order == 0
           : op == KVRN_OP_NE ? order != 0
           : op == KVRN_OP_GT ? order > 0
           : op == KVRN_OP_GE ? order >= 0
           : op == KVRN_OP_LT ? order < 0
                              : order <= 0;
}

} // namespace

verdict selected(const sessionspec &spec, const bytes &record) {
    if (spec.conditions.empty())
        return {};
    const std::vector<bytes> fields =
        spec.bynumber() ? fieldsof(spec, record) : std::vector<bytes>{};
    if (spec.form != 'f' &&
        (spec.bynumber() ? fields.size() : record.size()) < spec.selectionneeds())
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

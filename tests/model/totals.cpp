#include "model/model.h"
#include "support/fieldvalues.h"

#include <algorithm>
#include <numeric>

namespace kvern::test {

namespace {

std::vector<account::place> placesof(const sessionspec &spec, const bytes &record) {
    std::vector<bytes> fields;
    if (spec.bynumber() && spec.separator == "") // an empty line has fields without end too
        fields.resize(256);
    else if (spec.bynumber())
        fields = fieldsof(spec, record);
    std::vector<account::place> places;
    for (const sumfield &f : spec.sums) {
        account::place p{f.position, f.length};
        if (spec.bynumber()) {
            if (f.position >= fields.size())
                return {};
            p.at = f.position * spec.separator.value_or(" ").size();
            for (size_t i = 0; i < f.position; ++i)
                p.at += fields[i].size();
            p.length = std::min<size_t>(f.length, fields[f.position].size());
        } else if (record.size() < p.at + p.length + (spec.form == 'v' ? 4 : 0)) {
            return {}; // of a variable record the length word is counted twice: intended
        }
        places.push_back(p);
    }
    return places;
}

// The fields from the last one of a record to the first, so that each can be replaced.
std::vector<size_t> backwards(const std::vector<account::place> &places) {
    std::vector<size_t> order(places.size());
    std::iota(order.begin(), order.end(), size_t{0});
    std::sort(order.begin(), order.end(),
              [&](size_t i, size_t j) { return places[i].at > places[j].at; });
    return order;
}

bytes stripped(const bytes &digits) {
    return digits.substr(std::min(digits.find_first_not_of('0'), digits.size()));
}

number textnumber(const bytes &field) {
    const auto skip = [&](size_t p) {
        return std::min(field.find_first_not_of(' ', p), field.size());
    };
    size_t p = skip(0);
    number n;
    if (p < field.size() && (field[p] == '+' || field[p] == '-')) {
        n.mark = field[p];
        p = skip(p + 1);
    }
    const bytes digits = field.substr(p);
    if (digits.empty() || digits.find_first_not_of("0123456789") != bytes::npos)
        n.fault = KVRN_D_SUMOPERAND;
    n.digits = stripped(digits);
    return n;
}

number decimalnumber(const keyvalue &value) {
    number n{0, value.negative ? '-' : '+', {}};
    for (const char c : value.magnitude)
        n.digits += static_cast<char>('0' + c);
    if (n.digits.find_first_not_of("0123456789") != bytes::npos)
        n.fault = rubbishdigits;
    n.digits = stripped(n.digits);
    return n;
}

number binarynumber(const bytes &field, bool isnegative) {
    uint64_t v = isnegative ? ~uint64_t{0} : 0;
    for (const char c : field)
        v = v << 8 | static_cast<uint8_t>(c);
    return {0, isnegative ? '-' : '+', stripped(std::to_string(isnegative ? ~v + 1 : v))};
}

number numberof(const sessionspec &spec, const sumfield &f, const bytes &field) {
    switch (f.type) {
    case KVRN_CHAR:
        return textnumber(field);
    case KVRN_ZONED:
    case KVRN_PACKED:
        return decimalnumber(bydigits(spec, f.type, field));
    default:
        return binarynumber(field, f.type == KVRN_SBEBIN && (field[0] & 0x80) != 0);
    }
}

bool isless(const bytes &a, const bytes &b) {
    return a.size() != b.size() ? a.size() < b.size() : a < b;
}

// a + b, or a - b for a not below b.
bytes combined(bytes a, bytes b, bool subtract) {
    const size_t room = std::max(a.size(), b.size()) + 1;
    a = padded(a, room);
    b = padded(b, room);
    for (size_t i = room; i-- > 0;) {
        const int sum = a[i] - '0' + (subtract ? '0' - b[i] : b[i] - '0');
        a[i] = static_cast<char>('0' + (sum + 10) % 10);
        if (sum > 9)
            ++a[i - 1];
        else if (sum < 0)
            --a[i - 1];
    }
    return stripped(a);
}

bytes written(const sessionspec &spec, const sumfield &f, const number &n) {
    const bool negative = n.mark == '-';
    if (f.type == KVRN_SBEBIN || f.type == KVRN_UBEBIN) {
        uint64_t v = 0;
        for (const char digit : n.digits)
            v = v * 10 + static_cast<uint64_t>(digit - '0');
        return bigendian(static_cast<int64_t>(negative ? ~v + 1 : v), f.length);
    }
    if (f.type != KVRN_CHAR)
        return decimalfield(f.type, f.length, spec.cdmode, n.digits, negative);
    bytes out = padded(n.digits, f.length);
    if (n.mark != 0)
        out[0] = n.mark;
    return out;
}

bool fits(const sessionspec &spec, const sumfield &f, const number &n) {
    return isequal(numberof(spec, f, written(spec, f, n)), n);
}

} // namespace

account accountof(const sessionspec &spec, const bytes &record) {
    account a{0, record, placesof(spec, record), {}};
    if (a.places.size() < spec.sums.size()) {
        a.fault = KVRN_D_SUMMISSING;
        return a;
    }
    for (size_t i = 0; i < a.places.size(); ++i) {
        const bytes field = record.substr(a.places[i].at, a.places[i].length);
        a.amounts.push_back(numberof(spec, spec.sums[i], field));
        a.fault = a.fault == 0 ? a.amounts.back().fault : a.fault;
    }
    for (const size_t i : backwards(a.places))
        a.rest.erase(a.places[i].at, a.places[i].length);
    return a;
}

number plus(const number &a, const number &b, bool istext) {
    const bool unlike = (a.mark == '-') != (b.mark == '-');
    const bool second = unlike && isless(a.digits, b.digits);
    number sum{0, second ? b.mark : a.mark,
               second ? combined(b.digits, a.digits, true) : combined(a.digits, b.digits, unlike)};
    // A decimal 0 keeps the sign of the first; a text has '+' if both had it.
    if (istext && (unlike ? sum.digits.empty() : a.mark == '+' && b.mark != '+'))
        sum.mark = 0;
    return sum;
}

bool isequal(const number &a, const number &b) {
    return a.digits == b.digits && (a.digits.empty() || (a.mark == '-') == (b.mark == '-'));
}

uint32_t fold(const sessionspec &spec, bytes &first, const bytes &second) {
    const account a = accountof(spec, first), b = accountof(spec, second);
    if (a.places.empty() || b.places.empty())
        return KVRN_D_SUMMISSING;
    std::vector<bytes> sums;
    for (size_t i = 0; i < spec.sums.size(); ++i) {
        if (const uint32_t fault = std::max(a.amounts[i].fault, b.amounts[i].fault); fault != 0)
            return fault;
        const sumfield &f = spec.sums[i];
        const number sum = plus(a.amounts[i], b.amounts[i], f.type == KVRN_CHAR);
        if (!fits(spec, f, sum))
            return KVRN_D_SUMOVERFLOW;
        sums.push_back(written(spec, f, sum));
    }
    bytes folded = first;
    for (const size_t i : backwards(a.places))
        folded.replace(a.places[i].at, a.places[i].length, sums[i]);
    if (folded.size() > spec.outlength())
        return KVRN_D_SUMOVERFLOW;
    first = folded;
    return 0;
}

bool roomforall(const sessionspec &spec, const std::vector<account> &members) {
    std::vector<number> totals(spec.sums.size(), {0, '+', {}});
    for (const account &member : members) {
        size_t grown = member.rest.size();
        for (size_t i = 0; i < totals.size() && member.fault == 0; ++i) {
            grown += spec.sums[i].length;
            totals[i].digits = combined(totals[i].digits, member.amounts[i].digits, false);
            if (!fits(spec, spec.sums[i], totals[i]))
                return false;
        }
        if (member.fault != 0 || grown > spec.outlength())
            return false;
    }
    return true;
}

} // namespace kvern::test

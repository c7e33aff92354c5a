#include "model/totals.h"
#include "model/model.h"

#include <algorithm>

namespace kvern::test {

namespace {

struct place {
    size_t at = 0;
    size_t length = 0; // bytes that are there
};

// Empty: the record is too short for its summation fields.
std::vector<place> placesof(const sessionspec &spec, const bytes &record) {
    const bool bynumber = spec.bynumber();
    std::vector<bytes> fields;
    if (bynumber && spec.separator == "") // an empty line has fields without end too
        fields.resize(256);
    else if (bynumber)
        fields = fieldsof(spec, record);
    std::vector<place> places;
    for (const sumfield &f : spec.sums) {
        place p{f.position, f.length};
        if (bynumber) {
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

number decimalnumber(const sessionspec &spec, const sumfield &f, const bytes &field) {
    const keyvalue value = valueof(spec, {0, f.length, f.type}, field);
    number n{0, value.negative ? '-' : '+', {}};
    for (const char c : value.magnitude) {
        if (f.type == KVRN_PACKED)
            n.digits += static_cast<char>('0' + (static_cast<uint8_t>(c) >> 4));
        n.digits += static_cast<char>('0' + (c & 15));
    }
    if (f.type == KVRN_PACKED)
        n.digits.pop_back(); // where the sign stood
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
        return decimalnumber(spec, f, field);
    case KVRN_SBEBIN:
        return binarynumber(field, (field[0] & 0x80) != 0);
    case KVRN_UBEBIN:
        return binarynumber(field, false);
    default:
        return {KVRN_D_LOGIC}; // passes the analysis, and no routine adds it
    }
}

bool isless(const bytes &a, const bytes &b) {
    return a.size() != b.size() ? a.size() < b.size() : a < b;
}

// a + b, or a - b for a not below b.
bytes combined(bytes a, bytes b, bool subtract) {
    const size_t room = std::max(a.size(), b.size()) + 1;
    a.insert(0, room - a.size(), '0');
    b.insert(0, room - b.size(), '0');
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

number added(const number &a, const number &b, bool istext) {
    const bool unlike = (a.mark == '-') != (b.mark == '-');
    const bool second = unlike && isless(a.digits, b.digits);
    number sum{0, second ? b.mark : a.mark,
               second ? combined(b.digits, a.digits, true) : combined(a.digits, b.digits, unlike)};
    // A decimal 0 keeps the sign of the first; a text has '+' if both had it.
    if (istext && (unlike ? sum.digits.empty() : a.mark == '+' && b.mark != '+'))
        sum.mark = 0;
    return sum;
}

// What a field holds at most, for a sum of this mark.
bytes capacity(const sumfield &f, char mark) {
    const uint64_t all = ~uint64_t{0} >> (64 - 8 * std::min(f.length, 8U));
    switch (f.type) {
    case KVRN_CHAR:
        return bytes(f.length - (mark == 0 ? 0 : 1), '9');
    case KVRN_PACKED:
        return bytes(2 * f.length - 1, '9');
    case KVRN_SBEBIN:
        return std::to_string(all / 2 + (mark == '-' ? 1 : 0));
    case KVRN_UBEBIN:
        return std::to_string(all);
    default:
        return bytes(f.length, '9');
    }
}

char zonedsign(uint8_t cdmode, char digit, bool negative) {
    const int d = digit & 15;
    switch (cdmode) {
    case KVRN_CD_EBCDIC:
        return static_cast<char>((negative ? 0xD0 : 0xC0) + d);
    case KVRN_CD_ZONE7:
        return static_cast<char>((negative ? 0x70 : 0x30) + d);
    case KVRN_CD_OVERPUNCH:
        return d == 0 ? (negative ? '}' : '{') : static_cast<char>((negative ? 'J' : 'A') + d - 1);
    default:
        return static_cast<char>((negative ? 0x50 : 0x40) + d);
    }
}

bytes written(const sessionspec &spec, const sumfield &f, const number &n) {
    const bool negative = n.mark == '-';
    const size_t room = f.type == KVRN_PACKED ? 2 * f.length : f.length;
    bytes out = n.digits;
    switch (f.type) {
    case KVRN_SBEBIN:
    case KVRN_UBEBIN: {
        uint64_t v = n.digits.empty() ? 0 : std::stoull(n.digits);
        v = negative ? ~v + 1 : v;
        for (out.clear(); out.size() < room; v >>= 8)
            out.insert(0, 1, static_cast<char>(v));
        return out;
    }
    case KVRN_PACKED: {
        out = bytes(room - 1 - out.size(), '0') + out + '0';
        bytes packed;
        for (size_t i = 0; i < room; i += 2)
            packed += static_cast<char>((out[i] & 15) << 4 | (out[i + 1] & 15));
        packed.back() = static_cast<char>(packed.back() | (negative ? 0xD : 0xC));
        return packed;
    }
    case KVRN_ZONED:
        out.insert(0, room - out.size(), '0');
        for (char &c : out)
            c = spec.cdmode == KVRN_CD_EBCDIC ? static_cast<char>(c | 0xF0) : c;
        out.back() = zonedsign(spec.cdmode, out.back(), negative);
        return out;
    default:
        out.insert(0, room - out.size(), '0');
        if (n.mark != 0)
            out[0] = n.mark;
        return out;
    }
}

} // namespace

account accountof(const sessionspec &spec, const bytes &record) {
    account a{0, record, {}};
    std::vector<place> places = placesof(spec, record);
    if (places.size() < spec.sums.size()) {
        a.fault = KVRN_D_SUMMISSING;
        return a;
    }
    for (size_t i = 0; i < places.size(); ++i) {
        a.amounts.push_back(
            numberof(spec, spec.sums[i], record.substr(places[i].at, places[i].length)));
        a.fault = a.fault == 0 ? a.amounts.back().fault : a.fault;
    }
    std::sort(places.begin(), places.end(), [](place p, place q) { return p.at > q.at; });
    for (const place &p : places)
        a.rest.erase(p.at, p.length);
    return a;
}

number plus(const number &a, const number &b) {
    return added(a, b, true);
}

uint32_t fold(const sessionspec &spec, bytes &first, const bytes &second) {
    const std::vector<place> places = placesof(spec, first), others = placesof(spec, second);
    if (std::min(places.size(), others.size()) < spec.sums.size())
        return KVRN_D_SUMMISSING;
    std::vector<std::pair<size_t, bytes>> sums; // field of `first`, and what replaces it
    for (size_t i = 0; i < places.size(); ++i) {
        const sumfield &f = spec.sums[i];
        const number a = numberof(spec, f, first.substr(places[i].at, places[i].length));
        const number b = numberof(spec, f, second.substr(others[i].at, others[i].length));
        if (const uint32_t fault = std::max(a.fault, b.fault); fault != 0)
            return fault;
        const number sum = added(a, b, f.type == KVRN_CHAR);
        if (isless(capacity(f, sum.mark), sum.digits))
            return KVRN_D_SUMOVERFLOW;
        sums.emplace_back(i, written(spec, f, sum));
    }
    std::sort(sums.begin(), sums.end(), [&](const auto &p, const auto &q) {
        return places[p.first].at > places[q.first].at;
    });
    bytes folded = first;
    for (const auto &[i, sum] : sums)
        folded.replace(places[i].at, places[i].length, sum);
    if (folded.size() > spec.outlength())
        return KVRN_D_SUMOVERFLOW;
    first = folded;
    return 0;
}

bool addable(const sessionspec &spec) {
    return std::none_of(spec.sums.begin(), spec.sums.end(), [&](const sumfield &f) {
        return numberof(spec, f, bytes(f.length, '0')).fault == KVRN_D_LOGIC;
    });
}

bool roomforall(const sessionspec &spec, const std::vector<bytes> &members) {
    for (const bytes &member : members) {
        size_t grown = member.size();
        const std::vector<place> places = placesof(spec, member);
        for (size_t i = 0; i < places.size(); ++i)
            grown += spec.sums[i].length - places[i].length;
        if (grown > spec.outlength())
            return false;
    }
    for (size_t i = 0; i < spec.sums.size(); ++i) {
        number total;
        for (const bytes &member : members) {
            const account a = accountof(spec, member);
            total.digits = combined(total.digits, a.amounts[i].digits, false);
        }
        if (isless(capacity(spec.sums[i], spec.sums[i].type == KVRN_CHAR ? '-' : '+'),
                   total.digits))
            return false;
    }
    return true;
}

} // namespace kvern::test

#include "kvern/records/decimals.h"

#include "kvern/system/report.h"

#include <algorithm>
#include <cctype>

namespace command {

namespace {

const std::string conditionplace = "--where";
constexpr const char *advice =
    "write all numbers of a field with as many decimals, as 9.50 and 10.00";

constexpr bool isnumeral(char c) {
    return c >= '0' && c <= '9';
}

constexpr bool isletter(char c) {
    const char lower = static_cast<char>(c | 32);
    return lower >= 'a' && lower <= 'z';
}

constexpr bool ispoint(char c) {
    return c == '.' || c == ',';
}

std::string placename(const lineplace &place) {
    return place.line == 0 ? place.source
                           : "line " + std::to_string(place.line) + " of " + place.source;
}

// As much as helps to find it.
std::string shown(std::string_view text) {
    constexpr size_t most = 40;
    std::string out(text.substr(0, most));
    for (char &c : out)
        c = std::iscntrl(static_cast<unsigned char>(c)) ? ' ' : c;
    return quoted(text.size() > most ? out + "..." : out);
}

// A number of a condition: sign, digits, and what stands behind the point.
struct literalparts {
    bool negative;
    std::string whole, fraction; // no zeros ahead and behind
};

literalparts partsof(std::string_view number) {
    literalparts out;
    out.negative = number.starts_with('-');
    number.remove_prefix(out.negative ? 1 : 0);
    const size_t point = std::min(number.find('.'), number.size());
    out.whole = number.substr(0, point);
    out.whole.erase(0, std::min(out.whole.find_first_not_of('0'), out.whole.size()));
    out.fraction = number.substr(std::min(point + 1, number.size()));
    out.fraction.erase(out.fraction.find_last_not_of('0') + 1);
    return out;
}

std::string_view literalof(const KVRNSELE &test) {
    return {static_cast<const char *>(test.rlit), test.rlen};
}

} // namespace

bool takesnumber(const KVRNSELE &test) {
    return test.rtype == KVRN_FLD_LIT && (test.options & KVRN_TXT_NUMERIC) != 0;
}

// ---- who takes numbers ----------------------------------------------------------

size_t numbercheck::shapeof(const numberuse &use) {
    const auto found = std::find_if(shapes.begin(), shapes.end(), [&](const shape &one) {
        return one.use.name == use.name && one.use.length == use.length;
    });
    if (found != shapes.end())
        return static_cast<size_t>(found - shapes.begin());
    shapes.push_back({use, {}, {}, {}, {}});
    return shapes.size() - 1;
}

void numbercheck::addkey(const keyspec &key) {
    if ((key.textoption & KVRN_TXT_NUMERIC) == 0)
        return;
    numberuse use{usual, key.name, key.position, key.length, rebuilt};
    use.unpunctuated = (key.textoption & KVRN_TXT_ALNUM) != 0;
    shapeof(use);
}

void numbercheck::addsum(const sumspec &sum) {
    numberuse use{usual, sum.name, sum.position, sum.length, rebuilt};
    use.digitsonly = true;
    shapeof(use);
}

void numbercheck::addline(uint8_t textoption) {
    if ((textoption & KVRN_TXT_NUMERIC) == 0)
        return;
    numberuse use{numberuse::line, "-n without a key", 0, 0, rebuilt};
    use.unpunctuated = (textoption & KVRN_TXT_ALNUM) != 0;
    shapeof(use);
}

void numbercheck::addconditions(const conditiontable &conditions) {
    for (const KVRNSELE &test : conditions.entries) {
        if (!takesnumber(test)) {
            tests.push_back(notest);
            continue;
        }
        std::string field = usual == numberuse::field ? "$" + std::to_string(test.lpos + 1)
                                                      : "[" + std::to_string(test.lpos + 1) + "," +
                                                            std::to_string(test.llen) + "]";
        field.append(" in ").append(conditionplace);
        tests.push_back(shapeof({usual, field, test.lpos, test.llen}));
    }
}

void numbercheck::rebuild(const std::vector<rebuildpiece> &pieces, const std::string &separator) {
    parts = pieces;
    joint = separator;
}

// ---- values -----------------------------------------------------------------------

// The rebuilt line, by fields with each piece as a field of it.
void numbercheck::join(std::string_view text, const std::vector<std::string_view> &fields) {
    std::vector<size_t> ends;
    joined.clear();
    for (const rebuildpiece &part : parts) {
        if (!ends.empty())
            joined += joint;
        if (part.literal)
            joined += part.bytes;
        else if (!fields.empty())
            joined +=
                fields[part.position].substr(0, part.length == 0 ? std::string::npos : part.length);
        else
            joined += text.substr(std::min<size_t>(part.position, text.size()), part.length);
        ends.push_back(joined.size());
    }
    joinedfields.clear();
    size_t from = 0;
    for (const size_t end : ends) {
        joinedfields.push_back(std::string_view(joined).substr(from, end - from));
        from = end + joint.size();
    }
}

std::string_view numbercheck::valueof(const numberuse &use, std::string_view text,
                                      const std::vector<std::string_view> &fields) {
    if (use.kind == numberuse::line)
        return text;
    if (use.kind == numberuse::columns)
        return text.substr(std::min<size_t>(use.position, text.size()), use.length);
    if (use.position >= fields.size())
        return {};
    return fields[use.position].substr(0, use.length == 0 ? std::string::npos : use.length);
}

void numbercheck::look(std::string_view text, const std::vector<std::string_view> &fields,
                       const lineplace &place) {
    if (!parts.empty())
        join(text, fields);
    for (shape &one : shapes)
        lookat(one,
               one.use.rebuilt ? valueof(one.use, joined, joinedfields)
                               : valueof(one.use, text, fields),
               place);
}

void numbercheck::lookat(shape &field, std::string_view text, const lineplace &place) {
    size_t first = 0, last = text.size();
    while (first < last && !isnumeral(text[first]))
        ++first;
    if (first == last) { // no digit: a zero, and no number to be summed
        if (!field.use.digitsonly)
            checkzeros(field, text, true, false, place);
        return;
    }
    while (!isnumeral(text[last - 1]))
        --last;
    // Nearly all values end here: digits and marks alone, as in the first one.
    if (field.first.seen() && last == text.size() && text[first] != '0' &&
        goeswith(field, text, first))
        return;
    readmarks(field, text, first, last, place);
    if (!field.first.seen()) {
        field.first = {shown(text), placename(place)};
        field.marks = marks;
    }
    if (marks != field.marks)
        failmarks(field, text, place);
    if (marks.empty())
        return;
    const bool filled = marks.back().distance == last - first;
    const size_t nonzero = text.find_first_not_of('0', first);
    checkzeros(field, text, filled, !filled && !isnumeral(text[nonzero]), place);
}

// A number from `first` to the end of the text, nothing right ahead of it.
bool numbercheck::goeswith(const shape &field, std::string_view text, size_t first) {
    if (first > 0 && ispoint(text[first - 1]))
        return false;
    size_t end = text.size();
    for (const mark &one : field.marks) {
        const size_t at = text.size() - 1 - one.distance; // wraps where it lies ahead
        if (at <= first || at >= end || text[at] != one.byte)
            return false;
        while (--end > at)
            if (!isnumeral(text[end]))
                return false;
    }
    while (end-- > first)
        if (!isnumeral(text[end]))
            return false;
    return true;
}

// From the last digit on: `first` is the first digit, `last` is behind the last one.
void numbercheck::readmarks(const shape &field, std::string_view text, size_t first, size_t last,
                            const lineplace &place) {
    marks.clear();
    if (last < text.size() && text[last] == '-' && !field.use.unpunctuated)
        fail(field, text, place, "has its minus behind the digits", "write it ahead of them");
    for (size_t i = last - 1; i > first; --i) {
        const char c = text[i];
        if (isnumeral(c))
            continue;
        if (isletter(c))
            fail(field, text, place, "has a letter among its digits",
                 "numbers are taken without an exponent, and one of each field");
        if (c == '.' || !field.use.unpunctuated)
            marks.push_back({last - 1 - i, c});
    }
    if (first > 0 && ispoint(text[first - 1]) &&
        (text[first - 1] == '.' || !field.use.unpunctuated))
        marks.push_back({last - first, text[first - 1]});
    if (field.use.digitsonly && !marks.empty())
        fail(field, text, place, "is no whole number", "sums take whole numbers only");
}

bool numbercheck::zerosdiffer(const shape &field) {
    return !field.marks.empty() && !field.use.unpunctuated && field.filled.seen() &&
           field.zero.seen();
}

void numbercheck::checkzeros(shape &field, std::string_view text, bool filled, bool zero,
                             const lineplace &place) {
    if (filled && !field.filled.seen())
        field.filled = {shown(text), placename(place)};
    if (zero && !field.zero.seen())
        field.zero = {shown(text), placename(place)};
    if (!zerosdiffer(field))
        return;
    const example &other = zero ? field.filled : field.zero;
    fail(field, text, place,
         (zero ? "has a zero ahead of its decimals, as "
               : "has no zero ahead of its decimals, as ") +
             other.text + (zero ? " has none, " : " has one, ") + other.place,
         "write such numbers in one way, and a zero as 0.00");
}

bool numbercheck::join(const numbercheck &other) {
    for (size_t i = 0; i < shapes.size(); ++i) {
        shape &field = shapes[i];
        const shape &more = other.shapes[i];
        if (!more.first.seen())
            continue;
        if (!field.first.seen()) {
            field.first = more.first;
            field.marks = more.marks;
        }
        if (!field.filled.seen())
            field.filled = more.filled;
        if (!field.zero.seen())
            field.zero = more.zero;
        if (field.marks != more.marks || zerosdiffer(field))
            return false;
    }
    return true;
}

void numbercheck::fail(const shape &field, std::string_view text, const lineplace &place,
                       const std::string &why, const std::string &what) {
    throw failure{ending::data,
                  placename(place) + ": the number " + shown(text) + " of " + field.use.name + ' ' +
                      why,
                  what};
}

void numbercheck::failmarks(const shape &field, std::string_view text,
                            const lineplace &place) const {
    const auto decimals = [](const std::vector<mark> &of) -> size_t {
        return of.empty() ? 0 : of.size() == 1 && ispoint(of[0].byte) ? of[0].distance : SIZE_MAX;
    };
    const size_t here = decimals(marks), there = decimals(field.marks);
    const std::string other = field.first.text + " (" + field.first.place + ")";
    if (here == there || here == SIZE_MAX || there == SIZE_MAX)
        fail(field, text, place, "is not written as " + other, advice);
    fail(field, text, place,
         "has " + plural(here, "decimal") + ", and " + other + " has " + std::to_string(there),
         advice);
}

// ---- numbers of conditions --------------------------------------------------------

std::string numbercheck::bring(shape &field, std::string_view number) {
    literalparts parts = partsof(number);
    size_t decimals = 0;
    if (field.marks.size() == 1 && field.marks[0].byte == '.')
        decimals = field.marks[0].distance;
    const std::string given =
        field.first.place + ": the number " + field.first.text + " of " + field.use.name;
    if (field.marks.size() > 1 || (decimals == 0 && !field.marks.empty()))
        throw failure{ending::data, given + " does not compare with " + std::string(number),
                      "a condition takes digits and a decimal point"};
    if (parts.fraction.size() > decimals)
        throw failure{ending::data,
                      given + " has " + plural(decimals, "decimal") + ", and " +
                          std::string(number) + " there has " +
                          std::to_string(parts.fraction.size()),
                      "compare with a number of as many decimals"};
    parts.fraction.resize(decimals, '0');
    if (parts.whole.empty() && !(decimals != 0 && field.filled.seen())) {
        parts.whole = "0";
        if (decimals != 0 && !field.zero.seen())
            field.zero = {std::string(number), conditionplace};
    }
    return (parts.negative ? "-" : "") + parts.whole + (decimals == 0 ? "" : "." + parts.fraction);
}

void numbercheck::settle(conditiontable &conditions) {
    // A field without a number so far takes that of the most decimals for its first one.
    for (size_t i = 0; i < tests.size(); ++i) {
        if (tests[i] == notest)
            continue;
        shape &field = shapes[tests[i]];
        const std::string_view number = literalof(conditions.entries[i]);
        const size_t decimals = partsof(number).fraction.size();
        const size_t known = field.marks.empty() ? 0 : field.marks[0].distance;
        if (field.first.seen() && (field.first.place != conditionplace || decimals <= known))
            continue;
        field.first = {quoted(std::string(number)), conditionplace};
        field.marks.clear();
        if (decimals != 0)
            field.marks.push_back({decimals, '.'});
    }
    for (size_t i = 0; i < tests.size(); ++i) {
        if (tests[i] == notest)
            continue;
        KVRNSELE &test = conditions.entries[i];
        conditions.literals.push_back(bring(shapes[tests[i]], literalof(test)));
        test.rlit = conditions.literals.back().data();
        test.rlen = static_cast<uint32_t>(conditions.literals.back().size());
    }
}

} // namespace command

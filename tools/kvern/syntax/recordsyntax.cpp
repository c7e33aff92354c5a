#include "kvern/syntax/recordsyntax.h"

#include "kvern/syntax/conditionfields.h"
#include "kvern/syntax/literals.h"
#include "kvern/system/report.h"

#include <cctype>

namespace command {

namespace {

constexpr const char *columnform = "a sum is POS,LEN,TYPE with type zd pd bi fi, as 30,6,pd";
constexpr const char *textform = "in columns of text a sum is POS,LEN, as 30,6";
constexpr const char *fieldform = "a sum is F[:WIDTH], as 3:12";
constexpr const char *option = "--rebuild";
constexpr uint32_t longesttext = 256;
constexpr uint32_t longestpiece = 32716; // bytes of a record

// F[:WIDTH] from `at` on, which is moved behind it.
void takesized(const std::string &what, const std::string &text, size_t &at, const char *form,
               uint32_t &position, uint32_t &length) {
    const std::string field = digitsat(text, at);
    at += field.size();
    position = parseposition(what, field, form);
    length = 0;
    if (at == text.size() || text[at] != ':')
        return;
    const std::string width = digitsat(text, ++at);
    at += width.size();
    length = parselength(what, width, form);
}

class pieces : public fieldreader {
  public:
    pieces(const std::string &spec, const recordview &records, const layout &named)
        : fieldreader(spec, option, records, named) {}

    std::vector<rebuildpiece> run() {
        std::vector<rebuildpiece> all;
        for (skipblanks(); at < text.size(); skipblanks())
            all.push_back(next());
        if (all.empty())
            fail("a piece is missing here");
        return all;
    }

  private:
    rebuildpiece next() {
        rebuildpiece out;
        literaltext literal;
        const size_t from = at;
        out.literal = readliteral(option, text, at, view.ebcdic(), literal);
        if (out.literal) {
            repeat(literal.bytes, out.bytes);
            if (out.bytes.empty())
                failat(from, "an empty text is no piece");
            out.length = static_cast<uint32_t>(out.bytes.size());
        } else if (const std::string name = nameat(text, at); !name.empty()) {
            takename(name, out);
        } else if (view.byfield) {
            takefield(out);
        } else {
            takeplace(out);
        }
        if (at < text.size() && !std::isspace(static_cast<unsigned char>(text[at])))
            fail("a blank is missing here");
        return out;
    }
    void repeat(const std::string &once, std::string &out) {
        uint32_t times = 1;
        if (at < text.size() && text[at] == '*') {
            const std::string digits = digitsat(text, ++at);
            if (!parsenumber(digits, &times) || times == 0 || times > longestpiece)
                fail("a number of times is missing here");
            at += digits.size();
        }
        if (uint64_t{times} * once.size() > longestpiece)
            fail("this is longer than a record can be");
        while (times-- > 0)
            out += once;
    }
    // Of POS,LEN,TYPE the type says nothing here.
    void takename(const std::string &name, rebuildpiece &out) {
        const std::string *field = names.find(name);
        if (field == nullptr)
            names.failname(option, name);
        const size_t type = field->find(',', field->find(',') + 1);
        const std::string place = (*field)[0] == '$' ? *field : field->substr(0, type);
        out = pieces(place, view, names).next();
        at += name.size();
    }
    void takefield(rebuildpiece &out) {
        if (text[at] != '$')
            fail("a piece is $F[:WIDTH] or a literal");
        takesized(option, text, ++at, "a piece is $F[:WIDTH]", out.position, out.length);
    }
    void takeplace(rebuildpiece &out) {
        const char *form = "a piece is POS,LEN or a literal, as 1,10 \"  \" 41,20";
        const std::string place = digitsat(text, at);
        if (place.empty() || text.compare(at + place.size(), 1, ",") != 0)
            fail("a piece is POS,LEN or a literal");
        at += place.size() + 1;
        const std::string length = digitsat(text, at);
        at += length.size();
        out.position = parseposition(option, place, form);
        out.length = parselength(option, length, form);
    }
};

} // namespace

sumspec parsesum(const std::string &text, size_t number, const recordview &view) {
    sumspec sum;
    sum.name = "sum " + std::to_string(number) + " (" + text + ")";
    sum.type = KVRN_CHAR;
    if (view.byfield) {
        size_t at = 0;
        takesized(sum.name, text, at, fieldform, sum.position, sum.length);
        if (at != text.size() || sum.length > longesttext)
            refuse(sum.name + " is no field", fieldform);
        return sum;
    }
    const char *form = view.text ? textform : columnform;
    const std::vector<std::string> parts = splitat(text, ',');
    if (parts.size() != (view.text ? 2u : 3u))
        refuse(sum.name + " is no field", form);
    sum.position = parseposition(sum.name, parts[0], form);
    sum.length = parselength(sum.name, parts[1], form);
    if (view.text) {
        if (sum.length > longesttext)
            refuse(sum.name + ": a number has at most 256 bytes", form);
        return sum;
    }
    const fieldtype *type = findtype(parts[2]);
    if (type == nullptr || type->summost == 0)
        refuse(sum.name + ": " + quoted(parts[2]) + " is no type that sums", form);
    checklength(sum.name, *type, sum.length, type->summost, form);
    sum.type = type->code;
    return sum;
}

std::vector<rebuildpiece> parserebuild(const std::string &text, const recordview &view,
                                       const layout &names) {
    return pieces(text, view, names).run();
}

} // namespace command

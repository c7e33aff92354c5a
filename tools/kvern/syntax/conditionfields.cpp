#include "kvern/syntax/conditionfields.h"

#include "kvern/syntax/literals.h"

#include <cctype>

namespace command {

kinship kinof(uint8_t type) {
    switch (type) {
    case KVRN_CHAR:
    case KVRN_CHARX:
        return kinship::text;
    case KVRN_ZONED:
    case KVRN_ZONEDLEAD:
    case KVRN_PACKED:
        return kinship::decimal;
    case KVRN_SIGNLEAD:
    case KVRN_SIGNTRAIL:
        return kinship::separate;
    case KVRN_UBEBIN:
        return kinship::unsignedbinary;
    case KVRN_SBEBIN:
        return kinship::signedbinary;
    case KVRN_MASKBYTE:
        return kinship::mask;
    default:
        return kinship::none;
    }
}

void fieldreader::failat(size_t place, const std::string &why) const {
    refuseat(source, text, place, why);
}

// ---- words --------------------------------------------------------------------

void fieldreader::skipblanks() {
    while (at < text.size() && std::isspace(static_cast<unsigned char>(text[at])))
        ++at;
}

bool fieldreader::atend() {
    skipblanks();
    return at == text.size();
}

bool fieldreader::take(char c) {
    skipblanks();
    if (at == text.size() || text[at] != c)
        return false;
    ++at;
    return true;
}

void fieldreader::need(char c) {
    if (!take(c))
        fail(std::string("\"") + c + "\" is missing here");
}

bool fieldreader::takeword(const std::string &word) {
    skipblanks();
    if (nameat(text, at) != word)
        return false;
    at += word.size();
    return true;
}

std::string fieldreader::takerun(int (*belongs)(int)) {
    skipblanks();
    const size_t from = at;
    while (at < text.size() && belongs(static_cast<unsigned char>(text[at])))
        ++at;
    return text.substr(from, at - from);
}

uint32_t fieldreader::takenumber(const char *what) {
    skipblanks();
    const std::string digits = digitsat(text, at);
    uint32_t number;
    if (!parsenumber(digits, &number) || number == 0)
        fail(std::string("a ") + what + " from 1 up is missing here");
    at += digits.size();
    return number;
}

// ---- fields -------------------------------------------------------------------

conditionfield fieldreader::whole() {
    const conditionfield out = needfield();
    if (!atend())
        fail("the field should end here");
    return out;
}

conditionfield fieldreader::needfield() {
    conditionfield one;
    if (!takefield(one))
        fail(view.byfield ? "a field is missing here, as $3"
                          : "a field is missing here, as [1,8] or [21,6,pd]");
    return one;
}

// A bare number is a field when a comma follows it.
bool fieldreader::takefield(conditionfield &out) {
    skipblanks();
    out.at = at;
    if (at == text.size())
        return false;
    const bool bracket = text[at] == '[';
    const size_t digits = digitsat(text, at).size();
    const bool bare = digits != 0 && text.compare(at + digits, 1, ",") == 0;
    if (text[at] != '$' && !bracket && !bare)
        return takename(out);
    if ((text[at] == '$') != view.byfield)
        fail(view.byfield ? "fields of text are $F, give --columns for POS,LEN"
                          : "$F is a field of text, here fields are POS,LEN[,TYPE]");
    if (view.byfield)
        takenumbered(out);
    else
        takeplaced(out, bracket);
    return true;
}

// An x in front of a quote begins a literal.
bool fieldreader::takename(conditionfield &out) {
    const std::string name = nameat(text, at);
    const size_t end = at + name.size();
    if (name.empty() ||
        (name == "x" && end < text.size() && (text[end] == '"' || text[end] == '\'')))
        return false;
    const std::string *field = names.find(name);
    if (field == nullptr)
        fail(names.empty() ? "names come from --layout FILE" : "the layout has no such field");
    out = fieldreader(*field, "--layout, " + name, view, names).whole();
    out.at = at;
    at = end;
    return true;
}

void fieldreader::takenumbered(conditionfield &out) {
    ++at;
    out.position = takenumber("field number") - 1;
    out.length = at < text.size() && text[at] == ':' ? (++at, takenumber("width")) : widestoperand;
    if (out.length > widestoperand)
        failat(out.at,
               "a field is compared by " + std::to_string(widestoperand) + " bytes at most");
}

void fieldreader::takeplaced(conditionfield &out, bool bracket) {
    if (bracket)
        ++at;
    out.position = takenumber("position") - 1;
    need(',');
    out.length = takenumber("length");
    std::string name = "ch";
    if (take(',')) {
        name = takerun(std::isalpha);
    }
    settype(out, name);
    if (bracket)
        need(']');
}

void fieldreader::settype(conditionfield &out, const std::string &name) {
    const fieldtype *type = findtype(name);
    if (type == nullptr || type->conditionmost == 0)
        failat(out.at, "types of conditions are ch ac ec zd zl sl st pd bi fi bit=MASK");
    if (view.text && (!type->intext || type->code != KVRN_CHAR))
        failat(out.at, "lines of text have ch fields only");
    if (type->name == std::string(view.ebcdic() ? "ac" : "ec"))
        failat(out.at, "conditions compare in the data's own code, take ch");
    if (out.length < type->least || out.length > type->conditionmost)
        failat(out.at, "a " + name + " field of a condition has " + std::to_string(type->least) +
                           " to " + std::to_string(type->conditionmost) + " bytes");
    out.type = type->code == KVRN_CHAR && view.ebcdic() ? uint8_t{KVRN_CHARX} : type->code;
    if (out.type != KVRN_MASKBYTE)
        return;
    need('=');
    out.mask = parsemask(source, takerun(std::isalnum));
}

} // namespace command

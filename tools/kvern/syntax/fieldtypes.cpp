#include "kvern/syntax/fieldtypes.h"

#include "kvern/system/report.h"

#include <algorithm>
#include <cctype>
#include <limits>

namespace command {

namespace {

constexpr fieldtype types[] = {
    {"ch", KVRN_CHAR, 1, nobound, 256, 0, true},    {"ac", KVRN_CHAR, 1, nobound, 256, 0, true},
    {"ec", KVRN_CHARX, 1, nobound, 256, 0, true},   {"sj", KVRN_CHAR, 1, nobound, 0, 0, true},
    {"zd", KVRN_ZONED, 1, 256, 256, 18, false},     {"zl", KVRN_ZONEDLEAD, 1, 256, 256, 0, false},
    {"clo", KVRN_ZONEDLEAD, 1, 256, 256, 0, false}, {"sl", KVRN_SIGNLEAD, 2, 256, 256, 0, false},
    {"csl", KVRN_SIGNLEAD, 2, 256, 256, 0, false},  {"st", KVRN_SIGNTRAIL, 2, 256, 256, 0, false},
    {"cst", KVRN_SIGNTRAIL, 2, 256, 256, 0, false}, {"pd", KVRN_PACKED, 1, 256, 256, 16, false},
    {"bi", KVRN_UBEBIN, 1, 256, 256, 8, false},     {"fi", KVRN_SBEBIN, 1, 256, 256, 8, false},
    {"bil", KVRN_ULEBIN, 1, 256, 0, 0, false},      {"fil", KVRN_SLEBIN, 1, 256, 0, 0, false},
    {"fp", KVRN_FLOAT8, 1, 256, 0, 0, false},       {"bit", KVRN_MASKBYTE, 1, 1, 1, 0, false},
    {"tbl", KVRN_TABLED, 1, nobound, 0, 0, false},
};

} // namespace

std::string lowercase(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

const fieldtype *findtype(const std::string &name) {
    const std::string wanted = lowercase(name);
    for (const fieldtype &one : types)
        if (wanted == one.name)
            return &one;
    return nullptr;
}

const char *nameoftype(uint8_t code) {
    if (code == KVRN_ZONEDU) // as conditions compare zoned numbers
        return "zd";
    for (const fieldtype &one : types)
        if (one.code == code)
            return one.name;
    return "";
}

void checklength(const std::string &what, const fieldtype &type, uint32_t length, uint32_t most,
                 const char *form) {
    if (length >= type.least && length <= most)
        return;
    std::string bytes = " byte";
    if (most == nobound)
        bytes = " bytes or more";
    else if (most != type.least)
        bytes = " to " + std::to_string(most) + " bytes";
    refuse(what + ": a " + type.name + " field has " + std::to_string(type.least) + bytes, form);
}

bool parsenumber(const std::string &text, uint32_t *out) {
    if (text.empty() || text.size() > 10)
        return false;
    uint64_t number = 0;
    for (char c : text) {
        if (!std::isdigit(static_cast<unsigned char>(c)))
            return false;
        number = number * 10 + static_cast<uint64_t>(c - '0');
    }
    if (number > std::numeric_limits<uint32_t>::max())
        return false;
    *out = static_cast<uint32_t>(number);
    return true;
}

uint32_t parseposition(const std::string &what, const std::string &text, const char *form) {
    uint32_t number;
    if (!parsenumber(text, &number))
        refuse(what + ": " + quoted(text) + " is no number", form);
    if (number == 0)
        refuse(what + ": positions count from 1", form);
    return number - 1;
}

uint32_t parselength(const std::string &what, const std::string &text, const char *form) {
    uint32_t length;
    if (!parsenumber(text, &length))
        refuse(what + ": " + quoted(text) + " is no number", form);
    if (length == 0)
        refuse(what + ": a length of 0 is no field", form);
    return length;
}

uint32_t parsemask(const std::string &what, const std::string &text) {
    uint32_t mask = 0;
    if (text.size() > 2 && text.size() <= 4 && text[0] == '0' && (text[1] | 32) == 'x' &&
        text.find_first_not_of("0123456789abcdefABCDEF", 2) == std::string::npos)
        mask = static_cast<uint32_t>(std::stoul(text, nullptr, 16));
    else if (!parsenumber(text, &mask))
        mask = 0;
    if (mask < 1 || mask > 255)
        refuse(what + ": the mask is 1 to 255", "write it as bit=64 or bit=0x40");
    return mask;
}

std::vector<std::string> splitat(const std::string &text, char mark) {
    std::vector<std::string> parts(1);
    for (char c : text)
        if (c == mark)
            parts.emplace_back();
        else
            parts.back() += c;
    return parts;
}

std::string digitsat(const std::string &text, size_t at) {
    const size_t end = std::min(text.find_first_not_of("0123456789", at), text.size());
    return text.substr(at, end - at);
}

} // namespace command

#include "kvern/syntax/layout.h"

#include "kvern/syntax/literals.h"
#include "kvern/system/report.h"
#include "kvern/system/streams.h"

#include <array>
#include <sstream>

namespace command {

namespace {

constexpr size_t largesttext = size_t{1} << 20;
constexpr const char *blanks = " \t\r";

std::string trimmed(const std::string &text) {
    const size_t from = text.find_first_not_of(blanks);
    return from == std::string::npos ? ""
                                     : text.substr(from, text.find_last_not_of(blanks) + 1 - from);
}

bool isreserved(const std::string &name) {
    for (const char *word : {"and", "or", "not", "in", "between"})
        if (name == word)
            return true;
    return false;
}

} // namespace

std::string nameat(const std::string &text, size_t at) {
    size_t end = at;
    if (at < text.size() && isnamestart(text[at]))
        while (end < text.size() && isnamechar(text[end]))
            ++end;
    return text.substr(at, end - at);
}

std::string readtext(const std::string &path) {
    const int descriptor = openinput(path);
    if (descriptor < 0)
        throw failure{ending::file, path + ": " + systemerror(), ""};
    std::string text;
    std::array<char, 4096> part;
    int64_t count;
    while ((count = readsome(descriptor, part.data(), part.size())) > 0 &&
           text.size() < largesttext)
        text.append(part.data(), static_cast<size_t>(count));
    const std::string error = systemerror();
    closeinput(descriptor);
    if (count < 0)
        throw failure{ending::file, path + ": " + error, ""};
    if (text.size() >= largesttext)
        refuse(path + " is no text of this kind, it has more than 1 MiB", "");
    return text;
}

layout::layout(const std::string &path) : file(path) {
    const std::string text = readtext(path);
    std::istringstream lines(text);
    size_t at = 0; // in the text
    for (std::string line; std::getline(lines, line); at += line.size() + 1) {
        const std::string content = trimmed(line);
        if (content.empty() || content[0] == '#')
            continue;
        const size_t from = at + line.find_first_not_of(blanks);
        const std::string name = nameat(text, from);
        const size_t equals = line.find('=');
        if (name.empty() || isreserved(name))
            refuseat(path, text, from,
                     name.empty() ? "a name is missing here"
                                  : "this word is one of the language's");
        if (equals == std::string::npos || trimmed(line.substr(0, equals)) != name)
            refuseat(path, text, from + name.size(), "\"=\" is missing here");
        const std::string field = trimmed(line.substr(equals + 1));
        if (field.empty() || std::string("0123456789$").find(field[0]) == std::string::npos)
            refuseat(path, text, at + equals + 1, "a field is missing here, as 21,6,pd or $3");
        if (!fields.emplace(name, field).second)
            refuseat(path, text, from, "this name is given twice");
    }
}

const std::string *layout::find(const std::string &name) const {
    const auto found = fields.find(name);
    return found == fields.end() ? nullptr : &found->second;
}

void layout::failname(const std::string &what, const std::string &name) const {
    if (file.empty())
        refuse(what + ": " + quoted(name) + " is no field", "names come from --layout FILE");
    refuse(what + ": " + file + " has no field " + quoted(name), "");
}

// Of a numbered field the $ goes, and so does the comma in front of its letters.
std::string layout::expand(const std::string &what, const std::string &text) const {
    const std::string name = nameat(text, 0);
    if (name.empty() || (fields.empty() && text.size() > name.size()))
        return text;
    const std::string *field = find(name);
    if (field == nullptr)
        failname(what, name);
    const std::string rest = text.substr(name.size());
    if ((*field)[0] != '$')
        return *field + rest;
    return field->substr(1) + (!rest.empty() && rest[0] == ',' ? rest.substr(1) : rest);
}

} // namespace command

#include "textscan.h"

#include "report.h"

#include <algorithm>
#include <cstring>

namespace command {

namespace {

constexpr char endmarkbyte = 0x1A;

// More than the engine can sort by far; a longer line is not kept to be measured.
constexpr size_t longestkept = size_t{4} << 20;

constexpr bool iswhite(char c) {
    return c == ' ' || c == '\t';
}

} // namespace

std::string_view endbytes(lineend end) {
    constexpr std::string_view bytes[] = {"\n", "\r", "\r\n"};
    return bytes[static_cast<size_t>(end)];
}

lineend guesslineend(std::string_view text) {
    const size_t feed = text.find('\n');
    if (feed == std::string_view::npos)
        return text.find('\r') == std::string_view::npos ? lineend::lf : lineend::cr;
    return feed > 0 && text[feed - 1] == '\r' ? lineend::crlf : lineend::lf;
}

textscanner::textscanner(const textform &lineform)
    : form(lineform), widths(lineform.fields.size()) {
    if (!form.fields.empty())
        maxfield = *std::max_element(form.fields.begin(), form.fields.end());
    fieldwidths.resize(form.fields.empty() ? 0 : size_t{maxfield} + 1);
}

void textscanner::startsource(const std::string &sourcename) {
    name = sourcename;
    number = 0;
}

// Measures the fields up to the highest that a key names; returns how many of
// them there are.
uint32_t textscanner::measurefields(std::string_view text) {
    const bool bywhite = form.separator.empty();
    size_t at = 0;
    for (uint32_t field = 0; field <= maxfield; ++field) {
        const size_t first = at;
        bool last;
        if (bywhite) {
            while (at < text.size() && iswhite(text[at]))
                ++at;
            while (at < text.size() && !iswhite(text[at]))
                ++at;
            last = at == text.size();
        } else {
            const size_t next = text.find(form.separator, at);
            last = next == std::string_view::npos;
            at = last ? text.size() : next;
        }
        fieldwidths[field] = static_cast<uint32_t>(at - first);
        if (last)
            return field + 1;
        at += bywhite ? 1 : form.separator.size();
    }
    return maxfield + 1;
}

void textscanner::failfields(uint32_t found) const {
    size_t key = 0;
    while (form.fields[key] < found)
        ++key;
    throw failure{ending::data,
                  "line " + std::to_string(number) + " of " + name + " has " +
                      plural(found, "field") + ", " + form.keynames[key] + " names field " +
                      std::to_string(form.fields[key] + 1),
                  "look at -t, or take a key that every line has", 87, 118};
}

void textscanner::line(std::string_view text) {
    ++number;
    ++total;
    if (text.size() > longestline) {
        longestline = text.size();
        longestnumber = number;
        longestname = name;
    }
    if (form.maxline != 0 && text.size() > form.maxline)
        throw failure{ending::data,
                      "line " + std::to_string(number) + " of " + name + " has " +
                          plural(text.size(), "byte") + ", more than the " +
                          std::to_string(form.maxline) + " of --max-line",
                      "raise --max-line", 88, 111};
    if (form.fields.empty())
        return;
    const uint32_t found = measurefields(text);
    if (found <= maxfield)
        failfields(found);
    for (size_t key = 0; key < widths.size(); ++key)
        widths[key] = std::max(widths[key], fieldwidths[form.fields[key]]);
}

uint64_t eachline(inputsource &source, lineend end, bool endmark,
                  const std::function<void(std::string_view)> &each) {
    const std::string_view mark = endbytes(end);
    constexpr size_t chunk = size_t{256} << 10;
    std::string buffer(chunk + mark.size(), '\0');
    size_t filled = 0; // bytes of an unfinished line at the front
    uint64_t taken = 0, number = 0, behind = 0;
    bool atend = false;
    while (!atend) {
        if (filled + chunk / 2 > buffer.size() - mark.size()) {
            if (buffer.size() > longestkept)
                throw failure{ending::data,
                              "line " + std::to_string(number + 1) + " of " + source.name() +
                                  " has more than " + std::to_string(filled) + " bytes",
                              "look at --eol", 88, 111};
            buffer.resize(2 * buffer.size());
        }
        const size_t count =
            source.read(buffer.data() + filled, buffer.size() - mark.size() - filled);
        atend = count == 0;
        taken += count;
        size_t stop = filled + count;
        const size_t found = endmark && !atend
                                 ? std::string_view(buffer.data(), stop).find(endmarkbyte, filled)
                                 : std::string_view::npos;
        if (found != std::string_view::npos) {
            behind = source.size() - (taken - (stop - found)) - 1;
            stop = found;
            atend = true;
        }
        if (atend && stop > 0 &&
            !std::string_view(buffer.data(), stop).ends_with(mark)) { // the last line's end
            mark.copy(buffer.data() + stop, mark.size());
            stop += mark.size();
        }
        std::string_view text(buffer.data(), stop);
        for (size_t at; (at = mark.size() == 1 ? text.find(mark[0]) : text.find(mark)) !=
                        std::string_view::npos;) {
            ++number;
            each(text.substr(0, at));
            text.remove_prefix(at + mark.size());
        }
        filled = text.size();
        std::memmove(buffer.data(), text.data(), filled);
    }
    return behind;
}

} // namespace command

#include "kvern/records/textscan.h"

#include "kvern/system/report.h"

#include <algorithm>

namespace command {

namespace {

constexpr bool iswhite(char c) {
    return c == ' ' || c == '\t';
}

} // namespace

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
    fieldtexts.resize(form.fields.empty() ? 0 : size_t{maxfield} + 1);
}

void textscanner::startsource(const inputsource &source) {
    name = source.name();
    number = source.skippedrecords();
}

void textscanner::add(const textscanner &other) {
    total += other.total;
    feeds = feeds || other.feeds;
    returns = returns || other.returns;
    for (size_t key = 0; key < widths.size(); ++key)
        widths[key] = std::max(widths[key], other.widths[key]);
    if (other.longestline <= longestline)
        return;
    longestline = other.longestline;
    longestnumber = 0;
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
        fieldtexts[field] = text.substr(first, at - first);
        if (last)
            return field + 1;
        at += bywhite ? 1 : form.separator.size();
    }
    return maxfield + 1;
}

// False, or the failure, as the form wants it.
bool textscanner::failfields(uint32_t found) {
    if (form.dropshort) {
        ++dropped;
        return false;
    }
    size_t key = 0;
    while (form.fields[key] < found)
        ++key;
    throw failure{ending::data,
                  "line " + std::to_string(number) + " of " + name + " has " +
                      plural(found, "field") + ", " + form.keynames[key] + " names field " +
                      std::to_string(form.fields[key] + 1),
                  "look at -t, or leave such lines out with --short drop", 87, 118};
}

bool textscanner::failshort(uint64_t bytes) {
    if (form.dropshort) {
        ++dropped;
        return false;
    }
    throw failure{ending::data,
                  form.word + (" " + std::to_string(number)) + " of " + name + " has " +
                      plural(bytes, "byte") + ", " + form.leastname + " looks at byte " +
                      std::to_string(form.least),
                  "leave such " + std::string(form.word) + "s out with --short drop", 72, 66};
}

bool textscanner::line(std::string_view text) {
    ++number;
    ++total;
    if (form.looksforstrays) {
        feeds = feeds || text.find('\n') != std::string_view::npos;
        returns = returns || text.find('\r') != std::string_view::npos;
    }
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
    if (text.size() < form.least)
        return failshort(text.size());
    if (!form.fields.empty() && !lookatfields(text))
        return false;
    if (form.numbers)
        form.numbers->look(text, fieldtexts, {name, number});
    return true;
}

bool textscanner::lookatfields(std::string_view text) {
    const uint32_t found = measurefields(text);
    if (found <= maxfield)
        return failfields(found);
    for (size_t key = 0; key < widths.size(); ++key)
        widths[key] =
            std::max(widths[key], static_cast<uint32_t>(fieldtexts[form.fields[key]].size()));
    return true;
}

} // namespace command

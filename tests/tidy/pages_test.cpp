// The reference pages are whole: what the public header and the catalogue of messages
// hold stands in them.
#include "support/tempfolder.h"

#include <gtest/gtest.h>
#include <regex>
#include <set>
#include <string>

using kvern::test::readfile;

namespace {

std::string page(const std::string &name) {
    return readfile(KVERN_SOURCE_DIR "/" + name);
}

// What the group of the pattern finds, each time.
std::set<std::string> found(const std::string &text, const char *pattern) {
    const std::regex wanted(pattern);
    std::set<std::string> out;
    for (std::sregex_iterator at(text.begin(), text.end(), wanted), end; at != end; ++at)
        out.insert((*at)[1]);
    return out;
}

// The numbers that the first cells of a page's tables name: one, several, or a range.
std::set<int> rows(const std::string &text) {
    std::set<int> out;
    for (const std::string &cell : found(text, "\n\\| ([0-9][0-9, to]*) \\|")) {
        for (const std::string &number : found(cell, "([0-9]+)"))
            out.insert(std::stoi(number));
        for (const std::string &range : found(cell, "([0-9]+ to [0-9]+)"))
            for (int n = std::stoi(range); n < std::stoi(range.substr(range.find('o') + 1)); ++n)
                out.insert(n);
    }
    return out;
}

} // namespace

TEST(reference, every_detail_has_its_row) {
    const auto details = found(page("include/kvern.h"), "KVRN_D_[A-Z]+ = ([0-9]+)");
    EXPECT_GT(details.size(), 50U);
    for (const char *name : {"docs/details.md", "docs/troubleshooting.md"}) {
        const auto known = rows(page(name));
        for (const std::string &detail : details)
            EXPECT_EQ(known.count(std::stoi(detail)), 1U) << name << ": " << detail;
        for (int system = 251; system <= 372; ++system)
            EXPECT_EQ(known.count(system), 1U) << name << ": " << system;
    }
}

TEST(reference, every_option_has_its_row) {
    const std::string command = page("docs/command.md");
    const auto options =
        found(page("tools/kvern/options/optiontable.cpp") + page("tools/kvern/syntax/keysyntax.h"),
              "\"((-[a-zA-Z],)?--?[a-zA-Z-]+)\",[ \n]*(out|\\[&out|KVRN_TXT)");
    EXPECT_GT(options.size(), 35U);
    for (const std::string &names : options) {
        const size_t comma = names.find(',');
        EXPECT_NE(command.find('`' + names.substr(0, comma)), std::string::npos) << names;
        EXPECT_NE(command.find(names.substr(comma + 1)), std::string::npos) << names;
    }
}

TEST(reference, every_message_stands_as_it_is_issued) {
    const std::string messages = page("docs/messages.md");
    const auto texts = found(page("src/session/qha9msgt.h"), "\"KVERN:([0-9]+:[^\"\\\\]*)");
    EXPECT_EQ(texts.size(), 93U);
    for (std::string text : texts) {
        text.replace(text.find(':'), 1, " | ");
        EXPECT_NE(messages.find("\n| " + text), std::string::npos) << text;
    }
}

TEST(reference, every_call_is_in_the_manual) { // whose pages are made of these names
    const std::string manual = page("docs/man/libkvern.3");
    const std::string names = manual.substr(0, manual.find(".SH SYNOPSIS"));
    for (const std::string &call : found(page("src/kvern.map"), "(kvrn[a-z]+);"))
        EXPECT_NE(names.find(call), std::string::npos) << call;
}

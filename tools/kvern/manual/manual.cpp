// kvern_manual TEMPLATE VERSION: the manual page of the command on standard output.
// The template is roff; its line @OPTIONS@ becomes the options of all commands, by
// group.  An option that not every command has, or that means something else in one,
// says so.
#include "kvern/options/optionlist.h"

#include <fstream>
#include <iostream>
#include <map>

using namespace command;

namespace {

// One option over all commands.
struct entry {
    listedoption option;
    std::vector<std::pair<std::string, std::string>> texts; // command, what it says there
};
struct section {
    std::string name;
    std::vector<entry> entries;
};

// Hyphens that are typed, backslashes and what would begin a request.
std::string roff(const std::string &text) {
    std::string out;
    for (const char c : text)
        if (c == '-')
            out += "\\-";
        else if (c == '\\')
            out += "\\e";
        else if (c == '\'')
            out += "\\(aq";
        else
            out += c;
    return out.compare(0, 1, ".") == 0 ? "\\&" + out : out;
}

entry &entryof(section &in, const listedoption &option) {
    for (entry &one : in.entries)
        if (one.option.names == option.names)
            return one;
    in.entries.push_back({option, {}});
    return in.entries.back();
}

section &sectionof(std::vector<section> &all, const std::string &name) {
    for (section &one : all)
        if (one.name == name)
            return one;
    all.push_back({name, {}});
    return all.back();
}

std::string heading(const listedoption &option) {
    std::string out;
    for (const std::string &name : option.names)
        out += (out.empty() ? "\\fB" : ", \\fB") + roff(name) + "\\fR";
    if (option.value.empty())
        return out;
    const std::string value = "\\fI" + roff(option.value) + "\\fR";
    return option.optional ? out + "[=" + value + "]" : out + " " + value;
}

// One text for all commands that have the option, else one line for each text.
std::string body(const entry &one, size_t commands) {
    std::vector<std::pair<std::string, std::string>> bytext; // text, commands
    for (const auto &[name, text] : one.texts) {
        size_t at = 0;
        while (at < bytext.size() && bytext[at].first != text)
            ++at;
        if (at == bytext.size())
            bytext.emplace_back(text, name);
        else
            bytext[at].second += ", " + name;
    }
    std::string out;
    for (const auto &[text, names] : bytext) {
        const bool everywhere = bytext.size() == 1 && one.texts.size() == commands;
        out += (out.empty() ? "" : ".br\n") + roff(text) +
               (everywhere ? "." : " (" + names + ").") + "\n";
    }
    return out;
}

std::string optionpages() {
    const std::vector<listedcommand> all = listcommands();
    std::vector<section> sections;
    for (const listedcommand &one : all)
        for (const listedoption &option : one.options)
            entryof(sectionof(sections, option.group), option)
                .texts.emplace_back(one.name, option.text);
    std::string out;
    for (const section &in : sections) {
        out += ".SS " + roff(in.name) + "\n";
        for (const entry &one : in.entries)
            out += ".TP\n" + heading(one.option) + "\n" + body(one, all.size());
    }
    return out;
}

std::string replaced(std::string line, const std::string &what, const std::string &by) {
    const size_t at = line.find(what);
    return at == std::string::npos ? line : line.replace(at, what.size(), by);
}

} // namespace

int main(int argc, char **argv) {
    std::ifstream page(argc == 3 ? argv[1] : "");
    if (!page) {
        std::cerr << "usage: kvern_manual TEMPLATE VERSION\n";
        return 2;
    }
    for (std::string line; std::getline(page, line);)
        if (line == "@OPTIONS@")
            std::cout << optionpages();
        else
            std::cout << replaced(line, "@VERSION@", argv[2]) << '\n';
    return std::cout ? 0 : 1;
}

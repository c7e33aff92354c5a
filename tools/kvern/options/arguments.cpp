#include "kvern/options/arguments.h"

#include "kvern/options/optiontable.h"
#include "kvern/options/systemargs.h"
#include "kvern/system/machine.h"
#include "kvern/system/report.h"

#include <algorithm>
#include <cctype>
#include <numeric>
#include <string_view>

namespace command {

namespace {

constexpr const char *sizeform = "give a number with b, K, M, G, T or % behind it, as -S 400M";
constexpr uint64_t largestsize = UINT64_MAX / 16; // ten times as much is a number too

bool given(const CLI::App &app, const char *name) {
    const CLI::Option *option = app.get_option_no_throw(name);
    return option != nullptr && option->count() > 0;
}

// Options that say something about text; the first one given, or nothing.
std::string firsttextoption(const CLI::App &app) {
    for (const char *name : {"--text", "--eol", "--dos-eof", "--columns", "-t", "--max-line", "-b",
                             "-d", "-f", "-i", "-n"})
        if (given(app, name))
            return name;
    return "";
}

// How many letters set two words apart: left out, put in, or another one.
size_t distance(const std::string &a, const std::string &b) {
    std::vector<size_t> row(b.size() + 1);
    std::iota(row.begin(), row.end(), size_t{0});
    for (size_t i = 0; i < a.size(); ++i) {
        size_t corner = row[0]++;
        for (size_t j = 0; j < b.size(); ++j) {
            const size_t other = corner + (a[i] == b[j] ? 0 : 1);
            corner = row[j + 1];
            row[j + 1] = std::min({other, corner + 1, row[j] + 1});
        }
    }
    return row.back();
}

// The long option that is meant by a word that is none, or nothing.
std::string meant(const CLI::App &app, const std::string &word) {
    const size_t dashes = std::min(word.find_first_not_of('-'), word.size());
    const std::string name = word.substr(dashes, word.find('=') - dashes);
    std::string near;
    for (const CLI::Option *option : app.get_options())
        for (const std::string &one : option->get_lnames()) {
            if (name.size() > 2 && one.rfind(name, 0) == 0)
                return "--" + one;
            if (name.size() > 3 && distance(name, one) <= name.size() / 3)
                near = "--" + one;
        }
    return near;
}

// The library takes letters from a word until one is no option; this is the word.
std::string wholeword(int argc, const char *const *argv, const std::string &rest) {
    for (int i = 1; i < argc; ++i) {
        std::string word = argv[i];
        if (rest.size() > 1 && word.size() > rest.size() && word[0] == '-' && word[1] != '-' &&
            word.compare(word.size() - rest.size() + 1, std::string::npos, rest, 1) == 0)
            return word;
    }
    return rest;
}

// The library's words for a fault of the command line in ours.
std::string wordsof(const CLI::ParseError &error) {
    std::string text = error.what();
    const std::string option = text.substr(0, text.find(':'));
    if (dynamic_cast<const CLI::ArgumentMismatch *>(&error) != nullptr)
        return option + (text.find("At Most") == std::string::npos ? " needs a value"
                                                                   : " may be given once");
    return text;
}

// The separator as the engine takes it: \t and \\ are the two escapes.
std::string unescaped(const std::string &text) {
    if (text == "\\t")
        return "\t";
    if (text == "\\\\")
        return "\\";
    return text;
}

// The value of --stats is joined to it by = or left out.
std::vector<const char *> withvalues(int argc, const char *const *argv) {
    std::vector<const char *> words(argv, argv + argc);
    for (const char *&word : words)
        if (std::string_view(word) == "--stats")
            word = "--stats=text";
    return words;
}

} // namespace

bool parsejob(jobkind kind, int argc, const char *const *argv, joboptions &out) {
    out.kind = kind;
    const std::unique_ptr<CLI::App> app = jobparser(out);
    const std::vector<const char *> words = withvalues(argc, argv);
    try {
        app->parse(argc, words.data());
    } catch (const CLI::CallForHelp &) {
        printtext(app->help());
        return false;
    } catch (const CLI::ParseError &error) {
        const std::string list =
            std::string("\"kvern help ") + jobname(kind) + "\" lists the options";
        if (dynamic_cast<const CLI::ExtrasError *>(&error) == nullptr || app->remaining().empty())
            refuse(wordsof(error), list);
        const std::string word = wholeword(argc, argv, app->remaining().front());
        const std::string other = meant(*app, word);
        refuse(word + " is no option of " + jobname(kind),
               other.empty() ? list : other + " is one; " + list);
    }
    out.textonly = firsttextoption(*app);
    out.separatorgiven = app->count("-t") > 0;
    out.zonedgiven = app->count("--zoned") > 0;
    out.wheregiven = given(*app, "--where") || given(*app, "--where-file");
    if (given(*app, "--where") && given(*app, "--where-file"))
        refuse("--where and --where-file exclude each other", "join them with \"and\"");
    out.rebuildgiven = given(*app, "--rebuild");
    out.separator = unescaped(out.separator);
    if (given(*app, "-o") && out.output.empty())
        refuse("-o \"\" names no file", "leave it out to write to standard output");
    if (given(*app, "-S") && out.memory.empty())
        refuse("-S \"\" is no size", sizeform);
    expandpatterns(out.inputs);
    return true;
}

std::string jobhelp(jobkind kind) {
    joboptions unused;
    unused.kind = kind;
    return jobparser(unused)->help();
}

uint64_t memorysize(const std::string &text) {
    const std::string argument = "-S " + text;
    size_t digits = 0;
    uint64_t number = 0;
    for (; digits < text.size() && std::isdigit(static_cast<unsigned char>(text[digits])); ++digits)
        number = std::min(number * 10 + static_cast<uint64_t>(text[digits] - '0'), largestsize);
    if (digits == 0 || digits + 1 < text.size())
        refuse(argument + " is no size", sizeform);
    const char unit = digits == text.size() ? 'K' : text[digits];
    if (unit == '%') {
        const uint64_t memory = inspectmachine().memory;
        return memory / 100 * std::min<uint64_t>(number, 100);
    }
    constexpr std::string_view units = "bKMGT";
    const size_t power = unit == 'b' ? 0 : units.find(static_cast<char>(std::toupper(unit)), 1);
    if (power == std::string_view::npos)
        refuse(argument + " is no size", sizeform);
    const uint64_t factor = uint64_t{1} << 10 * power;
    return number > largestsize / factor ? largestsize : number * factor;
}

} // namespace command

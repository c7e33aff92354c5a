#include "kvern/options/optiontable.h"

#include "kvern/options/helptexts.h"
#include "kvern/records/framing.h"
#include "kvern/syntax/keysyntax.h"
#include "kvern/system/report.h"

namespace command {

namespace {

constexpr uint32_t mostjobs = 256;

// What differs between the commands.
struct jobtexts {
    const char *name, *what, *unique, *output, *tempdir;
};
constexpr jobtexts texts[] = {
    {"sort", "Sorts records of files or standard input.",
     "Keep one record of each key, whichever comes first out of the sort",
     "Write here when all is done; may be one of the inputs", "Directory for temporary files"},
    {"merge", "Merges inputs that are in order; equal keys come in the order of the inputs.",
     "Keep one record of each key: the last, of the input named last",
     "Write here when all is done; may be one of the inputs",
     "Directory for inputs that are no files"},
    {"copy", "Copies records of files or standard input, in their order.", "",
     "Write here when all is done; may be one of the inputs",
     "Directory for what passes through standard streams"},
    {"check", "Tells whether an input is in order: exit code 0, or 1 when it is not.",
     "Records of equal keys are out of order too", "", "Directory for temporary files"},
    {"deal",
     "Deals records out to files by ranges of keys: sorted apart, wherever, they are in order one "
     "behind the other.  Prints the ranges.",
     "", "Beginning of the files' names: PREFIX00, PREFIX01 ...",
     "Directory for inputs that are no files"},
};
const jobtexts &textsof(jobkind kind) {
    return texts[static_cast<size_t>(kind)];
}

// An option that takes one value each time it is given, and may come again.
CLI::Option *repeated(CLI::Option *option) {
    return option->expected(1, CLI::detail::expected_max_vector_size)->allow_extra_args(false);
}

// One of these words, "lf|crlf|cr", which a validator of our own tells in a text that a
// user can read; an empty text is success.
CLI::Option *choosing(CLI::Option *option, const std::string &words) {
    const auto refusal = [all = splitat(words, '|')](const std::string &text) {
        std::string list;
        for (const std::string &word : all) {
            if (word == text)
                return std::string();
            list += " " + word;
        }
        return quoted(text) + " is none of" + list;
    };
    return option->type_name(words)->check(CLI::Validator(refusal, ""));
}

// Digits alone: the library would take them for octal behind a 0, and 0x10 for a number.
CLI::Validator positive(uint32_t most = UINT32_MAX) {
    return CLI::Validator(
        [most](std::string &text) {
            uint32_t number = 0;
            if (!parsenumber(text, &number) || number == 0 || number > most)
                return command::quoted(text) + " is no number from 1 " +
                       (most == UINT32_MAX ? "up" : "to " + std::to_string(most));
            text = std::to_string(number);
            return std::string();
        },
        "");
}

void addform(CLI::App &app, joboptions &out) {
    app.option_defaults()->group("Record form");
    app.add_option("--fixed", out.fixed, "Records of N bytes each")
        ->type_name("N")
        ->transform(positive());
    app.add_option("--variable", out.variable, "Records of up to MAX bytes, with --framing")
        ->type_name("MAX")
        ->transform(positive());
    choosing(app.add_option("--framing", out.framing,
                            "Where the lengths of variable records lie, in input and output"),
             "rdw|bdw|be16z|be32|le32|be16|plainrdw");
    if (out.kind != jobkind::check)
        app.add_option("--block-size", out.blocksize,
                       "Bytes of a block of --framing bdw in the output (default: as the largest "
                       "of the inputs)")
            ->type_name("N")
            ->transform(positive());
    app.add_flag("--text", out.text, "Lines of text (default)");
    choosing(app.add_option("--eol", out.eol, "What ends a line (default auto: as the first line)"),
             "lf|crlf|cr|auto");
    app.add_flag("--dos-eof", out.doseof,
                 "A byte 0x1A ends an input, and then the output too (default: a byte like any "
                 "other)");
    app.add_flag("--columns", out.columns, "Positions are columns of the line, not fields");
    app.add_option("-t,--field-separator", out.separator,
                   "Text between fields, \\t is a tab (default: white space)")
        ->type_name("STR");
    app.add_option("--max-line", out.maxline,
                   "Longest line without its end (default: the longest there is; for check "
                   "4096 of a long pipe)")
        ->type_name("N")
        ->transform(positive());
}

void addcode(CLI::App &app, joboptions &out) {
    app.option_defaults()->group("Data code");
    choosing(app.add_option("--data", out.data, "Code of the data (default ascii)"),
             "ascii|ebcdic");
    choosing(
        app.add_option("--zoned", out.zoned, "Sign of zoned numbers in ASCII data (default zone5)"),
        "zone5|zone7|overpunch");
    choosing(app.add_option("--ebcdic-table", out.ebcdictable,
                            "Variant of the EBCDIC table (default 0)"),
             "0|1|2");
}

void addkeys(CLI::App &app, joboptions &out) {
    app.option_defaults()->group("Keys");
    repeated(app.add_option("-k,--key", out.keys, "Order by this key, see below"))
        ->type_name("KEY");
    app.add_flag("-r,--reverse", out.reverse, "Descending, for keys without an order of their own");
    if (out.kind == jobkind::sort || out.kind == jobkind::merge)
        app.add_flag("-s,--stable", out.stable,
                     out.kind == jobkind::sort ? "Keep the input order of equal keys"
                                               : "Keep the input order of equal keys, as ever");
    for (const textletter &one : textletters)
        app.add_flag_function(
            one.option, [&out, &one](int64_t times) { out.textoption |= times > 0 ? one.bit : 0; },
            one.what);
}

void addequals(CLI::App &app, joboptions &out) {
    app.option_defaults()->group("Equal keys");
    app.add_flag("-u,--unique", out.unique, textsof(out.kind).unique);
    if (out.kind == jobkind::check)
        return;
    repeated(app.add_option("--sum", out.sums, "Fold records of a key into one with this sum"))
        ->type_name("FIELD");
    choosing(app.add_option_function<std::string>(
                 "--on-overflow",
                 [&out](const std::string &word) { out.warnoverflow = word == "warn"; },
                 "When a sum does not fit: fail (default), or warn and leave the rest as it is"),
             "fail|warn");
}

void addshape(CLI::App &app, joboptions &out) {
    app.option_defaults()->group("Selection and shape");
    app.add_option("-w,--where", out.where, "Take the records for which this holds")
        ->type_name("EXPR");
    app.add_option("--where-file", out.wherefile, "The same from a file, # begins a comment line")
        ->type_name("FILE");
    app.add_option("--layout", out.layoutfile, "Names of fields, lines of NAME = POS,LEN[,TYPE]")
        ->type_name("FILE");
    const bool dealing = out.kind == jobkind::deal;
    if (out.kind != jobkind::check && !dealing)
        app.add_option("--rebuild", out.rebuild, "Make the records of these pieces")
            ->type_name("SPEC");
    if (!dealing)
        app.add_option("--header", out.header,
                       "The first N records or lines of each input stay out of it; those of the "
                       "first input lead the output")
            ->type_name("N")
            ->transform(positive());
    choosing(app.add_option_function<std::string>(
                 "--short", [&out](const std::string &word) { out.dropshort = word == "drop"; },
                 "A record that lacks a field: fail (default), or drop it"),
             "fail|drop");
}

void addfiles(CLI::App &app, joboptions &out) {
    app.option_defaults()->group("Files and room");
    if (out.kind != jobkind::check)
        app.add_option("-o,--output", out.output, textsof(out.kind).output)
            ->type_name(out.kind == jobkind::deal ? "PREFIX" : "FILE")
            ->required(out.kind == jobkind::deal);
    repeated(app.add_option("-T,--temp-dir", out.tempdirs, textsof(out.kind).tempdir))
        ->type_name("DIR");
    app.add_option("-S,--memory", out.memory,
                   "Working storage of all threads together, from 64K up (default: as input and "
                   "machine are; a bare number counts in K)")
        ->type_name("SIZE");
    app.add_option("-j,--jobs", out.jobs,
                   "Threads, at most 256 (default: the processors there are for it, at most 8)")
        ->type_name("N")
        ->transform(positive(mostjobs));
    if (out.kind == jobkind::sort)
        app.add_flag("--keep-temp", out.keeptemp, "Leave the temporary files where they are");
    app.add_option("FILE", out.inputs, "Inputs; none or - is standard input")->type_name("");
}

void adddealing(CLI::App &app, joboptions &out) {
    app.option_defaults()->group("Ranges of keys");
    app.add_option("--ways", out.ways, "Files, as even as a sample tells")
        ->type_name("N")
        ->transform(positive(joboptions::mostways));
    app.add_option("--sample", out.sample, "Take the sample of this file (default: of the inputs)")
        ->type_name("FILE");
    app.add_option("--ranges", out.rangefile, "Ranges as another run printed them")
        ->type_name("FILE");
}

void addreporting(CLI::App &app, joboptions &out) {
    app.option_defaults()->group("Reporting");
    app.add_flag("-q,--quiet", out.quiet,
                 out.kind == jobkind::check ? "Say nothing but by the exit code when the input is "
                                              "not in order, and no notes"
                                            : "No notes, errors only");
    choosing(app.add_option("--stats", out.stats,
                            "Tell what the run did: text (default) or one JSON object"),
             "text|json")
        ->expected(0, 1); // the parser never sees it without
    choosing(app.add_option("--progress", out.progress,
                            "How far it is (default auto: on a terminal, after two seconds)"),
             "auto|always|never");
    app.add_flag("--explain", out.explain, "Tell what would run, and run nothing");
    choosing(app.add_option("--color", out.color,
                            "Colour of what is said (default auto: on a terminal)"),
             "auto|always|never");
}

} // namespace

std::unique_ptr<CLI::App> jobparser(joboptions &out) {
    const jobtexts &words = textsof(out.kind);
    const bool keyed = out.kind != jobkind::copy;
    auto app = std::make_unique<CLI::App>(words.what, std::string("kvern ") + words.name);
    app->allow_windows_style_options(false); // /name is a path on every system
    app->set_help_flag("--help", "Show this text");
    app->footer(std::string(keyed ? keyhelp : "") + shapehelp);
    addform(*app, out);
    addcode(*app, out);
    if (keyed)
        addkeys(*app, out);
    if (keyed && out.kind != jobkind::deal)
        addequals(*app, out);
    if (out.kind == jobkind::deal)
        adddealing(*app, out);
    addshape(*app, out);
    addfiles(*app, out);
    addreporting(*app, out);
    return app;
}

const char *jobname(jobkind kind) {
    return textsof(kind).name;
}

} // namespace command

#include "arguments.h"

#include "kvern.h"
#include "report.h"

#include <CLI/CLI.hpp>

#include <cctype>
#include <cstdio>
#include <memory>

namespace command {

namespace {

constexpr const char *keyhelp =
    R"(Keys (-k may be repeated, the first weighs most; positions count from 1):
  --fixed, --columns   POS,LEN[,TYPE][,a|d]
      ch  characters in the order of the data's own code (default)
      ac, ec  characters in ASCII, EBCDIC order
      zd, zl  zoned decimal, sign in the last, first byte (zl also clo)
      sl, st  digits with a separate sign in front, behind (also csl, cst)
      pd  packed decimal            bi, fi  big-endian, unsigned, signed
      fp  IEEE float                bil, fil  little-endian, unsigned, signed
      bit=MASK  one byte under a mask   tbl=FILE  order of a 256-byte table
      sj  Shift-JIS by JIS code     (--columns: ch, ac, ec and sj only)
  text by fields       F[:WIDTH][bdfinr]
      field F, cut at WIDTH bytes (by default the widest value); letters as the
      options -b -d -f -i -n -r, which hold for keys without letters
Sums: POS,LEN,TYPE with types zd pd bi fi; in --columns POS,LEN; by fields F[:WIDTH].

)";

constexpr const char *shapehelp =
    R"(Conditions: FIELD OP VALUE, joined by and, or, not and brackets; in (A, B),
between A and B.  FIELD is [POS,LEN] or [POS,LEN,TYPE] with types ch ac ec zd zl
sl st pd bi fi bit=MASK, in text by fields $F or $F:WIDTH; OP is == != < <= > >=;
VALUE is another field, "text", x"C1C2" or a number (in text: compares as numbers).
  --where '[1,2] == "NO" and ([21,6,pd] >= 1000 or [30,1] in ("A", "B"))'
Rebuilt records: POS,LEN or $F[:WIDTH], "text", x"0D0A", " "*8, with blanks between.
Conditions look at the record that comes in, keys and sums at the rebuilt one.

Exit: 0 done, 1 merge input not in order, 2 command line, 3 data, 4 summing stopped,
5 file, 6 no room, 70 internal, 130 stopped
)";

// What differs between the commands.
struct jobtexts {
    const char *name, *what, *unique, *output, *tempdir;
};
constexpr jobtexts texts[] = {
    {"sort", "Sorts records of files or standard input.",
     "Keep one record of each key, whichever comes first out of the sort",
     "Write here; may be one of the inputs", "Directory for temporary files"},
    {"merge", "Merges inputs that are in order; equal keys come in the order of the inputs.",
     "Keep one record of each key: the last, of the input named last",
     "Write here when all is done; may be one of the inputs",
     "Directory for inputs that are no files"},
    {"copy", "Copies records of files or standard input, in their order.", "",
     "Write here when all is done; may be one of the inputs",
     "Directory for what passes through standard streams"},
};
const jobtexts &textsof(jobkind kind) {
    return texts[static_cast<size_t>(kind)];
}

// An option that takes one value each time it is given, and may come again.
CLI::Option *repeated(CLI::Option *option) {
    return option->expected(1, CLI::detail::expected_max_vector_size)->allow_extra_args(false);
}

// Validators of our own, for texts that a user can read; an empty text is
// success.  The words stand in the option's type name.
CLI::Validator oneof(const std::vector<std::string> &words) {
    return CLI::Validator(
        [words](const std::string &text) {
            std::string list;
            for (const std::string &word : words) {
                if (word == text)
                    return std::string();
                list += " " + word;
            }
            return quoted(text) + " is none of" + list;
        },
        "");
}

CLI::Validator positive() {
    return CLI::Validator(
        [](const std::string &text) {
            uint32_t number = 0;
            return CLI::detail::lexical_cast(text, number) && number > 0 && text[0] != '-'
                       ? std::string()
                       : quoted(text) + " is no number from 1 up";
        },
        "");
}

void addform(CLI::App &app, joboptions &out) {
    const char *group = "Record form";
    app.add_option("--fixed", out.fixed, "Records of N bytes each")
        ->type_name("N")
        ->check(positive())
        ->group(group);
    app.add_flag("--text", out.text, "Lines of text (default)")->group(group);
    app.add_option("--eol", out.eol, "What ends a line (default auto: as the first line)")
        ->type_name("lf|crlf|cr|auto")
        ->check(oneof({"lf", "crlf", "cr", "auto"}))
        ->group(group);
    app.add_flag("--columns", out.columns, "Positions are columns of the line, not fields")
        ->group(group);
    app.add_option("-t,--field-separator", out.separator,
                   "Text between fields, \\t is a tab (default: white space)")
        ->type_name("STR")
        ->group(group);
    app.add_option("--max-line", out.maxline,
                   "Longest line without its end (default: the longest there is; 4096 for a "
                   "long pipe)")
        ->type_name("N")
        ->check(positive())
        ->group(group);
}

void addcode(CLI::App &app, joboptions &out) {
    const char *group = "Data code";
    app.add_option("--data", out.data, "Code of the data (default ascii)")
        ->type_name("ascii|ebcdic")
        ->check(oneof({"ascii", "ebcdic"}))
        ->group(group);
    app.add_option("--zoned", out.zoned, "Sign of zoned numbers in ASCII data (default zone5)")
        ->type_name("zone5|zone7|overpunch")
        ->check(oneof({"zone5", "zone7", "overpunch"}))
        ->group(group);
    app.add_option("--ebcdic-table", out.ebcdictable, "Variant of the EBCDIC table (default 0)")
        ->type_name("0|1|2")
        ->check(oneof({"0", "1", "2"}))
        ->group(group);
}

void addkeys(CLI::App &app, joboptions &out) {
    const char *group = "Keys";
    repeated(app.add_option("-k,--key", out.keys, "Order by this key, see below"))
        ->type_name("KEY")
        ->group(group);
    app.add_flag("-r,--reverse", out.reverse, "Descending, for keys without an order of their own")
        ->group(group);
    app.add_flag("-s,--stable", out.stable,
                 out.kind == jobkind::sort ? "Keep the input order of equal keys"
                                           : "Keep the input order of equal keys, as ever")
        ->group(group);
    app.add_flag("-b", out.skipblanks, "Text: skip leading blanks")->group(group);
    app.add_flag("-d", out.alnum, "Text: letters, digits and blanks only")->group(group);
    app.add_flag("-f", out.fold, "Text: lower case counts as upper case")->group(group);
    app.add_flag("-i", out.printable, "Text: printable characters only")->group(group);
    app.add_flag("-n", out.numeric, "Text: compare as numbers")->group(group);
}

void addequals(CLI::App &app, joboptions &out) {
    const char *group = "Equal keys";
    app.add_flag("-u,--unique", out.unique, textsof(out.kind).unique)->group(group);
    repeated(app.add_option("--sum", out.sums, "Fold records of a key into one with this sum"))
        ->type_name("FIELD")
        ->group(group);
    app.add_option_function<std::string>(
           "--on-overflow", [&out](const std::string &word) { out.warnoverflow = word == "warn"; },
           "When a sum does not fit: fail (default), or warn and leave the rest as it is")
        ->type_name("fail|warn")
        ->check(oneof({"fail", "warn"}))
        ->group(group);
}

void addshape(CLI::App &app, joboptions &out) {
    const char *group = "Selection and shape";
    app.add_option("-w,--where", out.where, "Take the records for which this holds")
        ->type_name("EXPR")
        ->group(group);
    app.add_option("--rebuild", out.rebuild, "Make the records of these pieces")
        ->type_name("SPEC")
        ->group(group);
}

void addfiles(CLI::App &app, joboptions &out) {
    const char *group = "Files and room";
    app.add_option("-o,--output", out.output, textsof(out.kind).output)
        ->type_name("FILE")
        ->group(group);
    repeated(app.add_option("-T,--temp-dir", out.tempdirs, textsof(out.kind).tempdir))
        ->type_name("DIR")
        ->group(group);
    app.add_option("-S,--memory", out.memory,
                   "Working storage, 64K to 10M (default 10M; a bare number counts in K)")
        ->type_name("SIZE")
        ->group(group);
    app.add_option("FILE", out.inputs, "Inputs; none or - is standard input")->type_name("");
}

std::unique_ptr<CLI::App> jobparser(joboptions &out) {
    const jobtexts &words = textsof(out.kind);
    const bool keyed = out.kind != jobkind::copy;
    auto app = std::make_unique<CLI::App>(words.what, std::string("kvern ") + words.name);
    app->allow_windows_style_options(false); // /name is a path on every system
    app->set_help_flag("--help", "Show this text");
    app->footer(std::string(keyed ? keyhelp : "") + shapehelp);
    addform(*app, out);
    addcode(*app, out);
    if (keyed) {
        addkeys(*app, out);
        addequals(*app, out);
    }
    addshape(*app, out);
    addfiles(*app, out);
    return app;
}

// Options that say something about text; the first one given, or nothing.
std::string firsttextoption(const CLI::App &app) {
    for (const char *name :
         {"--text", "--eol", "--columns", "-t", "--max-line", "-b", "-d", "-f", "-i", "-n"})
        if (const CLI::Option *option = app.get_option_no_throw(name);
            option && option->count() > 0)
            return name;
    return "";
}

// The library's words for a fault of the command line in ours.
std::string wordsof(const CLI::App &app, jobkind kind, const CLI::ParseError &error) {
    std::string text = error.what();
    const std::string option = text.substr(0, text.find(':'));
    if (dynamic_cast<const CLI::ExtrasError *>(&error) && !app.remaining().empty())
        return app.remaining().front() + " is no option of " + textsof(kind).name;
    if (dynamic_cast<const CLI::ArgumentMismatch *>(&error))
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

} // namespace

bool parsejob(jobkind kind, int argc, const char *const *argv, joboptions &out) {
    out.kind = kind;
    const std::unique_ptr<CLI::App> app = jobparser(out);
    try {
        app->parse(argc, argv);
    } catch (const CLI::CallForHelp &) {
        std::fputs(app->help().c_str(), stdout);
        return false;
    } catch (const CLI::ParseError &error) {
        refuse(wordsof(*app, kind, error),
               std::string("\"kvern help ") + textsof(kind).name + "\" lists the options");
    }
    out.textoption = firsttextoption(*app);
    out.separatorgiven = app->count("-t") > 0;
    out.zonedgiven = app->count("--zoned") > 0;
    out.wheregiven = app->count("--where") > 0;
    out.rebuildgiven = app->count("--rebuild") > 0;
    out.separator = unescaped(out.separator);
    return true;
}

std::string jobhelp(jobkind kind) {
    joboptions unused;
    unused.kind = kind;
    return jobparser(unused)->help();
}

uint32_t memorysize(const std::string &text) {
    constexpr uint32_t least = 64u * 1024, most = KVRN_MEM_MAX;
    if (text.empty())
        return most;

    const std::string argument = "-S " + text;
    size_t digits = 0;
    uint64_t number = 0;
    for (; digits < text.size() && std::isdigit(static_cast<unsigned char>(text[digits])); ++digits)
        if (number < most) // beyond that it can only be too large
            number = number * 10 + static_cast<uint64_t>(text[digits] - '0');
    if (digits == 0 || digits + 1 < text.size())
        refuse(argument + " is no size", "give a number with b, K or M behind it, as -S 4M");
    uint64_t unit = 0;
    switch (digits == text.size() ? 'K' : text[digits]) {
    case 'b':
        unit = 1;
        break;
    case 'k':
    case 'K':
        unit = 1024;
        break;
    case 'm':
    case 'M':
        unit = uint64_t{1} << 20;
        break;
    case 'g':
    case 'G':
    case 't':
    case 'T':
    case '%': // a share of any machine's memory is more than the engine takes
        unit = uint64_t{1} << 30;
        break;
    default:
        refuse(argument + " is no size", "give a number with b, K or M behind it, as -S 4M");
    }
    const uint64_t bytes = number * unit;
    if (bytes > most) {
        printnote(argument + ": the engine takes at most 10M");
        return most;
    }
    if (bytes < least) {
        printnote(argument + ": the engine needs at least 64K");
        return least;
    }
    return static_cast<uint32_t>(bytes);
}

} // namespace command

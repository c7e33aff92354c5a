#include "options.h"

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

Exit: 0 done, 2 command line, 3 data, 5 file, 6 no room, 70 internal, 130 stopped
)";

// An option that takes one value each time it is given, and may come again.
CLI::Option *repeated(CLI::Option *option) {
    return option->expected(1, CLI::detail::expected_max_vector_size)->allow_extra_args(false);
}

std::unique_ptr<CLI::App> sortparser(sortoptions &out) {
    auto app =
        std::make_unique<CLI::App>("Sorts records of files or standard input.", "kvern sort");
    app->allow_windows_style_options(false); // /name is a path on every system
    app->set_help_flag("--help", "Show this text");
    app->footer(keyhelp);

    const char *form = "Record form";
    CLI::Option *fixed = app->add_option("--fixed", out.fixed, "Records of N bytes each");
    fixed->type_name("N")->check(CLI::PositiveNumber)->group(form);
    CLI::Option *text = app->add_flag("--text", out.text, "Lines of text (default)");
    text->group(form)->excludes(fixed);
    app->add_option("--eol", out.eol, "What ends a line (default auto: as the first line)")
        ->type_name("lf|crlf|cr|auto")
        ->check(CLI::IsMember({"lf", "crlf", "cr", "auto"}))
        ->group(form)
        ->excludes(fixed);
    CLI::Option *columns =
        app->add_flag("--columns", out.columns, "Keys are columns of the line, not fields");
    columns->group(form)->excludes(fixed);
    app->add_option("-t,--field-separator", out.separator,
                    "Text between fields; \\t is a tab (default: white space, which "
                    "belongs to the field behind it)")
        ->type_name("STR")
        ->group(form)
        ->excludes(fixed)
        ->excludes(columns);
    app->add_option("--max-line", out.maxline,
                    "Longest line without its end (default: the longest there is; 4096 for a "
                    "pipe)")
        ->type_name("N")
        ->check(CLI::PositiveNumber)
        ->group(form)
        ->excludes(fixed);

    const char *code = "Data code";
    app->add_option("--data", out.data, "Code of the data (default ascii)")
        ->type_name("ascii|ebcdic")
        ->check(CLI::IsMember({"ascii", "ebcdic"}))
        ->group(code);
    app->add_option("--zoned", out.zoned, "Sign of zoned numbers in ASCII data (default zone5)")
        ->type_name("zone5|zone7|overpunch")
        ->check(CLI::IsMember({"zone5", "zone7", "overpunch"}))
        ->group(code);
    app->add_option("--ebcdic-table", out.ebcdictable, "Variant of the EBCDIC table (default 0)")
        ->type_name("0|1|2")
        ->check(CLI::Range(0, 2))
        ->group(code);

    const char *keys = "Keys";
    repeated(app->add_option("-k,--key", out.keys, "Sort by this key, see below"))
        ->type_name("KEY")
        ->group(keys);
    app->add_flag("-r,--reverse", out.reverse, "Descending, for keys without an order of their own")
        ->group(keys);
    app->add_flag("-s,--stable", out.stable, "Keep the input order of equal keys")->group(keys);
    app->add_flag("-u,--unique", out.unique, "Keep one record of each key")->group(keys);
    app->add_flag("-b", out.skipblanks, "Text: skip leading blanks")->group(keys);
    app->add_flag("-d", out.alnum, "Text: letters, digits and blanks only")->group(keys);
    app->add_flag("-f", out.fold, "Text: lower case counts as upper case")->group(keys);
    app->add_flag("-i", out.printable, "Text: printable characters only")->group(keys);
    app->add_flag("-n", out.numeric, "Text: compare as numbers")->group(keys);

    const char *files = "Files and room";
    app->add_option("-o,--output", out.output, "Write here; may be one of the inputs")
        ->type_name("FILE")
        ->group(files);
    repeated(app->add_option("-T,--temp-dir", out.tempdirs, "Directory for temporary files"))
        ->type_name("DIR")
        ->group(files);
    app->add_option("-S,--memory", out.memory,
                    "Working storage, 64K to 10M (default 10M; a bare number counts in K)")
        ->type_name("SIZE")
        ->group(files);
    app->add_option("FILE", out.inputs, "Inputs; none or - is standard input");
    return app;
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

bool parsesort(int argc, const char *const *argv, sortoptions &out) {
    const std::unique_ptr<CLI::App> app = sortparser(out);
    try {
        app->parse(argc, argv);
    } catch (const CLI::CallForHelp &) {
        std::fputs(app->help().c_str(), stdout);
        return false;
    } catch (const CLI::ParseError &error) {
        refuse(error.what(), "\"kvern help sort\" lists the options");
    }
    out.separatorgiven = app->count("-t") > 0;
    out.zonedgiven = app->count("--zoned") > 0;
    out.separator = unescaped(out.separator);
    return true;
}

std::string sorthelp() {
    sortoptions unused;
    return sortparser(unused)->help();
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
        unit = 1024u * 1024;
        break;
    case 'g':
    case 'G':
    case 't':
    case 'T':
    case '%': // a share of any machine's memory is more than the engine takes
        unit = most;
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

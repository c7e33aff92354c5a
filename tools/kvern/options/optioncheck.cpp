#include "kvern/options/optioncheck.h"

#include "kvern/records/framing.h"
#include "kvern/system/report.h"
#include "kvern/system/streams.h"

namespace command {

namespace {

using given = const joboptions &;

struct conflict {
    bool (*met)(given by);
    const char *what, *advice;
};

// Told in this order.
constexpr conflict formconflicts[] = {
    {[](given by) { return by.text ? !by.istext() : by.fixed != 0 && by.variable != 0; },
     "--fixed, --variable and --text exclude each other", "give the records' form once"},
    {[](given by) { return by.variable != 0 && by.framing.empty(); }, "--variable needs --framing",
     "it tells how lengths lie in the file: rdw, bdw, be16z, be32, le32 or be16"},
    {[](given by) { return by.blocksize != 0 && by.framing != "bdw"; },
     "--block-size needs --framing bdw", "other framings have no blocks"},
};
constexpr conflict keyconflicts[] = {
    {[](given by) { return by.variable == 0 && !by.framing.empty(); },
     "--framing tells where variable records end", "give --variable MAX with it"},
    {[](given by) { return by.kind == jobkind::check && by.inputs.size() > 1; },
     "check looks at one input", "kvern merge tells whether several are in order"},
    {[](given by) { return by.kind == jobkind::check && by.unique && by.wheregiven; },
     "check takes -u or --where, not both", "copy the records first, and check those"},
    {[](given by) { return by.unique && !by.sums.empty(); }, "-u and --sum exclude each other",
     "--sum leaves one record of each key by itself"},
    {[](given by) { return by.kind == jobkind::sort && by.stable && !by.sums.empty(); },
     "-s and --sum exclude each other", "leave -s out"},
    {[](given by) { return by.kind == jobkind::sort && by.stable && by.unique; },
     "-s and -u exclude each other",
     "-u keeps one record of each key, whichever it is; leave -s out"},
};
constexpr conflict dealconflicts[] = {
    {[](given by) { return by.kind == jobkind::deal && by.ways == 0 && by.rangefile.empty(); },
     "deal needs --ways or --ranges", "--ways tells how many files there shall be"},
    {[](given by) { return by.ways != 0 && !by.rangefile.empty(); },
     "--ways and --ranges exclude each other", "ranges tell how many files there are"},
    {[](given by) { return !by.sample.empty() && !by.rangefile.empty(); },
     "--sample and --ranges exclude each other", "a sample is there to find ranges"},
};
constexpr conflict dataconflicts[] = {
    {[](given by) { return by.columns && by.separatorgiven; },
     "--columns and -t exclude each other", "columns have no separator"},
    {[](given by) { return by.data == "ebcdic" && by.istext(); },
     "--data ebcdic: lines of text are ASCII",
     "give --fixed N or --variable MAX for EBCDIC records"},
    {[](given by) { return by.data == "ebcdic" && by.zonedgiven; },
     "--zoned tells the sign in ASCII data", "leave it out with --data ebcdic"},
    {[](given by) { return by.separatorgiven && by.separator.empty(); }, "-t needs a text",
     "leave it out for fields between white space"},
};

template <size_t Count>
void refuseconflicts(const conflict (&all)[Count], given options) {
    for (const conflict &one : all)
        if (one.met(options))
            refuse(one.what, one.advice);
}

void checkblocks(given options) {
    if (options.blocksize > longestblock)
        refuse("--block-size " + std::to_string(options.blocksize) + " is too long",
               "blocks have at most " + std::to_string(longestblock) + " bytes");
}

void checktext(given options) {
    if (!options.istext() && !options.textonly.empty())
        refuse(options.textonly + " is an option of text",
               "leave it out, or leave out --fixed or --variable");
}

void checkdirectories(given options) {
    for (const std::string &dir : options.tempdirs) {
        if (dir.find(';') != std::string::npos)
            refuse("-T " + dir + ": a semicolon parts directories",
                   "take a directory without one in its name");
        if (inspect(dir).sort != filesort::directory)
            throw failure{ending::file, "-T " + dir + " is no directory", ""};
    }
}

} // namespace

void checkoptions(const joboptions &options) {
    refuseconflicts(formconflicts, options);
    checkblocks(options);
    refuseconflicts(keyconflicts, options);
    checktext(options);
    refuseconflicts(dataconflicts, options);
    refuseconflicts(dealconflicts, options);
    checkdirectories(options);
}

} // namespace command

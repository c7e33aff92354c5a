#include "kvern/options/optionlist.h"

#include "kvern/options/optiontable.h"
#include "kvern/syntax/fieldtypes.h"

#include <algorithm>
#include <cctype>

namespace command {

namespace {

constexpr jobkind kinds[] = {jobkind::sort, jobkind::merge, jobkind::copy, jobkind::check,
                             jobkind::deal};

// A choice is named by its words: "lf|crlf|cr|auto".
bool ischoice(const std::string &value) {
    const auto isword = [](char c) {
        const auto byte = static_cast<unsigned char>(c);
        return std::islower(byte) != 0 || std::isdigit(byte) != 0 || c == '|';
    };
    return value.find('|') != std::string::npos && std::all_of(value.begin(), value.end(), isword);
}

valuekind kindof(const std::string &value) {
    if (ischoice(value))
        return valuekind::words;
    if (value == "FILE" || value == "F")
        return valuekind::file;
    return value == "DIR" ? valuekind::directory : valuekind::text;
}

listedoption listed(const CLI::Option &option) {
    listedoption out;
    for (const std::string &name : option.get_snames())
        out.names.push_back("-" + name);
    for (const std::string &name : option.get_lnames())
        out.names.push_back("--" + name);
    out.text = option.get_description();
    out.group = option.get_group();
    if (option.get_items_expected_max() == 0)
        return out;
    out.value = option.get_type_name();
    out.kind = kindof(out.value);
    if (out.kind == valuekind::words)
        out.words = splitat(out.value, '|');
    out.optional = option.get_expected_min() == 0;
    out.repeated = option.get_expected_max() > 1;
    return out;
}

} // namespace

std::vector<listedcommand> listcommands() {
    std::vector<listedcommand> all;
    for (const jobkind kind : kinds) {
        joboptions unused;
        unused.kind = kind;
        const auto parser = jobparser(unused);
        listedcommand one = {jobname(kind), parser->get_description(), {}};
        for (const CLI::Option *option : std::as_const(*parser).get_options())
            if (option->nonpositional() && !option->get_group().empty())
                one.options.push_back(listed(*option));
        all.push_back(one);
    }
    return all;
}

} // namespace command

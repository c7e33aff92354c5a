// Each script is one pass over the list of options (optionlist.h), so that it offers
// what the parsers take and nothing else.  Everything written into a script goes
// through that shell's quoting.
#include "kvern/options/completion.h"

#include "kvern/options/optionlist.h"
#include "kvern/system/report.h"

namespace command {

namespace {

constexpr const char *shells = "bash zsh fish";
constexpr const char *shellform = "\"kvern completion SHELL\" with bash, zsh or fish";

using commands = std::vector<listedcommand>;

std::string joined(const std::vector<std::string> &words, const char *between) {
    std::string all;
    for (const std::string &word : words)
        all += (all.empty() ? "" : between) + word;
    return all;
}

// The text with a backslash before each of `special`.
std::string escaped(const std::string &text, const std::string &special) {
    std::string out;
    for (const char c : text) {
        if (special.find(c) != std::string::npos)
            out += '\\';
        out += c;
    }
    return out;
}

// In single quotes as the shells of Bourne's family read them.
std::string shellquoted(const std::string &text) {
    std::string out = "'";
    for (const char c : text)
        out += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return out + "'";
}

std::string namesof(const commands &all) {
    std::string names;
    for (const listedcommand &one : all)
        names += one.name + " ";
    return names;
}

// ---- bash -------------------------------------------------------------------

constexpr const char *bashhead = R"(# Completion of kvern for bash: . <(kvern completion bash)
_kvern() {
    local cur=${COMP_WORDS[COMP_CWORD]} prev=${COMP_WORDS[COMP_CWORD-1]} options=
    COMPREPLY=()
    # Bash takes --name=value for three words.
    if [[ $cur == = ]]; then
        cur=
    elif [[ $prev == = && $COMP_CWORD -gt 2 ]]; then
        prev=${COMP_WORDS[COMP_CWORD-2]}
    fi
    if [[ $COMP_CWORD -eq 1 ]]; then
)";
constexpr const char *bashtail = R"(    esac
    if [[ $cur == -* ]]; then
        COMPREPLY=($(compgen -W "$options" -- "$cur"))
    fi
}
complete -o default -F _kvern kvern
)";

// "sort -t"|"sort --field-separator"
std::string bashpattern(const listedcommand &one, const listedoption &option) {
    std::vector<std::string> patterns;
    for (const std::string &name : option.names)
        patterns.push_back("\"" + one.name + " " + name + "\"");
    return joined(patterns, "|");
}

std::string bashvalue(const listedoption &option) {
    switch (option.kind) {
    case valuekind::words:
        return "COMPREPLY=($(compgen -W \"" + joined(option.words, " ") +
               "\" -- \"$cur\")); return";
    case valuekind::directory:
        return "COMPREPLY=($(compgen -d -- \"$cur\")); compopt -o filenames; return";
    case valuekind::file:
        return "return";
    default:
        return "compopt +o default; return";
    }
}

std::string bashscript(const commands &all) {
    std::string out = bashhead;
    out += "        COMPREPLY=($(compgen -W \"" + namesof(all) +
           "help completion --version\" -- \"$cur\"))\n        return\n    fi\n"
           "    case \"${COMP_WORDS[1]} $prev\" in\n"
           "        help\\ *) COMPREPLY=($(compgen -W \"" +
           namesof(all) +
           "\" -- \"$cur\")); return ;;\n"
           "        completion\\ *) COMPREPLY=($(compgen -W \"" +
           shells + "\" -- \"$cur\")); return ;;\n";
    for (const listedcommand &one : all)
        for (const listedoption &option : one.options)
            if (option.kind != valuekind::none && !option.optional)
                out += "        " + bashpattern(one, option) + ") " + bashvalue(option) + " ;;\n";
    out += "    esac\n    case ${COMP_WORDS[1]} in\n";
    for (const listedcommand &one : all) {
        std::vector<std::string> names;
        for (const listedoption &option : one.options) {
            names.insert(names.end(), option.names.begin(), option.names.end());
            if (option.optional)
                for (const std::string &word : option.words)
                    names.push_back(option.names.back() + "=" + word);
        }
        out += "        " + one.name + ") options=\"" + joined(names, " ") + "\" ;;\n";
    }
    return out + bashtail;
}

// ---- zsh --------------------------------------------------------------------

std::string zshaction(const listedoption &option) {
    switch (option.kind) {
    case valuekind::words:
        return "(" + joined(option.words, " ") + ")";
    case valuekind::file:
        return "_files";
    case valuekind::directory:
        return "_files -/";
    default:
        return " ";
    }
}

// One name of an option as _arguments reads it: '(-o --output)-o+[what]:FILE:_files'.
std::string zshspec(const listedoption &option, const std::string &name) {
    const bool islong = name.compare(0, 2, "--") == 0;
    std::string spec = option.repeated ? "*" : "(" + joined(option.names, " ") + ")";
    spec += name;
    if (option.kind != valuekind::none)
        spec += islong ? (option.optional ? "=-" : "=") : "+";
    spec += "[" + escaped(option.text, "[]\\") + "]";
    if (option.kind != valuekind::none)
        spec += std::string(option.optional ? "::" : ":") + escaped(option.value, ":\\") + ":" +
                zshaction(option);
    return shellquoted(spec);
}

std::string zshscript(const commands &all) {
    std::string out = "#compdef kvern\n# Completion of kvern for zsh: kvern completion zsh > "
                      "_kvern, in a folder of $fpath\n_kvern() {\n"
                      "    local -a commands\n    commands=(\n";
    for (const listedcommand &one : all)
        out += "        " + shellquoted(one.name + ":" + one.text) + "\n";
    out += "        'help:Tells the options of a command.'\n"
           "        'completion:Prints a script like this one.'\n    )\n"
           "    if (( CURRENT == 2 )); then\n"
           "        _describe -t commands command commands\n        return\n    fi\n"
           "    local command=$words[2]\n    shift words\n    (( CURRENT-- ))\n"
           "    case $command in\n        help) _arguments '1:command:(" +
           namesof(all) + ")' ;;\n        completion) _arguments '1:shell:(" + shells + ")' ;;\n";
    for (const listedcommand &one : all) {
        out += "        " + one.name + ") _arguments";
        for (const listedoption &option : one.options)
            for (const std::string &name : option.names)
                out += " \\\n            " + zshspec(option, name);
        out += " \\\n            '*:file:_files' ;;\n";
    }
    return out + "    esac\n}\nif [[ $funcstack[1] == _kvern ]]; then\n    _kvern \"$@\"\nelse\n"
                 "    compdef _kvern kvern\nfi\n";
}

// ---- fish -------------------------------------------------------------------

std::string fishquoted(const std::string &text) {
    return "'" + escaped(text, "'\\") + "'";
}

std::string fishvalue(const listedoption &option) {
    const std::string given = option.optional ? "" : " -r";
    switch (option.kind) {
    case valuekind::none:
        return "";
    case valuekind::words:
        return given + " -f -a " + fishquoted(joined(option.words, " "));
    case valuekind::file:
        return given + " -F";
    case valuekind::directory:
        return given + " -f -a '(__fish_complete_directories)'";
    case valuekind::text:
        break;
    }
    return given + " -f";
}

std::string fishscript(const commands &all) {
    const std::string verb = "complete -c kvern -n __fish_use_subcommand -f";
    std::string out = "# Completion of kvern for fish: kvern completion fish | source\n";
    for (const listedcommand &one : all)
        out += verb + " -a " + one.name + " -d " + fishquoted(one.text) + "\n";
    out += verb + " -a help -d 'Tells the options of a command.'\n" + verb +
           " -a completion -d 'Prints a script like this one.'\n" + verb + " -l version\n";
    out += "complete -c kvern -n '__fish_seen_subcommand_from help' -f -a " +
           fishquoted(namesof(all)) + "\n";
    out += "complete -c kvern -n '__fish_seen_subcommand_from completion' -f -a " +
           fishquoted(shells) + "\n";
    for (const listedcommand &one : all)
        for (const listedoption &option : one.options) {
            out += "complete -c kvern -n '__fish_seen_subcommand_from " + one.name + "'";
            for (const std::string &name : option.names)
                out += name.compare(0, 2, "--") == 0 ? " -l " + name.substr(2)
                                                     : " -s " + name.substr(1);
            out += fishvalue(option) + " -d " + fishquoted(option.text) + "\n";
        }
    return out;
}

} // namespace

std::string completionscript(const std::string &shell) {
    if (shell == "bash")
        return bashscript(listcommands());
    if (shell == "zsh")
        return zshscript(listcommands());
    if (shell == "fish")
        return fishscript(listcommands());
    refuse(quoted(shell) + " is no shell that kvern knows", shellform);
}

std::string completionhelp() {
    return std::string("Prints a script by which a shell completes the options of kvern.\n") +
           "Usage: kvern completion bash|zsh|fish\n\n"
           "  bash  . <(kvern completion bash)\n"
           "  zsh   kvern completion zsh > _kvern, in a folder of $fpath\n"
           "  fish  kvern completion fish | source\n";
}

} // namespace command

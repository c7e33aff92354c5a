// The command `kvern`: finds the verb, runs it, turns what it threw into a text
// and an exit code.

#include "kvern/options/arguments.h"
#include "kvern/options/completion.h"
#include "kvern/options/systemargs.h"
#include "kvern/run/jobrun.h"
#include "kvern/system/cleanup.h"
#include "kvern/system/report.h"
#include "kvern/system/signals.h"
#include "kvern/system/streams.h"

#include <cstring>
#include <new>
#include <string>

using namespace command;

namespace {

bool orderisquiet = false; // the exit code of a check says enough

template <jobkind kind>
void jobverb(int argc, const char *const *argv) {
    joboptions options;
    if (!parsejob(kind, argc, argv, options))
        return;
    settle({options.quiet, wantscolor(options.color)});
    orderisquiet = kind == jobkind::check && options.quiet;
    runjob(options);
}

template <jobkind kind>
std::string helpof() {
    return jobhelp(kind);
}

void completionverb(int argc, const char *const *argv) {
    if (argc != 2)
        refuse("completion needs the name of one shell", "bash, zsh or fish");
    const bool help = std::strcmp(argv[1], "--help") == 0;
    printtext(help ? completionhelp() : completionscript(argv[1]));
}

struct verb {
    const char *name;
    const char *summary;
    void (*run)(int argc, const char *const *argv); // argv[0] is the verb
    std::string (*help)();
};
constexpr verb verbs[] = {
    {"sort", "sort records of files or standard input", jobverb<jobkind::sort>,
     helpof<jobkind::sort>},
    {"merge", "merge inputs that are in order", jobverb<jobkind::merge>, helpof<jobkind::merge>},
    {"copy", "copy, select and rebuild records", jobverb<jobkind::copy>, helpof<jobkind::copy>},
    {"check", "tell whether an input is in order", jobverb<jobkind::check>, helpof<jobkind::check>},
    {"deal", "deal records out to files by ranges of keys", jobverb<jobkind::deal>,
     helpof<jobkind::deal>},
    {"completion", "print what lets a shell complete these", completionverb, completionhelp},
};

const verb *findverb(const char *name) {
    for (const verb &one : verbs)
        if (std::strcmp(one.name, name) == 0)
            return &one;
    return nullptr;
}

const verb &needverb(const char *name) {
    const verb *found = findverb(name);
    if (found == nullptr)
        refuse(quoted(name) + " is no command",
               "first comes sort, merge, copy, check or deal; \"kvern help\" tells more");
    return *found;
}

std::string overview() {
    std::string text = "Usage: kvern COMMAND [options] [FILE...]\n\nCommands:\n";
    for (const verb &one : verbs)
        text += std::string("  ") + one.name + std::string(12 - std::strlen(one.name), ' ') +
                one.summary + "\n";
    return text + "\n\"kvern help COMMAND\" tells the options of a command, "
                  "\"kvern --version\" the version.\n";
}

void run(int argc, const char *const *argv) {
    if (argc < 2)
        refuse("a command is missing", "\"kvern help\" lists the commands");
    const std::string first = argv[1];
    if (first == "--version") {
        printtext("kvern " KVERN_VERSION "\n");
    } else if (first == "help" || first == "--help") {
        printtext(argc > 2 ? needverb(argv[2]).help() : overview());
    } else {
        needverb(argv[1]).run(argc - 1, argv + 1);
    }
}

int exitcode(ending code) {
    return static_cast<int>(code);
}

} // namespace

int main(int argc, char **argv) {
    cleanatend();
    usebinarystreams();
    catchsignals();
    failure what{ending::internal, "", ""};
    try {
        const systemwords given(argc, argv);
        run(given.count(), given.words());
        return exitcode(ending::done);
    } catch (const stopped &) {
        if (stopwanted()) // not for a reader that went away
            printnote("stopped");
        return exitcode(ending::interrupted);
    } catch (const failure &thrown) {
        what = thrown;
    } catch (const std::bad_alloc &) {
        saydirectly(nomemory);
        return exitcode(ending::room);
    } catch (const std::exception &unexpected) {
        what.what = unexpected.what();
    }
    if (what.code != ending::notinorder || !orderisquiet)
        printfailure(what);
    return exitcode(what.code);
}

// What the command says on standard error and how it ends.  A failure is thrown
// as one value by whoever finds it and printed once, in main:
//
//   kvern: key 2 (91,11,pd) reaches byte 101 of a 100-byte record
//     shorten the key or raise --fixed   [message 7, detail 59]
#pragma once

#include <cstdint>
#include <string>

namespace command {

enum class ending : int {
    done = 0,
    notinorder = 1,
    usage = 2,      // wrong command line or description
    data = 3,       // the data do not fit the description
    sumstopped = 4, // finished, but summing stopped
    file = 5,       // a file cannot be opened, read or written
    room = 6,       // temporary space, output device or memory
    internal = 70,
    interrupted = 130,
};

struct failure {
    ending code;
    std::string what;     // with the argument that the user typed
    std::string advice;   // may be empty
    uint32_t message = 0; // the engine's numbers, 0: none
    uint32_t detail = 0;
};

// The session was asked to stop; nothing more is to be said than that.
struct stopped {};

[[noreturn]] void refuse(const std::string &what, const std::string &advice);

// How it is said: notes can be left out, and a terminal shows the program's name in
// colour.
struct manner {
    bool quiet = false;
    bool color = false;
};
void settle(const manner &how);
// `auto` asks the terminal, and NO_COLOR forbids.
bool wantscolor(const std::string &mode);

// To standard output; throws where that fails.
void printtext(const std::string &text);
void printfailure(const failure &what);
void printnote(const std::string &text);

// Bytes that would command a terminal, as \x1B; names of files may hold any.
std::string printable(const std::string &text);
// A word as the user typed it, in double quotes.
std::string quoted(const std::string &text);
std::string plural(uint64_t count, const char *noun);

} // namespace command

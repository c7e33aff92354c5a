// What the command says on standard error:
//
//   kvern: key 2 (91,11,pd) reaches byte 101 of a 100-byte record
//     shorten the key or raise --fixed   [message 7, detail 59]
#pragma once

#include "kvern/system/failure.h"

#include <string_view>

namespace command {

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
// Two digits a byte, and what stands between bytes.
std::string hexadecimal(std::string_view bytes, const char *between = "");
// A word as the user typed it, in double quotes.
std::string quoted(const std::string &text);
std::string plural(uint64_t count, const char *noun);

} // namespace command

#include "report.h"

#include <cstdio>

namespace command {

void refuse(const std::string &what, const std::string &advice) {
    throw failure{ending::usage, what, advice};
}

void printfailure(const failure &what) {
    std::string text = "kvern: " + what.what + "\n";
    std::string second = what.advice;
    if (what.detail != 0) {
        if (!second.empty())
            second += "   ";
        second += what.message == 0 ? "[" : "[message " + std::to_string(what.message) + ", ";
        second += "detail " + std::to_string(what.detail) + "]";
    }
    if (!second.empty())
        text += "  " + second + "\n";
    std::fputs(text.c_str(), stderr);
}

void printnote(const std::string &text) {
    std::fputs(("kvern: note: " + text + "\n").c_str(), stderr);
}

std::string quoted(const std::string &text) {
    return '"' + text + '"';
}

std::string plural(uint64_t count, const char *noun) {
    return std::to_string(count) + ' ' + noun + (count == 1 ? "" : "s");
}

} // namespace command

#include "kvern/system/report.h"

#include "kvern/system/streams.h"

#include <cctype>
#include <cstdio>
#include <cstdlib>

namespace command {

namespace {

manner current;

std::string colored(const std::string &text, const char *code) {
    return current.color ? "\x1B[" + std::string(code) + "m" + text + "\x1B[0m" : text;
}

constexpr const char *red = "1;31", *yellow = "1;33";

} // namespace

void settle(const manner &how) {
    current = how;
}

bool wantscolor(const std::string &mode) {
    const char *forbidden = std::getenv("NO_COLOR");
    if (mode != "auto" || (forbidden != nullptr && *forbidden))
        return mode == "always";
    return isterminal(standarderror);
}

void printtext(const std::string &text) {
    writefile(standardoutput, "standard output", text.data(), text.size());
}

void printfailure(const failure &what) {
    std::string text = colored("kvern:", red) + " " + printable(what.what) + "\n";
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
    if (!current.quiet)
        std::fputs((colored("kvern: note:", yellow) + " " + printable(text) + "\n").c_str(),
                   stderr);
}

std::string quoted(const std::string &text) {
    return '"' + text + '"';
}

std::string hexadecimal(std::string_view bytes, const char *between) {
    constexpr char digits[] = "0123456789ABCDEF";
    std::string out;
    for (const char c : bytes) {
        const auto byte = static_cast<unsigned char>(c);
        out.append(out.empty() ? "" : between) += {digits[byte / 16], digits[byte % 16]};
    }
    return out;
}

std::string printable(const std::string &text) {
    std::string out;
    for (const char c : text)
        if (std::iscntrl(static_cast<unsigned char>(c)))
            out += "\\x" + hexadecimal({&c, 1});
        else
            out += c;
    return out;
}

std::string plural(uint64_t count, const char *noun) {
    return std::to_string(count) + ' ' + noun + (count == 1 ? "" : "s");
}

} // namespace command

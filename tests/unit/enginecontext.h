// A context on its own, with an arena of exactly the bytes asked for; byte strings of
// test tables, in hexadecimal with free blanks.
#pragma once

#include "session/context.h"
#include "session/qha9msgt.h"

#include <string>
#include <string_view>
#include <vector>

using bytes = std::vector<uint8_t>;

inline bytes fromhex(std::string_view text) {
    bytes out;
    std::string digits;
    for (char c : text)
        if (c != ' ')
            digits += c;
    for (size_t i = 0; i + 1 < digits.size(); i += 2)
        out.push_back(static_cast<uint8_t>(std::stoi(digits.substr(i, 2), nullptr, 16)));
    return out;
}

inline bytes fromtext(std::string_view text) {
    return {text.begin(), text.end()};
}

inline std::string tohex(const bytes &data) {
    static const char digits[] = "0123456789ABCDEF";
    std::string out;
    for (uint8_t byte : data) {
        if (!out.empty())
            out += ' ';
        out += digits[byte >> 4];
        out += digits[byte & 15];
    }
    return out;
}

namespace kvern {

struct enginecontext : qha5ctx {
    explicit enginecontext(uint32_t arenabytes = 1 << 20) : qha5ctx{}, memory(arenabytes / 8 + 1) {
        function = KVRN_SORT;
        recform = 'f';
        cdmode = KVRN_CD_ZONE5;
        level = 4;
        msgtable = qha9msgt;
        msglevel = 1;
        arenanext = reinterpret_cast<uint8_t *>(memory.data());
        arenafree = arenabytes;
    }
    enginecontext(const enginecontext &) = delete;

    void maketext(uint8_t mode, const char *delimiter = "\n") {
        recform = 'r';
        fieldmode = mode;
        linedlmtlen = 0;
        for (; *delimiter != 0; delimiter++)
            linedlmt[linedlmtlen++] = static_cast<uint8_t>(*delimiter);
    }

  private:
    std::vector<uint64_t> memory;
};

} // namespace kvern

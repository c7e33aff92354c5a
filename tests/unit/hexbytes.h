// Byte strings of test tables, written in hexadecimal; blanks are free.
#pragma once

#include <cstdint>
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

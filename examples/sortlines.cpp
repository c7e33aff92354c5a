// sortlines SEPARATOR FIELD...: sorts the lines of standard input by their fields.  A
// FIELD is its number, from 1, and letters: n numeric, f upper and lower case alike, r
// largest first.  As in: sortlines ";" 3nr 1f < list.txt
#include "kvern.hpp"

#include <cstdlib>
#include <iostream>

namespace {

constexpr uint32_t longest = 4000; // bytes of a line

kvern::field parse(const std::string &text) {
    char *letters = nullptr;
    const unsigned long number = std::strtoul(text.c_str(), &letters, 10);
    if (number == 0 || number > longest)
        throw std::invalid_argument("no field: " + text);
    kvern::field key(static_cast<uint32_t>(number - 1));
    for (; *letters != '\0'; ++letters) {
        switch (*letters) {
        case 'n':
            key = key.numeric();
            break;
        case 'f':
            key = key.fold();
            break;
        case 'r':
            key = key.descending();
            break;
        default:
            throw std::invalid_argument("no field: " + text);
        }
    }
    return key;
}

void sort(const kvern::sorting<kvern::field> &how) {
    kvern::input in = how.open();
    for (std::string line; std::getline(std::cin, line);)
        in.put(line);
    kvern::output out = std::move(in).sorted(); // from here on there is nothing to put to
    while (const auto line = out.get())
        std::cout << *line << '\n';
    out.close();
}

} // namespace

int main(int argc, char **argv) {
    try {
        auto how = kvern::lines(longest, argc > 1 ? argv[1] : "").keep_order();
        for (int i = 2; i < argc; ++i)
            how = how.by(parse(argv[i]));
        sort(how);
    } catch (const std::exception &e) { // kvern::error among them
        std::cerr << "sortlines: " << e.what() << '\n';
        return 1;
    }
    return std::cout.flush() ? 0 : 1;
}

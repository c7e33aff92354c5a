#include "kvern/flow/rangefile.h"

#include "kvern/options/joboptions.h"
#include "kvern/records/inputs.h"
#include "kvern/records/recordreader.h"
#include "kvern/system/report.h"

namespace command {

namespace {

std::string titleof(size_t keybytes) {
    return "kvern ranges of " + std::to_string(keybytes) + "-byte keys";
}

// Empty: it is no key of that length.
std::string keyof(std::string_view text, size_t keybytes) {
    constexpr std::string_view all = "0123456789ABCDEF";
    std::string key;
    for (size_t i = 0; text.size() == 2 * keybytes && i < text.size(); i += 2) {
        const size_t high = all.find(text[i]), low = all.find(text[i + 1]);
        if (high == std::string_view::npos || low == std::string_view::npos)
            return "";
        key += static_cast<char>(high * 16 + low);
    }
    return key;
}

[[noreturn]] void failranges(const std::string &path, uint64_t line, const std::string &why) {
    throw failure{ending::data, "line " + std::to_string(line) + " of " + path + ' ' + why,
                  "take what kvern deal --ways N prints, for the same keys"};
}

} // namespace

std::string rangetext(const keyranges &ranges, size_t keybytes) {
    std::string text = titleof(keybytes) + "\n";
    for (const std::string &cut : ranges.firstkeys())
        text += hexadecimal(cut) + "\n";
    return text;
}

keyranges readranges(const std::string &path, size_t keybytes) {
    inputsource source(path);
    recordshape lines;
    recordreader reader(source, lines);
    if (!reader.next() || reader.data() != titleof(keybytes))
        failranges(path, 1, "is not " + quoted(titleof(keybytes)));
    std::vector<std::string> cuts;
    while (reader.next()) {
        std::string key = keyof(reader.data(), keybytes);
        if (key.empty() && keybytes != 0)
            failranges(path, reader.number(), "is no key");
        if (!cuts.empty() && key <= cuts.back())
            failranges(path, reader.number(), "is not behind the one ahead of it");
        cuts.push_back(std::move(key));
        if (cuts.size() == joboptions::mostways)
            failranges(path, reader.number(),
                       "begins one range more than " + std::to_string(joboptions::mostways));
    }
    return keyranges(std::move(cuts));
}

} // namespace command

#include "kvern/plan/firstlook.h"

#include "kvern/records/recordreader.h"

#include <algorithm>

namespace command {

lineend findlineend(const std::string &eol, std::vector<inputsource> &sources) {
    if (eol == "lf")
        return lineend::lf;
    if (eol == "cr")
        return lineend::cr;
    if (eol == "crlf")
        return lineend::crlf;
    for (inputsource &source : sources) {
        if (!source.isfile()) {
            if (!source.ahead().empty())
                return guesslineend(source.ahead());
            continue;
        }
        std::string beginning(static_cast<size_t>(std::min<uint64_t>(source.size(), aheadroom)),
                              '\0');
        beginning.resize(source.read(beginning.data(), beginning.size()));
        source.rewind();
        if (!beginning.empty())
            return guesslineend(beginning);
    }
    return lineend::lf;
}

void scanfiles(const recordshape &shape, std::vector<inputsource> &sources, textscanner &scanner) {
    for (inputsource &source : sources) {
        if (!source.placed())
            continue;
        scanner.startsource(source);
        eachline(source, shape, [&](std::string_view text) { scanner.line(text); });
        source.rewind();
    }
}

void scanaheads(const recordshape &shape, const std::vector<inputsource> &sources,
                textscanner &scanner) {
    const std::string_view mark = endbytes(shape.end);
    for (const inputsource &source : sources) {
        if (source.placed())
            continue;
        scanner.startsource(source);
        std::string_view text = source.ahead();
        for (size_t at; (at = text.find(mark)) != std::string_view::npos;) {
            checkfeeds(shape, text.substr(0, at), scanner.linenumber() + 1, source);
            scanner.line(text.substr(0, at));
            text.remove_prefix(at + mark.size());
        }
        if (!source.aheadisall() || text.empty())
            continue;
        checkfeeds(shape, text, scanner.linenumber() + 1, source);
        scanner.line(text);
    }
}

} // namespace command

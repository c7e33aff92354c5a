#include "kvern/plan/firstlook.h"

#include "kvern/records/part.h"
#include "kvern/system/failure.h"
#include "kvern/system/signals.h"
#include "kvern/system/team.h"

#include <algorithm>
#include <utility>

namespace command {

namespace {

constexpr size_t shortline = size_t{4} << 10; // most lines end within as much

// Numbers that different threads saw do not go together.
struct disagreement {};

// The lines of a stream's beginning, so far as they are complete.
void scanahead(const recordshape &shape, const inputsource &source, textscanner &scanner) {
    const std::string_view mark = endbytes(shape.end);
    std::string_view text = source.ahead();
    for (size_t at; (at = text.find(mark)) != std::string_view::npos;) {
        checkfeeds(shape, text.substr(0, at), scanner.linenumber() + 1, source);
        scanner.line(text.substr(0, at));
        text.remove_prefix(at + mark.size());
    }
    if (!source.aheadisall() || text.empty())
        return;
    checkfeeds(shape, text, scanner.linenumber() + 1, source);
    scanner.line(text);
}

textscanner scanparts(const looking &at, partreader &parts, team &crew, const textform &form) {
    textscanner scanner(form);
    const auto wanted = [&crew] {
        const std::lock_guard<std::mutex> held(crew.lock);
        return !crew.failed();
    };
    for (part one; wanted() && parts.next(one);) {
        if (stopwanted())
            throw stopped{};
        const inputsource &source = at.sources[one.source];
        scanner.startsource(source);
        walkrecords(at.shape, one.bytes(), [&](std::string_view, std::string_view line) {
            checkfeeds(at.shape, line, 0, source);
            scanner.line(line);
        });
        at.seen.looked(one.filled);
        if (one.trouble)
            std::rethrow_exception(one.trouble);
    }
    return scanner;
}

} // namespace

lineend findlineend(const std::string &eol, std::vector<inputsource> &sources) {
    if (eol == "lf")
        return lineend::lf;
    if (eol == "cr")
        return lineend::cr;
    if (eol == "crlf")
        return lineend::crlf;
    for (inputsource &source : sources) {
        std::string beginning = source.lookahead(shortline);
        if (beginning.find('\n') == std::string::npos)
            beginning = source.lookahead(aheadroom);
        if (!beginning.empty())
            return guesslineend(beginning);
    }
    return lineend::lf;
}

void scaninorder(const looking &at, textscanner &scanner) {
    uint64_t untold = 0;
    for (inputsource &source : at.sources) {
        source.rewind();
        scanner.startsource(source);
        if (!source.placed()) {
            scanahead(at.shape, source, scanner);
            continue;
        }
        eachline(source, at.shape, [&](std::string_view text) {
            scanner.line(text);
            untold += text.size() + 1;
            if (untold > partbytes)
                at.seen.looked(std::exchange(untold, 0));
        });
        source.rewind();
    }
}

bool scantogether(const looking &at, const textform &form, textscanner &scanner, unsigned jobs) {
    try {
        partreader parts(at.sources, {at.shape, false, true});
        team crew(jobs);
        crew.run([&](unsigned) {
            textform mine = form;
            if (form.numbers) { // to which one who is done may be joining its own
                const std::lock_guard<std::mutex> held(crew.lock);
                mine.numbers = std::make_shared<numbercheck>(*form.numbers);
            }
            const textscanner seen = scanparts(at, parts, crew, mine);
            const std::lock_guard<std::mutex> held(crew.lock);
            scanner.add(seen);
            if (form.numbers && !form.numbers->join(*mine.numbers))
                throw disagreement{};
        });
        for (inputsource &source : at.sources) {
            source.rewind();
            scanner.startsource(source);
            if (!source.placed())
                scanahead(at.shape, source, scanner);
        }
    } catch (const failure &) {
        return false;
    } catch (const disagreement &) {
        return false;
    }
    return true;
}

} // namespace command

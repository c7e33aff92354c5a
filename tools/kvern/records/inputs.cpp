#include "kvern/records/inputs.h"

#include "kvern/system/report.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace command {

namespace {

constexpr char endmark = 0x1A; // of text, on systems that are long gone

[[noreturn]] void failfile(const std::string &name, const std::string &why,
                           const std::string &advice = "") {
    throw failure{ending::file, name + ": " + why, advice};
}

} // namespace

inputsource::inputsource(const std::string &path)
    : filepath(path), shown(path == "-" ? "standard input" : path), fromstdin(path == "-") {
    facts = fromstdin ? inspect(standardinput) : inspect(path);
    if (facts.sort == filesort::missing)
        failfile(shown, facts.error);
    if (facts.sort == filesort::directory)
        failfile(shown, "is a directory");
    open(); // at once, so that a file without permission is told by its name
    if (!isfile())
        return;
    facts = inspect(descriptor);
    start = position(descriptor);
    if (facts.sort == filesort::missing || start < 0)
        failfile(shown, systemerror());
    if (!fromstdin)
        close();
}

inputsource::~inputsource() {
    close();
}

void inputsource::close() {
    if (descriptor >= 0 && !fromstdin)
        closeinput(descriptor);
    descriptor = -1;
}

inputsource::inputsource(inputsource &&other) noexcept
    : filepath(std::move(other.filepath)), shown(std::move(other.shown)),
      fromstdin(other.fromstdin), scratch(other.scratch), marksend(other.marksend), cut(other.cut),
      marks(other.marks), seenall(other.seenall), facts(std::move(other.facts)),
      descriptor(std::exchange(other.descriptor, -1)), start(other.start),
      bytestaken(other.bytestaken), rawtaken(other.rawtaken), header(other.header),
      headerrecords(other.headerrecords), insideblock(other.insideblock), largest(other.largest),
      beginning(std::move(other.beginning)), given(other.given), ended(other.ended) {}

void inputsource::open() {
    descriptor = fromstdin ? standardinput : openinput(filepath);
    if (descriptor < 0 || (start > 0 && !goback(descriptor, start)))
        failfile(shown, systemerror());
}

size_t inputsource::readraw(void *to, size_t room) {
    if (ended)
        return 0;
    if (descriptor < 0)
        open();
    const int64_t got = readsome(descriptor, to, room);
    if (got < 0)
        failfile(shown, systemerror());
    auto count = static_cast<size_t>(got);
    rawtaken += count;
    const void *mark = std::memchr(to, endmark, count);
    marks = marks || mark != nullptr;
    if (mark != nullptr && marksend) {
        count = static_cast<size_t>(static_cast<const char *>(mark) - static_cast<char *>(to));
        cut = true;
    } else if (count == 0 && isfile() && rawtaken < facts.size) {
        failcut(rawtaken);
    }
    if (count == 0 || (mark != nullptr && marksend))
        reachend();
    return count;
}

void inputsource::reachend() {
    ended = true;
    seenall = true;
    if (isfile() && !fromstdin)
        close();
}

void inputsource::failcut(uint64_t bytes) const {
    failfile(shown,
             "held " + plural(facts.size, "byte") + " at first and only " + std::to_string(bytes) +
                 " when it was read",
             "something else writes to it");
}

void inputsource::checkwhole() const {
    if (!isnamedfile())
        return;
    const filefacts now = inspect(filepath);
    const uint64_t bytes = now.size - std::min(now.size, static_cast<uint64_t>(start));
    if (now.sort == filesort::regular && bytes < facts.size)
        failcut(bytes);
}

void inputsource::readahead() {
    if (isfile() || ended)
        return;
    beginning.erase(0, given);
    given = 0;
    size_t filled = beginning.size();
    beginning.resize(std::max(aheadroom, filled));
    while (filled < aheadroom && !ended)
        filled += readraw(beginning.data() + filled, aheadroom - filled);
    beginning.resize(filled);
}

size_t inputsource::read(void *to, size_t room) {
    size_t count = 0;
    if (given < beginning.size()) {
        count = std::min(room, beginning.size() - given);
        std::memcpy(to, beginning.data() + given, count);
        given += count;
        if (given == beginning.size()) {
            beginning.clear();
            beginning.shrink_to_fit();
            given = 0;
        }
    } else {
        count = readraw(to, room);
    }
    bytestaken += count;
    return count;
}

void inputsource::rewind() {
    if (!isfile())
        return;
    if (!fromstdin)
        close(); // opened at its start when it is read again
    else if (descriptor >= 0 && !goback(descriptor, start))
        failfile(shown, systemerror());
    bytestaken = 0;
    rawtaken = 0;
    ended = false;
}

void inputsource::beginbehind(uint64_t records, uint64_t bytes, std::string_view rest,
                              uint32_t inblock) {
    insideblock = inblock;
    bytes = std::min(bytes, bytestaken); // the end of a last line may not be there
    header += bytes;
    headerrecords += records;
    if (!isfile()) {
        beginning.replace(0, given, rest);
        given = 0;
        bytestaken = 0;
        return;
    }
    start += static_cast<int64_t>(bytes);
    facts.size -= std::min(facts.size, bytes);
    rewind();
}

void inputsource::standfor(const std::string &file) {
    close();
    scratch = true;
    fromstdin = false;
    filepath = file;
    facts = inspect(file);
    if (facts.sort == filesort::missing)
        failfile(shown, facts.error);
    start = 0;
    beginning.clear();
    given = 0;
    rewind();
}

std::vector<inputsource> opensources(const std::vector<std::string> &paths) {
    std::vector<inputsource> sources;
    if (paths.empty())
        sources.emplace_back("-");
    for (const std::string &path : paths) {
        // As the second name of a copy is elsewhere.
        if (!sources.empty() && path != "-" && inspect(path).sort == filesort::missing)
            failfile(path, inspect(path).error,
                     "every file named here is an input; -o names the output");
        sources.emplace_back(path);
    }
    if (std::count(paths.begin(), paths.end(), "-") > 1)
        refuse("standard input is named twice", "it can be read once");
    return sources;
}

std::vector<fileidentity> identifyall(const std::vector<std::string> &paths) {
    std::vector<fileidentity> all;
    all.reserve(paths.size() + 1);
    for (const std::string &path : paths)
        all.push_back(path == "-" ? identify(standardinput) : identify(path));
    if (paths.empty())
        all.push_back(identify(standardinput));
    return all;
}

} // namespace command

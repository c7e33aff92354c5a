#include "inputs.h"

#include "report.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace command {

namespace {

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
    open();
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
      fromstdin(other.fromstdin), scratch(other.scratch), marks(other.marks),
      facts(std::move(other.facts)), descriptor(std::exchange(other.descriptor, -1)),
      start(other.start), header(other.header), headerrecords(other.headerrecords),
      beginning(std::move(other.beginning)), given(other.given), atend(other.atend) {}

// Opened at once, so that a file without permission is told by its name.
void inputsource::open() {
    descriptor = fromstdin ? standardinput : openinput(filepath);
    if (descriptor < 0)
        failfile(shown, systemerror());
    if (isfile())
        start = position(descriptor);
}

size_t inputsource::readraw(void *to, size_t room) {
    const int64_t count = readsome(descriptor, to, room);
    if (count < 0)
        failfile(shown, systemerror());
    return static_cast<size_t>(count);
}

void inputsource::readahead() {
    if (isfile() || atend)
        return;
    beginning.erase(0, given);
    given = 0;
    size_t filled = beginning.size();
    beginning.resize(std::max(aheadroom, filled));
    while (filled < aheadroom && !atend) {
        const size_t count = readraw(beginning.data() + filled, aheadroom - filled);
        filled += count;
        atend = count == 0;
    }
    beginning.resize(filled);
}

size_t inputsource::read(void *to, size_t room) {
    if (given < beginning.size()) {
        const size_t count = std::min(room, beginning.size() - given);
        std::memcpy(to, beginning.data() + given, count);
        given += count;
        bytestaken += count;
        if (given == beginning.size()) {
            beginning.clear();
            beginning.shrink_to_fit();
            given = 0;
        }
        return count;
    }
    const size_t count = atend ? 0 : readraw(to, room);
    bytestaken += count;
    return count;
}

void inputsource::rewind() {
    if (isfile() && !goback(descriptor, start))
        failfile(shown, systemerror());
    bytestaken = isfile() ? 0 : bytestaken;
}

void inputsource::beginbehind(uint64_t records, uint64_t bytes, std::string_view rest) {
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

void inputsource::standfor(const std::string &file, bool marked) {
    close();
    scratch = true;
    marks = marked;
    fromstdin = false;
    filepath = file;
    facts = inspect(file);
    beginning.clear();
    given = 0;
    atend = false;
    open();
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
    for (const std::string &path : paths)
        all.push_back(path == "-" ? identify(standardinput) : identify(path));
    if (paths.empty())
        all.push_back(identify(standardinput));
    return all;
}

} // namespace command

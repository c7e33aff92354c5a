#include "kvern/records/inputs.h"

#include "kvern/system/report.h"

#include <algorithm>
#include <cstring>
#include <mutex>
#include <utility>

namespace command {

namespace {

constexpr char endmark = 0x1A; // of text, on systems that are long gone
constexpr size_t keptroom = size_t{256} << 10;

// Beside the inputs: the output, what the system opens, some temporary files.
constexpr size_t sparedescriptors = 80;

[[noreturn]] void failfile(const std::string &name, const std::string &why,
                           const std::string &advice = "") {
    throw failure{ending::file, name + ": " + why, advice};
}

} // namespace

// Of a named regular file open as long as anybody reads and it is not at its end.
struct inputsource::openfile {
    std::mutex lock;
    int descriptor = -1;
    size_t readers = 0;
    bool wholeread = false;

    void close() {
        if (descriptor >= 0)
            closeinput(descriptor);
        descriptor = -1;
    }
};

inputsource::inputsource(const std::string &path, bool scarce)
    : filepath(path), shown(path == "-" ? "standard input" : path), fromstdin(path == "-"),
      few(scarce), held(std::make_unique<openfile>()) {
    facts = fromstdin ? inspect(standardinput) : inspect(path);
    if (facts.sort == filesort::missing)
        failfile(shown, facts.error);
    if (facts.sort == filesort::directory)
        failfile(shown, "is a directory");
    held->descriptor = open(); // at once, so that a file without permission is told by its name
    if (isfile())
        settle();
}

inputsource::~inputsource() {
    if (held != nullptr)
        close();
}

inputsource::inputsource(inputsource &&other) noexcept = default;

void inputsource::close() {
    if (!fromstdin)
        held->close();
}

int inputsource::open() const {
    const int descriptor = fromstdin ? standardinput : openinput(filepath);
    if (descriptor < 0)
        failfile(shown, systemerror());
    if (identity.known && !identity.same(identify(descriptor))) {
        closeinput(descriptor);
        failfile(shown, "is not the file any more that it was at first",
                 "something else writes to it");
    }
    return descriptor;
}

// What a regular file holds.  Some of them, which the system makes up, claim to be empty:
// those are read like a stream.
void inputsource::settle() {
    const int descriptor = held->descriptor;
    facts = inspect(descriptor);
    const int64_t place = facts.sort == filesort::regular ? position(descriptor) : -1;
    if (place < 0)
        failfile(shown, systemerror());
    start = static_cast<uint64_t>(place);
    char first = 0;
    if (facts.size == 0 && readsome(descriptor, &first, 1) > 0) {
        facts.sort = filesort::stream;
        beginning.assign(1, first);
    } else {
        identity = fromstdin ? fileidentity{} : identify(descriptor);
        close();
    }
}

size_t inputsource::readraw(void *to, size_t room) {
    if (ended)
        return 0;
    size_t count = 0;
    if (placed()) {
        count = readat(rawtaken, to, room);
    } else {
        const int64_t got = readsome(held->descriptor, to, room);
        if (got < 0)
            failfile(shown, systemerror());
        count = static_cast<size_t>(got);
    }
    rawtaken += count;
    ended = count == 0;
    if (const void *mark = marksend ? std::memchr(to, endmark, count) : nullptr) {
        count = static_cast<size_t>(static_cast<const char *>(mark) - static_cast<char *>(to));
        cut = ended = true;
    }
    if (ended && !isfile())
        close();
    return count;
}

size_t inputsource::readat(uint64_t offset, void *to, size_t room) {
    if (offset >= facts.size)
        return 0;
    room = static_cast<size_t>(std::min<uint64_t>(room, facts.size - offset));
    size_t filled = 0;
    while (filled < room) {
        const uint64_t place = offset + filled;
        char *next = static_cast<char *>(to) + filled;
        const size_t count = kept != nullptr ? kept->readat(start + place, next, room - filled)
                                             : fetch(place, next, room - filled);
        if (count == 0)
            failcut(place);
        filled += count;
    }
    return filled;
}

// One turn of the system, 0 at the end.
size_t inputsource::fetch(uint64_t place, void *to, size_t room) {
    struct reading {
        inputsource &source;
        openfile &file;
        int descriptor;
        explicit reading(inputsource &from) : source(from), file(*from.held) {
            const std::lock_guard<std::mutex> only(file.lock);
            if (file.descriptor < 0)
                file.descriptor = source.open();
            descriptor = file.descriptor;
            ++file.readers;
        }
        ~reading() {
            const std::lock_guard<std::mutex> only(file.lock);
            if (--file.readers == 0 && (source.few || file.wholeread))
                source.close();
        }
    } now(*this);
    const int64_t count = readplace(now.descriptor, start + place, to, room);
    if (count < 0)
        failfile(shown, systemerror());
    const uint64_t end = place + static_cast<uint64_t>(count);
    if (place == 0 || end == facts.size) {
        const std::lock_guard<std::mutex> only(held->lock);
        held->wholeread = end == facts.size;
    }
    if (fromstdin && end == facts.size) // whoever reads next begins behind it
        goback(now.descriptor, static_cast<int64_t>(start + end));
    return static_cast<size_t>(count);
}

void inputsource::failcut(uint64_t place) const {
    const filefacts now = fromstdin ? filefacts{filesort::missing, place, ""} : inspect(filepath);
    const uint64_t left = now.size - std::min(now.size, fromstdin ? 0 : start);
    failfile(shown,
             "held " + plural(facts.size, "byte") + " at first and only " +
                 std::to_string(std::min(left, place)) + " when it was read",
             "something else writes to it");
}

void inputsource::readahead() {
    if (placed() || ended)
        return;
    beginning.erase(0, given);
    given = 0;
    size_t filled = beginning.size();
    beginning.resize(std::max(aheadroom, filled));
    while (filled < aheadroom && !ended)
        filled += readraw(beginning.data() + filled, aheadroom - filled);
    beginning.resize(filled);
}

std::string inputsource::lookahead(size_t most) {
    readahead();
    if (!placed())
        return beginning;
    std::string bytes(static_cast<size_t>(std::min<uint64_t>(size(), most)), '\0');
    bytes.resize(read(bytes.data(), bytes.size()));
    rewind();
    return bytes;
}

void inputsource::keep(size_t memory, const std::vector<std::string> &tempdirs,
                       const std::function<void(size_t)> &told) {
    if (placed())
        return;
    auto all = std::make_unique<keptstream>(memory, tempdirs);
    std::vector<char> room(keptroom);
    while (const size_t count = read(room.data(), room.size())) {
        all->append(room.data(), count);
        told(count);
    }
    kept = std::move(all);
    facts.size = kept->size();
    start = 0;
    rewind();
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
    if (!placed())
        return;
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
    if (!placed()) {
        beginning.replace(0, given, rest);
        given = 0;
        bytestaken = 0;
        return;
    }
    start += bytes;
    facts.size -= std::min(facts.size, bytes);
    rewind();
}

bool allplaced(const std::vector<inputsource> &sources) {
    return std::all_of(sources.begin(), sources.end(),
                       [](const inputsource &one) { return one.placed(); });
}

uint64_t placedbytes(const std::vector<inputsource> &sources) {
    uint64_t bytes = 0;
    for (const inputsource &source : sources)
        bytes += source.placed() ? source.size() : 0;
    return bytes;
}

std::vector<inputsource> opensources(const std::vector<std::string> &paths) {
    std::vector<inputsource> sources;
    const size_t wanted = paths.size() + sparedescriptors;
    const bool scarce = freedescriptors(wanted) < wanted;
    if (paths.empty())
        sources.emplace_back("-");
    for (const std::string &path : paths) {
        // As the second name of a copy is elsewhere.
        if (!sources.empty() && path != "-" && inspect(path).sort == filesort::missing)
            failfile(path, inspect(path).error,
                     "every file named here is an input; -o names the output");
        sources.emplace_back(path, scarce);
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

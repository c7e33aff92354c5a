#include "kvern/records/recordreader.h"

#include "kvern/system/report.h"

#include <algorithm>
#include <cstring>

namespace command {

namespace {

constexpr size_t endroom = 2;                   // for the end of a last line
constexpr size_t cachedroom = size_t{32} << 10; // what is looked at once stays in cache

// Often the line end behind each record was not counted, or counted and is not there.
std::string lengthadvice(uint64_t bytes, uint32_t length) {
    constexpr int64_t least = 5; // shorter ones fit by chance
    for (const int64_t more : {1, 2, -1, -2})
        if (const auto other = static_cast<uint64_t>(std::max(length + more, least));
            bytes % other == 0 && other != length)
            return "look at the record length: --fixed " + std::to_string(other) +
                   " would fit, a line end behind a record counts";
    return "look at the record length";
}

} // namespace

void refuselongline(const std::string &line, const inputsource &source, size_t bytes) {
    throw failure{ending::data,
                  line + " of " + source.name() + " has more than " + std::to_string(bytes) +
                      " bytes",
                  "look at --eol", 88, 111};
}

void refusetorn(const inputsource &source, uint64_t bytes, uint32_t length) {
    throw failure{ending::data,
                  source.name() + " has " + plural(bytes, "byte") + ", no multiple of --fixed " +
                      std::to_string(length),
                  lengthadvice(bytes, length)};
}

void checkfeeds(const recordshape &shape, std::string_view line, uint64_t number,
                const inputsource &source) {
    if (shape.refusesfeeds() && line.find('\n') != std::string_view::npos)
        throw failure{ending::data,
                      "line " + std::to_string(number) + " of " + source.name() +
                          " ends in a bare line feed, the lines before it in CR LF",
                      "make the ends alike, or say what ends a line: --eol lf or --eol crlf"};
}

recordreader::recordreader(inputsource &from, const recordshape &form, size_t room)
    : source(from), shape(form), chunk(room), bring(&recordreader::readon), buffer(chunk + endroom),
      count(from.skippedrecords()), nextplace(from.skipped()), blockleft(from.blockrest()) {}

recordreader::recordreader(inputsource &from, const recordshape &form, const recordslice &its,
                           size_t room)
    : recordreader(from, form, room) {
    part = its;
    bring = &recordreader::readslice;
    nextplace += its.from;
}

size_t recordreader::readon(void *to, size_t room) {
    return source.read(to, room);
}

size_t recordreader::readslice(void *to, size_t room) {
    const auto left = static_cast<size_t>(std::min<uint64_t>(part.to - part.from, room));
    const size_t got = left == 0 ? 0 : source.readat(part.from, to, left);
    part.from += got;
    return got;
}

std::string recordreader::whichrecord() const {
    return shape.word() + (" " + std::to_string(count) + " of " + source.name()) + " (offset " +
           std::to_string(place) + ")";
}

std::string_view recordreader::data() const {
    if (shape.kind == formkind::text)
        return raw().substr(0, length - endbytes(shape.end).size());
    return shape.kind == formkind::variable ? raw().substr(shape.frame->prefix) : raw();
}

bool recordreader::fill() {
    if (atend)
        return false;
    if (at > 0) {
        std::memmove(buffer.data(), buffer.data() + at, stop - at);
        stop -= at;
        at = 0;
    }
    if (stop + chunk / 2 > buffer.size() - endroom)
        buffer.resize(2 * buffer.size());
    const size_t got = (this->*bring)(buffer.data() + stop, buffer.size() - endroom - stop);
    atend = got == 0;
    stop += got;
    return got > 0;
}

bool recordreader::need(size_t bytes) {
    while (stop - at < bytes)
        if (!fill())
            return false;
    return true;
}

bool recordreader::give(size_t bytes) {
    first = at;
    length = bytes;
    at += bytes;
    place = nextplace;
    nextplace += bytes;
    ++count;
    return true;
}

bool recordreader::next() {
    switch (shape.kind) {
    case formkind::fixed:
        return nextfixed();
    case formkind::variable:
        return nextvariable();
    case formkind::text:
        return nextline();
    }
    return false;
}

bool recordreader::nextfixed() {
    if (need(shape.length))
        return give(shape.length);
    if (stop == at)
        return false;
    incomplete = true;
    if (forgiving)
        return false;
    refusetorn(source, nextplace - source.skipped() + (stop - at), shape.length);
}

std::string recordreader::placenow() const {
    const size_t shown = std::min<size_t>(stop - at, shape.frame->prefix);
    return " at offset " + std::to_string(nextplace) + ", where " +
           (blockleft == 0 && shape.frame->blocked ? "the block of " : "") + "record " +
           std::to_string(count + 1) +
           " should begin: " + hexadecimal({buffer.data() + at, shown}, " ");
}

void recordreader::failprefix(const std::string &why) const {
    const char *name = shape.frame->blocked ? "rdw" : shape.frame->name;
    throw failure{ending::data, source.name() + ": no " + name + " prefix" + placenow(), why, 88,
                  111};
}

void recordreader::failblock(const std::string &why) const {
    throw failure{ending::data, source.name() + ": no block" + placenow(), why, 88, 111};
}

// Behind the prefix of the next block, which is there as a whole; false at the end.
bool recordreader::enterblock() {
    const framing &frame = *shape.frame;
    if (!need(frame.prefix)) {
        if (stop == at)
            return false;
        failblock("the input ends there");
    }
    uint32_t bytes;
    if (!readprefix(frame, buffer.data() + at, bytes))
        failblock("look at --framing");
    if (bytes == 0)
        failblock("it holds no record; look at --framing");
    if (frame.prefix + bytes > longestblock)
        failblock("blocks have at most " + std::to_string(longestblock) +
                  " bytes; look at --framing");
    if (!need(size_t{frame.prefix} + bytes))
        failblock("of " + plural(bytes, "byte") + " behind it the input has " +
                  std::to_string(stop - at - frame.prefix));
    at += frame.prefix;
    nextplace += frame.prefix;
    blockleft = bytes;
    source.sawblock(frame.prefix + bytes);
    return true;
}

bool recordreader::nextvariable() {
    const framing &frame = *shape.frame;
    if (frame.blocked && blockleft == 0 && !enterblock())
        return false;
    if (!need(frame.prefix)) {
        if (stop == at)
            return false;
        failprefix("the input ends there; look at --framing");
    }
    uint32_t bytes;
    const bool prefixed = readprefix(frame, buffer.data() + at, bytes);
    if (frame.blocked && (!prefixed || frame.prefix + bytes > blockleft))
        failprefix("it has to lie in its block whole, as records in segments do not");
    if (!prefixed)
        failprefix("look at --framing");
    if (bytes > shape.length)
        failprefix("a length of " + std::to_string(bytes) + " passes --variable " +
                   std::to_string(shape.length) + "; look at --framing too");
    if (!need(size_t{frame.prefix} + bytes))
        failprefix("of " + plural(bytes, "byte") + " behind it the input has " +
                   std::to_string(stop - at - frame.prefix));
    blockleft -= frame.blocked ? frame.prefix + bytes : 0;
    return give(size_t{frame.prefix} + bytes);
}

bool recordreader::nextline() {
    const std::string_view mark = endbytes(shape.end);
    size_t seen = 0; // bytes behind `at` that hold no end
    for (;;) {
        const std::string_view text(buffer.data(), stop);
        const size_t found =
            mark.size() == 1 ? text.find(mark[0], at + seen) : text.find(mark, at + seen);
        if (found != std::string_view::npos) {
            checkfeeds(shape, text.substr(at, found - at), count + 1, source);
            return give(found - at + mark.size());
        }
        const size_t waiting = stop - at;
        seen = waiting < mark.size() ? 0 : waiting - mark.size() + 1;
        if (waiting > longestkept) {
            checkfeeds(shape, text.substr(at), count + 1, source);
            refuselongline("line " + std::to_string(count + 1), source, waiting);
        }
        if (fill())
            continue;
        if (stop == at)
            return false;
        mark.copy(buffer.data() + stop, mark.size()); // the last line's end
        stop += mark.size();
    }
}

void eachline(inputsource &source, const recordshape &shape,
              const std::function<void(std::string_view)> &each) {
    recordreader reader(source, shape, cachedroom);
    while (reader.next())
        each(reader.data());
}

} // namespace command

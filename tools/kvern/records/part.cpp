#include "kvern/records/part.h"

#include "kvern/system/report.h"

#include <algorithm>

namespace command {

namespace {

constexpr size_t overlap = size_t{4} << 10; // behind a part, for the end of its last line

} // namespace

partreader::partreader(std::vector<inputsource> &inputs, const partrules &all)
    : sources(inputs), rules(all) {}

bool partreader::byplace(const inputsource &source) const {
    return source.placed() && rules.shape.kind != formkind::variable && !source.endsatmark();
}

bool partreader::byplace() const {
    return std::all_of(sources.begin(), sources.end(),
                       [this](const inputsource &one) { return byplace(one); });
}

// Bytes of a part that is read by place.
uint64_t partreader::stride() const {
    if (rules.shape.kind != formkind::fixed)
        return rules.bytes;
    const uint64_t length = rules.shape.length;
    return std::max<uint64_t>(rules.bytes / length, 1) * length;
}

void partreader::startpart(part &out) {
    const inputsource &source = sources[current];
    out.number = number++;
    out.source = current;
    out.offset = place;
    out.first = source.skippedrecords();
    out.counted = true;

    out.trouble = nullptr;
    out.begin = 0;
    out.filled = 0;
}

void partreader::nextsource() {
    ++current;
    place = 0;
    given = 0;
    reader.reset();
}

bool partreader::next(part &out) {
    std::unique_lock<std::mutex> held(lock);
    for (; current < sources.size(); nextsource()) {
        inputsource &source = sources[current];
        if (rules.placedonly && !source.placed())
            continue;
        if (!byplace(source)) {
            if (rules.shape.kind == formkind::fixed ? fillfixed(out) : frame(out))
                return true;
            continue;
        }
        if (place >= source.size())
            continue;
        startpart(out);
        const uint64_t to = std::min(place + stride(), source.size());
        place = to;
        held.unlock();
        if (rules.shape.kind == formkind::fixed)
            readfixed(out, to);
        else
            readlines(out, to);
        return true;
    }
    return false;
}

// ---- in order -----------------------------------------------------------------------

// A part ends where its records do not follow each other in the input any more, at the end
// of a block.
bool partreader::framerecords(part &out) {
    while (out.filled < rules.bytes) {
        if (!reader->next())
            return false;

        const std::string_view raw = reader->raw();
        if (out.filled == 0)
            out.offset = reader->offset() - sources[current].skipped();
        if (out.room.size() < out.filled + raw.size())
            out.room.resize(std::max(rules.bytes + overlap, 2 * (out.filled + raw.size())));
        raw.copy(out.room.data() + out.filled, raw.size());
        out.filled += raw.size();
        if (rules.shape.blocked() && reader->blockrest() == 0)
            return true;
    }
    return true;
}

bool partreader::frame(part &out) {
    inputsource &source = sources[current];
    if (!reader)
        reader = std::make_unique<recordreader>(source, rules.shape);
    startpart(out);
    out.first = reader->number();
    bool goeson = false;
    try {
        goeson = framerecords(out);
    } catch (const failure &) {
        out.trouble = std::current_exception();
    }
    if (out.trouble)
        current = sources.size(); // nothing behind it is of use
    if (goeson || out.trouble || out.filled != 0)
        return true;
    --number;
    return false;
}

bool partreader::fillfixed(part &out) {
    inputsource &source = sources[current];
    startpart(out);
    out.first += given;
    out.offset = given * rules.shape.length;
    out.room.resize(static_cast<size_t>(stride()));
    while (out.filled < out.room.size()) {
        const size_t count =
            source.read(out.room.data() + out.filled, out.room.size() - out.filled);
        if (count == 0)
            break;
        out.filled += count;
    }
    given += out.filled / rules.shape.length;
    if (out.filled == 0) {
        --number;
        return false;
    }
    settletorn(out);
    return true;
}

// ---- by place -----------------------------------------------------------------------

// What is left of a record at the end of its input.
void partreader::settletorn(part &out) {
    const size_t left = out.filled % rules.shape.length;
    out.filled -= left;
    if (left == 0)
        return;
    if (rules.dropshort) {
        ++tornrecords;
        return;
    }
    const inputsource &source = sources[out.source];
    const uint64_t ahead = out.first - source.skippedrecords();
    try {
        refusetorn(source, ahead * rules.shape.length + out.filled + left, rules.shape.length);
    } catch (const failure &) {
        out.trouble = std::current_exception();
    }
}

void partreader::readfixed(part &out, uint64_t to) {
    out.room.resize(static_cast<size_t>(stride()));
    out.filled = sources[out.source].readat(out.offset, out.room.data(),
                                            static_cast<size_t>(to - out.offset));
    out.first += out.offset / rules.shape.length;
    settletorn(out);
}

// The lines that begin from the part's place on up to `to`.  The end of the line ahead may
// lie right in front of that place.
void partreader::readlines(part &out, uint64_t to) {
    inputsource &source = sources[out.source];
    const std::string_view end = endbytes(rules.shape.end);
    const uint64_t lead = out.offset == 0 ? 0 : end.size(), base = out.offset - lead;
    const auto wanted = static_cast<size_t>(to - base);
    out.counted = out.offset == 0;
    if (out.room.size() < wanted + overlap)
        out.room.resize(wanted + overlap);
    size_t got = source.readat(base, out.room.data(), wanted + overlap - end.size());
    if (lead != 0) {
        const size_t found = std::string_view(out.room.data(), got).find(end);
        out.begin = found == std::string_view::npos ? wanted : found + end.size();
    }
    if (out.begin >= wanted)
        return;
    out.offset = base + out.begin;
    size_t stop = 0;
    if (findend(out, base, got, std::max(out.begin, wanted - end.size()), stop))
        out.filled = stop - out.begin;
    else
        refuseline(out);
}

// Where the line ends in which, or in whose end, `from` lies; more is read for it.  False:
// the line is too long to be kept.
bool partreader::findend(part &out, uint64_t base, size_t &got, size_t from, size_t &stop) const {
    const std::string_view end = endbytes(rules.shape.end);
    for (size_t seen = from;;) {
        const size_t found = std::string_view(out.room.data(), got).find(end, seen);
        if (found != std::string_view::npos) {
            stop = found + end.size();
            return true;
        }
        if (got >= from + longestkept)
            return false;
        seen = std::max(from, got - std::min(got, end.size() - 1));
        if (out.room.size() - got < overlap)
            out.room.resize(2 * out.room.size());
        const size_t more = sources[out.source].readat(base + got, out.room.data() + got,
                                                       out.room.size() - got - end.size());
        got += more;
        if (more != 0)
            continue;
        end.copy(out.room.data() + got, end.size()); // the last line's end
        stop = got + end.size();
        return true;
    }
}

// The lines ahead of the long one are there.
void partreader::refuseline(part &out) const {
    const std::string_view end = endbytes(rules.shape.end);
    const std::string_view all(out.room.data() + out.begin, out.room.size() - out.begin);
    size_t ahead = 0;
    uint64_t lines = 0;
    for (size_t at; (at = all.find(end, ahead)) != std::string_view::npos; ++lines)
        ahead = at + end.size();
    out.filled = ahead;
    try {
        refuselongline("line " + std::to_string(count(out) + lines + 1), sources[out.source],
                       longestkept);
    } catch (const failure &) {
        out.trouble = std::current_exception();
    }
}

uint64_t partreader::count(const part &one) const {
    if (one.counted)
        return one.first;
    const std::string_view end = endbytes(rules.shape.end);
    std::vector<char> block(partbytes);
    uint64_t lines = 0;
    char before = 0;
    for (uint64_t at = 0; at < one.offset;) {
        const uint64_t room = std::min<uint64_t>(block.size(), one.offset - at);
        const size_t got = sources[one.source].readat(at, block.data(), static_cast<size_t>(room));
        if (got == 0)
            break;
        for (size_t i = 0; i < got; ++i) {
            const bool last = block[i] == end.back();
            lines += last && (end.size() == 1 || before == end.front()) ? 1 : 0;
            before = block[i];
        }
        at += got;
    }
    return one.first + lines;
}

} // namespace command
